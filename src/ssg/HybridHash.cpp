#include "ssg/HybridHash.h"

#include "base/Assert.h"
#include "pv/PVModel.h"

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>

namespace {

// Index sizes in order of growth; the zeros end the list.
constexpr std::uint32_t PrimeArray[22] = {
    131071,   393209,   786419,   1179637,  1966049,  2752481,  4325341, 6684607,
    9437101,  15335303, 21000169, 31000303, 51000353, 71000383, 0,       0,
    0,        0,        0,        0,        0,        0};

// Most blocks that a reference can name: the block sits in its top 8 bits.
constexpr unsigned long ReferenceBlocks = 256;

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
                       unsigned long blockSize, unsigned long chunkLength,
                       unsigned long maxBlocks, double loadFactor)
    : Model(model), StateSize(static_cast<std::uint32_t>(stateSize)),
      BlockSize(static_cast<std::uint32_t>(blockSize)),
      TableSize(static_cast<std::uint32_t>(tableSize)),
      ChunkLength(static_cast<std::uint32_t>(chunkLength)),
      MaxBlocks(static_cast<std::uint32_t>(maxBlocks < ReferenceBlocks ? maxBlocks
                                                                       : ReferenceBlocks)),
      LoadFactor(loadFactor) {
    GEN_ASSERT(tableSize > 0 && blockSize > 0 && chunkLength > 0 && maxBlocks > 0, "HybridHash");
    Table = new (std::nothrow) std::uint32_t[TableSize]();
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
    delete[] Table;
}

void HybridHash::ReleaseIndex() {
    delete[] Table;
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

std::uint32_t HybridHash::hash(const char* state, std::uint32_t tableSize) {
    if (StateSize <= ChunkLength) {
        // Too short for a chunk sum: FNV-1a over the bytes spreads such keys.
        std::uint32_t h = 2166136261u;
        for (std::uint32_t i = 0; i < StateSize; ++i) {
            h ^= static_cast<unsigned char>(state[i]);
            h *= 16777619u;
        }
        return h % tableSize;
    }
    // Chunk sums: full chunks while more than a chunk remains, then the rest.
    std::uint32_t numSums = 0;
    std::uint32_t position = 0;
    while (position < StateSize) {
        std::uint32_t length = StateSize - position > ChunkLength ? ChunkLength
                                                                  : StateSize - position;
        std::uint32_t sum = 0;
        for (std::uint32_t i = 0; i < length; ++i)
            sum = (sum << 5) ^ widen(state[position + i]);
        Sums[numSums++] = sum;
        position += length;
    }
    std::uint32_t nonZero = 0;
    for (std::uint32_t i = 0; i + 1 < numSums; ++i)
        nonZero += Sums[i] != 0;
    std::uint32_t multiplier = nonZero > 16 ? 1 : nonZero > 8 ? 2 : nonZero > 4 ? 4
                                                : nonZero > 2 ? 8 : 16;
    std::uint32_t h = 0;
    for (std::uint32_t i = 0; i < numSums; ++i) {
        if (Sums[i] != 0)
            h = (Sums[i] % tableSize) ^ (h * multiplier);
    }
    return h % tableSize;
}

std::uint32_t HybridHash::HomeSlot(const char* state) { return hash(state, TableSize); }

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
    Probe probe(hash(state, TableSize), PrimeIndex, TableSize);
    while (Table[probe.slot()] != 0)
        probe.next();
    std::uint32_t n = static_cast<std::uint32_t>(number);
    Table[probe.slot()] = n + (LastBlock << BlockShift);
    std::memcpy(vector(n, LastBlock), state, StateSize);
}

long HybridHash::Lookup(const char* state) {
    Probe probe(hash(state, TableSize), PrimeIndex, TableSize);
    for (;;) {
        std::uint32_t& entry = Table[probe.slot()];
        if (entry == 0)
            return -1;
        std::uint32_t number = entry & NumberMask;
        std::uint32_t block = entry >> BlockShift;
        if (damaged(number, block)) {
            entry = 0;
            return -1;
        }
        if (equal(vector(number, block), state))
            return number;
        probe.next();
    }
}

void HybridHash::AddArray() {
    if (LastBlock + 1 >= MaxBlocks)
        fullStore(static_cast<unsigned long>(LastBlock + 1) * BlockSize);
    ++LastBlock;
    Blocks[LastBlock] =
        new (std::nothrow) char[static_cast<std::size_t>(BlockSize) * StateSize]();
    if (Blocks[LastBlock] == nullptr)
        fatal("Error:  Unable to allocate memory");
}

void HybridHash::Rehash() {
    ++PrimeIndex;
    std::uint32_t grown = PrimeIndex < 22 ? PrimeArray[PrimeIndex] : 0;
    if (grown == 0)
        fatal("Hash:  Error:  allocate more memory for Hash Table");
    std::uint32_t* table = new (std::nothrow) std::uint32_t[grown]();
    if (table == nullptr)
        fatal("Error:  TempHashTable not allocated");
    if (grown < TableSize)
        fatal("Hash:  Error, there is a typo in the Hash Table, check .h file");
    for (std::uint32_t slot = 0; slot < TableSize; ++slot) {
        std::uint32_t entry = Table[slot];
        if (entry == 0)
            continue;
        std::uint32_t number = entry & NumberMask;
        std::uint32_t block = entry >> BlockShift;
        if (damaged(number, block))
            continue;
        // The stored vector is hashed where it lies: it does not move, so the
        // scratch copy that a rehash could take would change nothing.
        Probe probe(hash(vector(number, block), grown), PrimeIndex, grown);
        while (table[probe.slot()] != 0)
            probe.next();
        table[probe.slot()] = entry;
    }
    delete[] Table;
    Table = table;
    TableSize = grown;
}
