#include "ssg/HybridHash.h"

#include "base/Assert.h"
#include "pv/PVModel.h"

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>
#include <sys/mman.h>

namespace {

// Index sizes in order of growth; the zeros end the list.
constexpr std::uint32_t PrimeArray[22] = {131071,   393209,   786419,  1179637,  1966049,  2752481,
                                          4325341,  6684607,  9437101, 15335303, 21000169, 31000303,
                                          51000353, 71000383, 0,       0,        0,        0,
                                          0,        0,        0,       0};

// Most blocks that a reference can name: the block sits in its top 8 bits.
constexpr unsigned long ReferenceBlocks = 256;

// A large index is aligned to 2 MiB and offered to the kernel for huge pages:
// it is read at random, once per lookup, and with small pages most of those
// reads also miss the address-translation cache.
void* allocateZeroed(std::size_t bytes) {
    constexpr std::size_t hugePage = 2u << 20;
    if (bytes < hugePage)
        return std::calloc(bytes > 0 ? bytes : 1, 1);
    std::size_t rounded = (bytes + hugePage - 1) / hugePage * hugePage;
    void* memory = std::aligned_alloc(hugePage, rounded);
    if (memory == nullptr)
        return nullptr;
    madvise(memory, rounded, MADV_HUGEPAGE);
    std::memset(memory, 0, rounded);
    return memory;
}

[[noreturn]] void fatal(const char* message) {
    std::cerr << message << std::endl;
    std::exit(1);
}

// A byte taken as signed and widened to 32 bits (0xFF gives 0xFFFFFFFF).
inline std::uint32_t widen(char byte) {
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<signed char>(byte)));
}

// Probe sequence shared by Insert, Lookup and Rehash: the step grows with the
// probe count and with the index's growth stage, and restarts after wrapping.
class Probe {
public:
    Probe(std::uint32_t home, unsigned primeIndex, std::uint32_t tableSize)
        : Slot(home), Step((primeIndex + 1) * 1024ULL), TableSize(tableSize) {}
    std::uint32_t slot() const { return Slot; }
    void next() {
        std::uint64_t slot = Slot + Step * K;
        ++K;
        if (slot >= TableSize) {
            // One subtraction with the generator's sizes (the step stays far
            // below the index size); the remainder keeps tiny test indexes in range.
            slot %= TableSize;
            K = 1;
        }
        Slot = static_cast<std::uint32_t>(slot);
        if (++Probes > TableSize)
            fatal("Hash:  Error:  the index has no free entry on the probe path; use a lower "
                  "load factor (-h)");
    }

private:
    std::uint32_t Slot;
    std::uint64_t Step;
    std::uint64_t K = 1;
    std::uint32_t TableSize;
    std::uint32_t Probes = 0;
};

} // namespace

HybridHash::HybridHash(PVModel* model, unsigned long stateSize, unsigned long tableSize,
                       unsigned long blockSize, unsigned long chunkLength, unsigned long maxBlocks,
                       double loadFactor, HomeHash homeHash)
    : Model(model), StateSize(static_cast<std::uint32_t>(stateSize)),
      BlockSize(static_cast<std::uint32_t>(blockSize)),
      TableSize(static_cast<std::uint32_t>(tableSize)),
      ChunkLength(static_cast<std::uint32_t>(chunkLength)),
      MaxBlocks(
          static_cast<std::uint32_t>(maxBlocks < ReferenceBlocks ? maxBlocks : ReferenceBlocks)),
      LoadFactor(loadFactor), Home(homeHash) {
    GEN_ASSERT(tableSize > 0 && blockSize > 0 && chunkLength > 0 && maxBlocks > 0, "HybridHash");
    Table = static_cast<Entry*>(allocateZeroed(sizeof(Entry) * TableSize));
    Blocks = new (std::nothrow) char*[MaxBlocks]();
    Sums = new (std::nothrow) std::uint32_t[StateSize + 1];
    if (Table == nullptr || Blocks == nullptr || Sums == nullptr)
        fatal("Error:  Unable to allocate memory");
    Blocks[0] = new (std::nothrow) char[static_cast<std::size_t>(BlockSize) * StateSize]();
    if (Blocks[0] == nullptr)
        fatal("Error:  Unable to allocate memory");
}

HybridHash::~HybridHash() {
    if (Blocks != nullptr) {
        for (unsigned b = 0; b <= LastBlock; ++b)
            delete[] Blocks[b];
    }
    delete[] Blocks;
    delete[] Sums;
    std::free(Table);
}

void HybridHash::ReleaseIndex() {
    std::free(Table);
    Table = nullptr;
}

unsigned long HybridHash::MaxNumber() const {
    unsigned long byBlocks = static_cast<unsigned long>(MaxBlocks) * BlockSize - 1;
    return byBlocks < NumberMask ? byBlocks : NumberMask;
}

void HybridHash::fullStore(unsigned long number) const {
    std::cerr << "Error:  The state store is full: state " << number
              << " cannot be stored (at most " << MaxNumber() << " states)" << std::endl;
    std::exit(1);
}

std::uint32_t HybridHash::fingerprintOf(const char* state) const {
    constexpr std::uint64_t multiplier = 0xbf58476d1ce4e5b9ULL;
    std::uint64_t h = 0x9E3779B97F4A7C15ULL ^ StateSize;
    std::uint32_t left = StateSize;
    const char* bytes = state;
    while (left > 0) {
        std::uint64_t word = 0;
        std::uint32_t length = left < 8 ? left : 8;
        std::memcpy(&word, bytes, length);
        h = (h ^ word) * multiplier;
        h ^= h >> 31;
        bytes += length;
        left -= length;
    }
    h *= 0x94d049bb133111ebULL;
    return static_cast<std::uint32_t>(h >> 32);
}

std::uint32_t HybridHash::home(const char* state, std::uint32_t fingerprint,
                               std::uint32_t tableSize) {
    // The mixed home slot is the fingerprint scaled to the index size.
    return chunked() ? chunkHash(state, tableSize) : scaled(fingerprint, tableSize);
}

std::uint32_t HybridHash::chunkHash(const char* state, std::uint32_t tableSize) {
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

std::uint32_t HybridHash::HomeSlot(const char* state) {
    return home(state, fingerprintOf(state), TableSize);
}

bool HybridHash::damaged(std::uint32_t number, std::uint32_t block) const {
    return block > LastBlock || number - block * BlockSize >= BlockSize;
}

bool HybridHash::equal(const char* stored, const char* key) const {
    if (Model == nullptr)
        return std::memcmp(stored, key, StateSize) == 0;
    return Model->CompareState(const_cast<char*>(stored), const_cast<char*>(key));
}

const char* HybridHash::StoredState(unsigned long number) const {
    std::uint32_t block = static_cast<std::uint32_t>(number / BlockSize);
    GEN_ASSERT(block <= LastBlock, "HybridHash");
    return vector(static_cast<std::uint32_t>(number), block);
}

void HybridHash::Insert(const char* state, unsigned long number) {
    if (number > MaxNumber())
        fullStore(number);
    if (static_cast<double>(number) >= TableSize * LoadFactor)
        Rehash();
    if (number >= (static_cast<unsigned long>(LastBlock) + 1) * BlockSize)
        AddArray();
    GEN_ASSERT(number >= static_cast<unsigned long>(LastBlock) * BlockSize &&
                   number < (static_cast<unsigned long>(LastBlock) + 1) * BlockSize,
               "HybridHash");
    std::uint32_t fingerprint = fingerprintOf(state);
    Probe probe(home(state, fingerprint, TableSize), PrimeIndex, TableSize);
    while (Table[probe.slot()].reference != 0)
        probe.next();
    std::uint32_t n = static_cast<std::uint32_t>(number);
    Table[probe.slot()] = {n + (LastBlock << BlockShift), fingerprint};
    std::memcpy(vector(n, LastBlock), state, StateSize);
}

HybridHash::Key HybridHash::keyOf(const char* state) {
    std::uint32_t fingerprint = fingerprintOf(state);
    return {fingerprint, home(state, fingerprint, TableSize), TableSize};
}

HybridHash::Key HybridHash::Prefetch(const char* state) {
    Key key = keyOf(state);
    __builtin_prefetch(&Table[key.home]);
    return key;
}

long HybridHash::Lookup(const char* state) {
    return Lookup(state, keyOf(state));
}

long HybridHash::Lookup(const char* state, const Key& key) {
    std::uint32_t fingerprint = key.fingerprint;
    std::uint32_t homeSlot =
        key.tableSize == TableSize ? key.home : home(state, fingerprint, TableSize);
    Probe probe(homeSlot, PrimeIndex, TableSize);
    for (;;) {
        Entry& entry = Table[probe.slot()];
        if (entry.reference == 0)
            return -1;
        std::uint32_t number = entry.reference & NumberMask;
        std::uint32_t block = entry.reference >> BlockShift;
        if (damaged(number, block)) {
            entry = {0, 0};
            return -1;
        }
        // Equal vectors have equal fingerprints: the model is asked only then.
        if (entry.fingerprint == fingerprint && equal(vector(number, block), state))
            return number;
        probe.next();
    }
}

void HybridHash::AddArray() {
    if (LastBlock + 1 >= MaxBlocks)
        fullStore(static_cast<unsigned long>(LastBlock + 1) * BlockSize);
    ++LastBlock;
    Blocks[LastBlock] = new (std::nothrow) char[static_cast<std::size_t>(BlockSize) * StateSize]();
    if (Blocks[LastBlock] == nullptr)
        fatal("Error:  Unable to allocate memory");
}

void HybridHash::Rehash() {
    ++PrimeIndex;
    std::uint32_t grown = PrimeIndex < 22 ? PrimeArray[PrimeIndex] : 0;
    if (grown == 0)
        fatal("Hash:  Error:  allocate more memory for Hash Table");
    Entry* table = static_cast<Entry*>(allocateZeroed(sizeof(Entry) * grown));
    if (table == nullptr)
        fatal("Error:  TempHashTable not allocated");
    if (grown < TableSize)
        fatal("Hash:  Error, there is a typo in the Hash Table, check .h file");
    for (std::uint32_t slot = 0; slot < TableSize; ++slot) {
        const Entry& entry = Table[slot];
        if (entry.reference == 0)
            continue;
        std::uint32_t number = entry.reference & NumberMask;
        std::uint32_t block = entry.reference >> BlockShift;
        if (damaged(number, block))
            continue;
        // Mixed home slots come from the fingerprint, so no vector is read; the
        // chunk sums are taken from the stored vector where it lies (a scratch
        // copy of it would change nothing).
        std::uint32_t homeSlot =
            chunked() ? chunkHash(vector(number, block), grown) : scaled(entry.fingerprint, grown);
        Probe probe(homeSlot, PrimeIndex, grown);
        while (table[probe.slot()].reference != 0)
            probe.next();
        table[probe.slot()] = entry;
    }
    std::free(Table);
    Table = table;
    TableSize = grown;
}
