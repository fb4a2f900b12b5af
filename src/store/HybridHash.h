#pragma once
// HybridHash: the store of every numbered state vector. An open-addressing
// index of references over blocks of vectors addressed by state number. A
// reference is the state number itself (32 bits, so any number up to 2^32 - 1);
// the vector of number n lies in block n div BlockSize, slot n mod BlockSize.
// An index entry is 6 bytes: the number and 16 bits of the vector's mixed hash
// (its tag), so a probe reads a stored vector only when the tags agree. While
// the stored numbers are 1, 2, 3, ... without a gap (as the generator stores
// them), a growing index is rebuilt from the stored vectors in the old one's
// place (emptied, and extended in address space reserved for it) or after the
// old one is released, so the two are never in memory together.
//
// The pieces: StateHash (the hash and byte equality), VectorBlocks (the blocks
// of vectors), ReservedSpace (the room the index grows in); this class is the
// index over them: probing, and growth through a table of prime sizes.

#include "store/ReservedSpace.h"
#include "store/StateHash.h"
#include "store/VectorBlocks.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

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

    // How two vectors are found equal.
    enum class Equality {
        // The model's CompareState (a null model compares bytes).
        Model,
        // The bytes, compared here: what every SAN's CompareState does, without
        // the virtual calls. A byte-hashing store needs equal states to have
        // equal bytes anyway.
        Bytes,
    };

    // tableSize: first index size (131071 in the generator); blockSize: vectors
    // per block; chunkLength: bytes per hash chunk; maxBlocks: first room of the
    // block array, which doubles when a block does not fit; loadFactor: fraction
    // of the index that the numbers may reach before it grows.
    HybridHash(PVModel* model, unsigned long stateSize, unsigned long tableSize,
               unsigned long blockSize, unsigned long chunkLength, unsigned long maxBlocks,
               double loadFactor, HomeHash homeHash = HomeHash::Chunks,
               Equality equality = Equality::Model);
    ~HybridHash();
    HybridHash(const HybridHash&) = delete;
    HybridHash& operator=(const HybridHash&) = delete;
    HybridHash(HybridHash&&) = delete;
    HybridHash& operator=(HybridHash&&) = delete;

    // Stores a state known to be absent under `number`. Numbers arrive in
    // ascending order; a block is added when its first number arrives (blocks
    // that no number reached are never allocated).
    void Insert(const char* state, unsigned long number);
    // The number of an equal stored state, or -1.
    long Lookup(const char* state);

    // A vector's hash, taken once for an early fetch of its index entry and the
    // lookup that follows.
    struct Key {
        std::uint32_t fingerprint; // top 32 bits of the mixed hash
        std::uint32_t home;        // home slot in an index of tableSize entries
        std::uint32_t tableSize;
        std::uint16_t tag; // the bits of the mixed hash kept in the index entry
    };
    // Hashes `state` and has the processor fetch its home entry, so that the
    // lookups of several vectors wait for memory together.
    Key Prefetch(const char* state); // inline, below
    // Once the home entry of `key` has had time to arrive: has the processor
    // fetch the stored vector that the lookup will compare (or, when the home
    // entry holds another vector, the next entry on the probe path).
    void PrefetchStored(const Key& key) const;
    // Lookup with a hash taken by Prefetch (taken again if the index has grown).
    long Lookup(const char* state, const Key& key);
    // Lookup and Insert in one probe sequence: the number of an equal stored
    // state; or, when there is none, stores `state` under `number` in the empty
    // entry that ended the search (or, when the index grows first, where Insert
    // would put it) and returns -1.
    // The case of most lookups, an equal vector at the home entry, is inline
    // (below); every other goes through the whole search.
    long FindOrInsert(const char* state, const Key& key, unsigned long number);
    long FindOrInsert(const char* state, unsigned long number);
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
    unsigned getLastBlock() const { return Vectors.lastBlock(); }
    unsigned getMaxBlocks() const { return Vectors.maxBlocks(); }
    // Index entry at `slot`: 0 when empty, else the number stored there.
    std::uint32_t getEntry(std::uint32_t slot) const { return entryNumber(slot); }

    // Largest number that the store can hold: 2^32 - 1.
    unsigned long MaxNumber() const;
    // The index size at position `index` of the prime table, 0 past its end.
    // The first 14 are fixed; each further size is the smallest prime at or
    // above 7/5 of the one before, while it stays below 2^32.
    static std::uint32_t PrimeSize(unsigned index);

private:
    // An index entry: the state number (0 = empty) in 4 bytes, then the tag in 2.
    static constexpr std::size_t EntryBytes = 6;
    // The entry at `slot` read as one 8-byte word (the index has 2 bytes of room
    // after its last entry): the number in the low 32 bits, the tag above.
    std::uint64_t entryWord(std::uint32_t slot) const {
        std::uint64_t word;
        std::memcpy(&word, Table + EntryBytes * slot, sizeof word);
        return word;
    }
    std::uint32_t entryNumber(std::uint32_t slot) const {
        return static_cast<std::uint32_t>(entryWord(slot));
    }
    static std::uint16_t wordTag(std::uint64_t word) {
        return static_cast<std::uint16_t>(word >> 32);
    }
    void setEntry(std::uint32_t slot, std::uint32_t number, std::uint16_t tag) {
        unsigned char* entry = Table + EntryBytes * slot;
        std::memcpy(entry, &number, sizeof number);
        std::memcpy(entry + sizeof number, &tag, sizeof tag);
    }
    // The bytes of an index of `size` entries: two bytes of room after the last
    // entry let every entry be read as one word.
    static std::size_t indexBytes(std::uint64_t size) {
        return static_cast<std::size_t>(size) * EntryBytes + 2;
    }
    // An index of `size` entries, all empty (null when it cannot be allocated).
    static unsigned char* newIndex(std::uint32_t size);
    // Reserves the space that the index grows in while the numbers are
    // contiguous: room for some growths past `size` entries. False when none
    // could be had.
    bool reserveSpace(std::uint32_t size);
    // Makes `size` entries of the space usable; false when it is too small.
    bool commitSpace(std::uint32_t size) { return Space.commit(indexBytes(size)); }
    // An empty index of `size` entries at the start of a new space (null when
    // none could be had).
    unsigned char* indexInNewSpace(std::uint32_t size);
    // Empties the index of `oldSize` entries in the space before it grows to
    // `grown` entries in place.
    void emptyInPlace(std::uint32_t oldSize, std::uint32_t grown);
    // Releases an index, whether in the space or allocated.
    void releaseIndex(unsigned char* table);

    Key keyOf(const char* state);
    long findOrInsert(const char* state, const Key& key, unsigned long number);
    // The search shared by Lookup and FindOrInsert: the number of an equal
    // stored state, or 0 with `slot` at the empty (or cleared damaged) entry
    // that ended the search.
    std::uint32_t search(const char* state, std::uint16_t tag, std::uint32_t homeSlot,
                         std::uint32_t& slot);
    // The first empty entry on the probe path from `homeSlot`.
    std::uint32_t freeSlot(std::uint32_t homeSlot) const;
    // Stops the run for a number beyond MaxNumber; true when the index must
    // grow before `number` is stored.
    bool outgrown(unsigned long number) const;
    // Stores `state` under `number` in the empty entry `slot`, adding the
    // number's block first when it is new.
    void place(const char* state, std::uint16_t tag, std::uint32_t number, std::uint32_t slot);
    // Rehash's two ways of filling the new index: from the stored vectors in
    // number order, or from the entries of the old index in slot order.
    void rebuildFromVectors();
    void moveEntries(const unsigned char* old, std::uint32_t oldSize);
    bool equal(const char* stored, const char* key) const;
    // Adds block `block` of the vectors, or stops the run.
    void addBlock(std::uint32_t block);
    [[noreturn]] void fullStore(unsigned long number) const;

    unsigned char* Table = nullptr; // owned; the index, TableSize entries: in Space, or malloc'd
    ReservedSpace Space;            // owned; the room the index grows in, held while Table is in it
    VectorBlocks Vectors;           // owned; the stored vectors
    StateHash Hash;                 // hashes and compares vectors
    PVModel* Model;                 // not owned; decides equality of two vectors
    unsigned PrimeIndex = 0;        // position of TableSize in the prime table
    std::uint32_t TableSize;        // entries of the index
    double LoadFactor;              // fraction of TableSize the numbers may reach
    Equality Compare;               // how vectors are found equal
    std::uint64_t Highest = 0;      // the highest number stored
    bool Contiguous = true;         // the numbers stored are exactly 1 .. Highest
};

// The lookup path runs once per transition, so it is inline: the hash, the key,
// the home entry's test and the vector comparison.

inline HybridHash::Key HybridHash::keyOf(const char* state) {
    std::uint64_t hash = Hash.mixed(state);
    std::uint32_t fingerprint = static_cast<std::uint32_t>(hash >> 32);
    return {fingerprint, Hash.home(state, fingerprint, TableSize), TableSize,
            static_cast<std::uint16_t>(hash >> 16)};
}

inline HybridHash::Key HybridHash::Prefetch(const char* state) {
    Key key = keyOf(state);
    __builtin_prefetch(Table + EntryBytes * key.home);
    return key;
}

inline long HybridHash::FindOrInsert(const char* state, const Key& key, unsigned long number) {
    if (key.tableSize == TableSize && Compare == Equality::Bytes) {
        std::uint64_t word = entryWord(key.home);
        std::uint32_t found = static_cast<std::uint32_t>(word);
        if (found != 0 && found < Vectors.endNumber() && wordTag(word) == key.tag) {
            const char* stored = Vectors.at(found);
            if (stored != nullptr && Hash.sameBytes(stored, state))
                return found;
        }
    }
    return findOrInsert(state, key, number);
}
