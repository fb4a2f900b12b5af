#pragma once
// StateHash: the store's hash of a state vector and its byte equality.
//
// The mixed hash is a multiply-xorshift mix of every byte; its top 32 bits are
// the vector's fingerprint (scaled to the index size, they give the mixed home
// slot) and 16 bits below them its tag. The chunk-sum home slot sums 5-byte
// chunks (the chunk length), each byte shifting the sum left by 5, combined by
// xor and a multiplier; vectors no longer than one chunk use the mixed one.

#include <cstdint>
#include <cstring>

class StateHash {
public:
    // `stateSize` bytes per vector, `chunkLength` bytes per chunk; with
    // `chunkSums` the home slot is the chunk sum where the vector is longer than
    // a chunk. ready() says whether the scratch sums could be allocated.
    StateHash(std::uint32_t stateSize, std::uint32_t chunkLength, bool chunkSums);
    ~StateHash();
    StateHash(const StateHash&) = delete;
    StateHash& operator=(const StateHash&) = delete;
    StateHash(StateHash&&) = delete;
    StateHash& operator=(StateHash&&) = delete;

    bool ready() const { return Sums != nullptr; }
    std::uint32_t stateSize() const { return StateSize; }

    // The mixed hash of `state`.
    std::uint64_t mixed(const char* state) const;
    // The home slot of `state`, whose mixed hash has `fingerprint` in its top
    // 32 bits, in an index of `tableSize` entries.
    std::uint32_t home(const char* state, std::uint32_t fingerprint, std::uint32_t tableSize) {
        return Chunked ? chunkSums(state, tableSize) : scaled(fingerprint, tableSize);
    }
    // Whether two vectors have the same bytes.
    bool sameBytes(const char* a, const char* b) const;

private:
    static std::uint64_t load64(const char* bytes) {
        std::uint64_t word;
        std::memcpy(&word, bytes, sizeof word);
        return word;
    }
    static std::uint32_t load32(const char* bytes) {
        std::uint32_t word;
        std::memcpy(&word, bytes, sizeof word);
        return word;
    }
    static std::uint64_t mixWord(std::uint64_t h, std::uint64_t word) {
        h = (h ^ word) * 0xbf58476d1ce4e5b9ULL;
        return h ^ (h >> 31);
    }
    static std::uint32_t scaled(std::uint32_t fingerprint, std::uint32_t tableSize) {
        return static_cast<std::uint32_t>((static_cast<std::uint64_t>(fingerprint) * tableSize) >>
                                          32);
    }
    // The chunk-sum home slot (out of line: it runs only for that home hash).
    std::uint32_t chunkSums(const char* state, std::uint32_t tableSize);

    std::uint32_t StateSize;       // bytes per vector
    std::uint32_t ChunkLength;     // bytes per chunk
    bool Chunked;                  // home slots are chunk sums
    std::uint32_t* Sums = nullptr; // owned (malloc); StateSize + 1 chunk sums of a vector
};

// Whole 8-byte words, then the last 8 bytes once more for a length that is not
// a multiple of 8 (some bytes are mixed twice, which costs nothing in quality);
// vectors shorter than 8 bytes are read as two overlapping halves or, below 4
// bytes, as their first, middle and last byte. Every read has a fixed length.
inline std::uint64_t StateHash::mixed(const char* state) const {
    std::uint64_t h = 0x9E3779B97F4A7C15ULL ^ StateSize;
    if (StateSize >= 8) {
        const char* end = state + (StateSize & ~7u);
        for (const char* word = state; word != end; word += 8)
            h = mixWord(h, load64(word));
        if (StateSize % 8 != 0)
            h = mixWord(h, load64(state + StateSize - 8));
    } else if (StateSize >= 4) {
        std::uint64_t word =
            load32(state) | static_cast<std::uint64_t>(load32(state + StateSize - 4)) << 32;
        h = mixWord(h, word);
    } else {
        std::uint64_t word =
            static_cast<unsigned char>(state[0]) |
            static_cast<std::uint64_t>(static_cast<unsigned char>(state[StateSize / 2])) << 8 |
            static_cast<std::uint64_t>(static_cast<unsigned char>(state[StateSize - 1])) << 16;
        h = mixWord(h, word);
    }
    return h * 0x94d049bb133111ebULL;
}

// Word by word, as the hash reads: the last 8 bytes once more for a length that
// is not a multiple of 8.
inline bool StateHash::sameBytes(const char* a, const char* b) const {
    if (StateSize < 8)
        return std::memcmp(a, b, StateSize) == 0;
    std::uint32_t end = StateSize & ~7u;
    for (std::uint32_t i = 0; i < end; i += 8) {
        if (load64(a + i) != load64(b + i))
            return false;
    }
    return load64(a + StateSize - 8) == load64(b + StateSize - 8);
}
