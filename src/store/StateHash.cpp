#include "store/StateHash.h"

#include <cstdlib>

namespace {

// A byte taken as signed and widened to 32 bits (0xFF gives 0xFFFFFFFF).
inline std::uint32_t widen(char byte) {
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<signed char>(byte)));
}

} // namespace

StateHash::StateHash(std::uint32_t stateSize, std::uint32_t chunkLength, bool chunkSums)
    : StateSize(stateSize), ChunkLength(chunkLength), Chunked(chunkSums && stateSize > chunkLength),
      Sums(static_cast<std::uint32_t*>(std::malloc(sizeof(std::uint32_t) * (stateSize + 1)))) {}

StateHash::~StateHash() {
    std::free(Sums);
}

std::uint32_t StateHash::chunkSums(const char* state, std::uint32_t tableSize) {
    // Chunk sums: full chunks while more than a chunk remains, then the rest.
    std::uint32_t numSums = 0;
    std::uint32_t position = 0;
    while (position < StateSize) {
        std::uint32_t length =
            StateSize - position > ChunkLength ? ChunkLength : StateSize - position;
        std::uint32_t sum = 0;
        for (std::uint32_t i = 0; i < length; ++i)
            sum = (sum << 5) ^ widen(state[position + i]);
        Sums[numSums++] = sum;
        position += length;
    }
    std::uint32_t nonZero = 0;
    for (std::uint32_t i = 0; i + 1 < numSums; ++i)
        nonZero += Sums[i] != 0;
    std::uint32_t multiplier = nonZero > 16  ? 1
                               : nonZero > 8 ? 2
                               : nonZero > 4 ? 4
                               : nonZero > 2 ? 8
                                             : 16;
    std::uint32_t h = 0;
    for (std::uint32_t i = 0; i < numSums; ++i) {
        if (Sums[i] != 0)
            h = (Sums[i] % tableSize) ^ (h * multiplier);
    }
    return h % tableSize;
}
