#pragma once
// HybridHash: the store of every numbered state vector. An open-addressing
// index of 32-bit references (number + block x 2^24) over blocks of vectors
// addressed by state number; equality of two vectors is the model's to decide.
// Each index entry also keeps 32 bits of the vector's mixed hash (its
// fingerprint), so a probe reads a stored vector only when the fingerprints
// agree, and a growing index places its entries without reading any vector.

#include <cstdint>

class PVModel;

class HybridHash {
public:
    // How a vector's home slot is found.
    enum class HomeHash {
        // Chunk sums: 5-byte chunks (the chunk length), each byte shifting the
        // sum left by 5, combined by xor and a multiplier. Vectors no longer than
        // one chunk use Mixed, since they give no chunk sum.
        Chunks,
        // A multiply-xorshift mix of all the bytes. Vectors of small values,
        // which the chunk sums crowd into few slots, spread over the index.
        Mixed,
    };

    // tableSize: first index size (131071 in the generator); blockSize: vectors
    // per block; chunkLength: bytes per hash chunk; maxBlocks: room of the block
    // array (at most 256, the references keep the block in 8 bits); loadFactor:
    // fraction of the index that the numbers may reach before it grows.
    // A null model compares vectors byte for byte.
    HybridHash(PVModel* model, unsigned long stateSize, unsigned long tableSize,
               unsigned long blockSize, unsigned long chunkLength, unsigned long maxBlocks,
               double loadFactor, HomeHash homeHash = HomeHash::Chunks);
    ~HybridHash();
    HybridHash(const HybridHash&) = delete;
    HybridHash& operator=(const HybridHash&) = delete;
    HybridHash(HybridHash&&) = delete;
    HybridHash& operator=(HybridHash&&) = delete;

    // Stores a state known to be absent under `number`; numbers arrive in
    // ascending order, each block filled before the next.
    void Insert(const char* state, unsigned long number);
    // The number of an equal stored state, or -1.
    long Lookup(const char* state);

    // A vector's hash, taken once for an early fetch of its index entry and the
    // lookup that follows.
    struct Key {
        std::uint32_t fingerprint; // top 32 bits of the mixed hash
        std::uint32_t home;        // home slot in an index of tableSize entries
        std::uint32_t tableSize;
    };
    // Hashes `state` and has the processor fetch its home entry, so that the
    // lookups of several vectors wait for memory together.
    Key Prefetch(const char* state);
    // Lookup with a hash taken by Prefetch (taken again if the index has grown).
    long Lookup(const char* state, const Key& key);
    // Adds the next block of vectors.
    void AddArray();
    // Grows the index to the next size of the prime table.
    void Rehash();
    // Releases the index; the exploration calls it when it ends.
    void ReleaseIndex();

    // The home slot of `state` in the present index.
    std::uint32_t HomeSlot(const char* state);
    // The stored vector of `number` (which must have been inserted).
    const char* StoredState(unsigned long number) const;
    std::uint32_t getTableSize() const { return TableSize; }
    unsigned getPrimeIndex() const { return PrimeIndex; }
    unsigned getLastBlock() const { return LastBlock; }
    // Index entry at `slot` (0 when empty).
    std::uint32_t getEntry(std::uint32_t slot) const { return Table[slot].reference; }

    // Largest number that the store can hold with these parameters.
    unsigned long MaxNumber() const;

private:
    static constexpr std::uint32_t NumberMask = 0xFFFFFF;
    static constexpr unsigned BlockShift = 24;

    struct Entry {
        std::uint32_t reference;   // 0 = empty, else number + block x 2^24
        std::uint32_t fingerprint; // top 32 bits of the vector's mixed hash
    };

    std::uint32_t home(const char* state, std::uint32_t fingerprint, std::uint32_t tableSize);
    Key keyOf(const char* state);
    std::uint32_t chunkHash(const char* state, std::uint32_t tableSize);
    std::uint32_t fingerprintOf(const char* state) const;
    static std::uint32_t scaled(std::uint32_t fingerprint, std::uint32_t tableSize) {
        return static_cast<std::uint32_t>((static_cast<std::uint64_t>(fingerprint) * tableSize) >>
                                          32);
    }
    bool chunked() const { return Home == HomeHash::Chunks && StateSize > ChunkLength; }
    bool damaged(std::uint32_t number, std::uint32_t block) const;
    bool equal(const char* stored, const char* key) const;
    char* vector(std::uint32_t number, std::uint32_t block) const {
        return Blocks[block] + static_cast<std::size_t>(number - block * BlockSize) * StateSize;
    }
    [[noreturn]] void fullStore(unsigned long number) const;

    Entry* Table = nullptr;        // owned; the index, TableSize entries
    unsigned PrimeIndex = 0;       // position of TableSize in the prime table
    char** Blocks = nullptr;       // owned; MaxBlocks entries, each an owned block of
                                   // BlockSize x StateSize bytes (null until added)
    PVModel* Model;                // not owned; decides equality of two vectors
    std::uint32_t StateSize;       // bytes per state vector
    unsigned LastBlock = 0;        // index of the last allocated block
    std::uint32_t BlockSize;       // vectors per block
    std::uint32_t TableSize;       // entries of the index
    std::uint32_t ChunkLength;     // bytes per hash chunk
    std::uint32_t MaxBlocks;       // entries of the block array
    double LoadFactor;             // fraction of TableSize the numbers may reach
    HomeHash Home;                 // how home slots are found
    std::uint32_t* Sums = nullptr; // owned; StateSize + 1 chunk sums of the key being hashed
};
