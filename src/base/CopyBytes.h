#pragma once
// copyBytes: memcpy for the short, run-time-sized copies of the exploration
// loop (a state vector is usually 4 to 64 bytes). The library's memcpy pays a
// call and a dispatch on the size that cost as much as the copy itself; here
// the size picks two or four fixed-width moves that may overlap in the middle,
// which the compiler turns into plain loads and stores. `to` and `from` must
// not overlap.

#include <cstddef>
#include <cstring>

// GCC, having inlined a call whose target it knows to be smaller than some
// branch's moves, warns about that branch although the size rules it out.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Warray-bounds"
#pragma GCC diagnostic ignored "-Wstringop-overflow"
inline void copyBytes(char* to, const char* from, std::size_t size) {
    if (size >= 16 && size <= 32) {
        char head[16], tail[16];
        std::memcpy(head, from, 16);
        std::memcpy(tail, from + size - 16, 16);
        std::memcpy(to, head, 16);
        std::memcpy(to + size - 16, tail, 16);
    } else if (size > 32 && size <= 64) {
        char a[16], b[16], c[16], d[16];
        std::memcpy(a, from, 16);
        std::memcpy(b, from + 16, 16);
        std::memcpy(c, from + size - 32, 16);
        std::memcpy(d, from + size - 16, 16);
        std::memcpy(to, a, 16);
        std::memcpy(to + 16, b, 16);
        std::memcpy(to + size - 32, c, 16);
        std::memcpy(to + size - 16, d, 16);
    } else if (size >= 8 && size < 16) {
        char head[8], tail[8];
        std::memcpy(head, from, 8);
        std::memcpy(tail, from + size - 8, 8);
        std::memcpy(to, head, 8);
        std::memcpy(to + size - 8, tail, 8);
    } else if (size >= 4 && size < 8) {
        char head[4], tail[4];
        std::memcpy(head, from, 4);
        std::memcpy(tail, from + size - 4, 4);
        std::memcpy(to, head, 4);
        std::memcpy(to + size - 4, tail, 4);
    } else {
        std::memcpy(to, from, size);
    }
}
#pragma GCC diagnostic pop
