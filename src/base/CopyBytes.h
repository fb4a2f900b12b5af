#pragma once
// copyBytes: memcpy for the short, run-time-sized copies of the exploration
// loop (a state vector is usually 4 to 64 bytes, a cell 2 to 8). The library's
// memcpy pays a call and a dispatch on the size that cost as much as the copy
// itself; here the size picks a pair of fixed-width moves, the first and the
// last `Width` bytes, which may overlap in the middle and which the compiler
// turns into plain loads and stores. `to` and `from` must not overlap.

#include <cstddef>
#include <cstring>

// GCC, having inlined a call whose target it knows to be smaller than some
// branch's moves, warns about that branch although the size rules it out.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Warray-bounds"
#pragma GCC diagnostic ignored "-Wstringop-overflow"

// Copies `size` bytes, Width <= size <= 2 x Width, as two moves of Width bytes.
template <std::size_t Width>
inline void copyHeadAndTail(char* to, const char* from, std::size_t size) {
    char head[Width], tail[Width];
    std::memcpy(head, from, Width);
    std::memcpy(tail, from + size - Width, Width);
    std::memcpy(to, head, Width);
    std::memcpy(to + size - Width, tail, Width);
}

inline void copyBytes(char* to, const char* from, std::size_t size) {
    if (size >= 16 && size <= 32)
        copyHeadAndTail<16>(to, from, size);
    else if (size > 32 && size <= 64)
        copyHeadAndTail<32>(to, from, size);
    else if (size >= 8 && size < 16)
        copyHeadAndTail<8>(to, from, size);
    else if (size >= 4 && size < 8)
        copyHeadAndTail<4>(to, from, size);
    else if (size >= 2 && size < 4)
        copyHeadAndTail<2>(to, from, size);
    else
        std::memcpy(to, from, size);
}

#pragma GCC diagnostic pop
