#include "ssg/HybridHash.h"

#include "base/Assert.h"
#include "pv/PVModel.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sys/mman.h>
#include <unistd.h>

namespace {

// The fixed index sizes in order of growth.
constexpr std::uint32_t ListedPrimes[] = {131071,   393209,   786419,   1179637, 1966049,
                                          2752481,  4325341,  6684607,  9437101, 15335303,
                                          21000169, 31000303, 51000353, 71000383};

bool isPrime(std::uint64_t n) {
    if (n < 2 || n % 2 == 0)
        return n == 2;
    for (std::uint64_t d = 3; d * d <= n; d += 2) {
        if (n % d == 0)
            return false;
    }
    return true;
}

// The listed sizes, then the primes that the growth rule gives below 2^32, then
// zeros. 7/5 is about the smallest step of the listed sizes' later stages; at
// the default load factor of 0.5 it keeps the index at most 2 x 7/5 entries
// (22.4 bytes) per state.
constexpr std::size_t PrimeCount = 32;
std::array<std::uint32_t, PrimeCount> makePrimes() {
    std::array<std::uint32_t, PrimeCount> sizes{};
    std::size_t count = 0;
    for (std::uint32_t size : ListedPrimes)
        sizes[count++] = size;
    for (std::uint64_t size = sizes[count - 1]; count < PrimeCount; ++count) {
        size = (size * 7 + 4) / 5;
        while (size <= UINT32_MAX && !isPrime(size))
            ++size;
        if (size > UINT32_MAX)
            break;
        sizes[count] = static_cast<std::uint32_t>(size);
    }
    return sizes;
}

// Entries of a large index are placed on pages that the kernel may back with
// huge pages: the index is read at random, once per lookup, and with small
// pages most of those reads also miss the address-translation cache. calloc
// takes a large index straight from the kernel, whose pages are zero until
// touched, so a new index costs memory only as it fills.
constexpr std::size_t HugePage = std::size_t{2} << 20;

void* allocateZeroed(std::size_t count, std::size_t size) {
    void* memory = std::calloc(count > 0 ? count : 1, size);
    if (memory != nullptr && count * size >= 2 * HugePage) {
        std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(memory);
        std::uintptr_t first = (begin + HugePage - 1) / HugePage * HugePage;
        std::uintptr_t last = (begin + count * size) / HugePage * HugePage;
        if (last > first)
            madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
    }
    return memory;
}

// An index this large comes from its own mapping (the allocator maps anything
// above 32 MiB), so its pages may be handed back to the kernel one by one.
constexpr std::size_t ReleasedIndexBytes = std::size_t{64} << 20;

[[noreturn]] void fatal(const char* message) {
    std::cerr << message << std::endl;
    std::exit(1);
}

// A byte taken as signed and widened to 32 bits (0xFF gives 0xFFFFFFFF).
inline std::uint32_t widen(char byte) {
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<signed char>(byte)));
}

inline std::uint64_t load64(const char* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

inline std::uint32_t load32(const char* bytes) {
    std::uint32_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

constexpr std::uint64_t MixMultiplier = 0xbf58476d1ce4e5b9ULL;

inline std::uint64_t mixWord(std::uint64_t h, std::uint64_t word) {
    h = (h ^ word) * MixMultiplier;
    return h ^ (h >> 31);
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

std::uint32_t HybridHash::PrimeSize(unsigned index) {
    static const std::array<std::uint32_t, PrimeCount> sizes = makePrimes();
    return index < PrimeCount ? sizes[index] : 0;
}

HybridHash::HybridHash(PVModel* model, unsigned long stateSize, unsigned long tableSize,
                       unsigned long blockSize, unsigned long chunkLength, unsigned long maxBlocks,
                       double loadFactor, HomeHash homeHash, Equality equality)
    : Model(model), StateSize(static_cast<std::uint32_t>(stateSize)),
      BlockSize(static_cast<std::uint32_t>(blockSize)),
      BlockReciprocal(blockSize > 1 ? UINT64_MAX / blockSize + 1 : 0), EndNumber(blockSize),
      TableSize(static_cast<std::uint32_t>(tableSize)),
      ChunkLength(static_cast<std::uint32_t>(chunkLength)),
      MaxBlocks(static_cast<std::uint32_t>(maxBlocks)), LoadFactor(loadFactor), Home(homeHash),
      Compare(model == nullptr ? Equality::Bytes : equality) {
    GEN_ASSERT(stateSize > 0 && tableSize > 0 && tableSize <= UINT32_MAX && blockSize > 0 &&
                   blockSize <= UINT32_MAX && chunkLength > 0 && maxBlocks > 0 &&
                   maxBlocks <= UINT32_MAX,
               "HybridHash");
    Table = static_cast<Entry*>(allocateZeroed(TableSize, sizeof(Entry)));
    Blocks = static_cast<char**>(std::calloc(MaxBlocks, sizeof(char*)));
    Sums = static_cast<std::uint32_t*>(std::malloc(sizeof(std::uint32_t) * (StateSize + 1)));
    if (Table == nullptr || Blocks == nullptr || Sums == nullptr)
        fatal("Error:  Unable to allocate memory");
    Blocks[0] = static_cast<char*>(std::calloc(BlockSize, StateSize));
    if (Blocks[0] == nullptr)
        fatal("Error:  Unable to allocate memory");
}

HybridHash::~HybridHash() {
    if (Blocks != nullptr) {
        for (unsigned b = 0; b <= LastBlock; ++b)
            std::free(Blocks[b]);
    }
    std::free(Blocks);
    std::free(Sums);
    std::free(Table);
}

void HybridHash::ReleaseIndex() {
    std::free(Table);
    Table = nullptr;
}

unsigned long HybridHash::MaxNumber() const {
    return UINT32_MAX;
}

void HybridHash::fullStore(unsigned long number) const {
    std::cerr << "Error:  The state store is full: state " << number
              << " cannot be stored (at most " << MaxNumber() << " states)" << std::endl;
    std::exit(1);
}

// Whole 8-byte words, then the last 8 bytes once more for a length that is not
// a multiple of 8 (some bytes are mixed twice, which costs nothing in quality);
// vectors shorter than 8 bytes are read as two overlapping halves or, below 4
// bytes, as their first, middle and last byte. Every read has a fixed length.
std::uint32_t HybridHash::fingerprintOf(const char* state) const {
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

char* HybridHash::vector(std::uint32_t number) const {
    std::uint32_t block = blockOf(number);
    if (Blocks[block] == nullptr)
        return nullptr;
    return Blocks[block] + static_cast<std::size_t>(number - block * BlockSize) * StateSize;
}

// Word by word, as the hash reads: the last 8 bytes once more for a length that
// is not a multiple of 8.
bool HybridHash::sameBytes(const char* a, const char* b) const {
    if (StateSize < 8)
        return std::memcmp(a, b, StateSize) == 0;
    std::uint32_t end = StateSize & ~7u;
    for (std::uint32_t i = 0; i < end; i += 8) {
        if (load64(a + i) != load64(b + i))
            return false;
    }
    return load64(a + StateSize - 8) == load64(b + StateSize - 8);
}

bool HybridHash::equal(const char* stored, const char* key) const {
    if (Compare == Equality::Bytes)
        return sameBytes(stored, key);
    return Model->CompareState(const_cast<char*>(stored), const_cast<char*>(key));
}

const char* HybridHash::StoredState(unsigned long number) const {
    GEN_ASSERT(number <= MaxNumber() && number < EndNumber, "HybridHash");
    const char* stored = vector(static_cast<std::uint32_t>(number));
    GEN_ASSERT(stored != nullptr, "HybridHash");
    return stored;
}

// Inlined into Lookup and FindOrInsert: it is the whole of their work.
[[gnu::always_inline]] inline std::uint32_t HybridHash::search(const char* state,
                                                               std::uint32_t fingerprint,
                                                               std::uint32_t homeSlot,
                                                               std::uint32_t& slot) {
    Probe probe(homeSlot, PrimeIndex, TableSize);
    for (;;) {
        Entry& entry = Table[probe.slot()];
        std::uint32_t number = entry.reference;
        if (number == 0)
            break;
        // A number beyond the last block is damage: the entry is cleared and the
        // search ends there.
        if (number >= EndNumber) {
            entry = {0, 0};
            break;
        }
        // Equal vectors have equal fingerprints: the vectors are compared only then.
        if (entry.fingerprint == fingerprint) {
            const char* stored = vector(number);
            if (stored == nullptr) {
                entry = {0, 0};
                break;
            }
            if (equal(stored, state))
                return number;
        }
        probe.next();
    }
    slot = probe.slot();
    return 0;
}

std::uint32_t HybridHash::freeSlot(const char* state, std::uint32_t fingerprint) {
    Probe probe(home(state, fingerprint, TableSize), PrimeIndex, TableSize);
    while (Table[probe.slot()].reference != 0)
        probe.next();
    return probe.slot();
}

void HybridHash::place(const char* state, std::uint32_t fingerprint, std::uint32_t number,
                       std::uint32_t slot) {
    std::uint32_t block = blockOf(number);
    if (block > LastBlock)
        addBlock(block);
    GEN_ASSERT(block == LastBlock, "HybridHash");
    Table[slot] = {number, fingerprint};
    std::memcpy(vector(number), state, StateSize);
}

bool HybridHash::outgrown(unsigned long number) const {
    if (number > MaxNumber())
        fullStore(number);
    GEN_ASSERT(number > 0, "HybridHash");
    return static_cast<double>(number) >= TableSize * LoadFactor;
}

void HybridHash::Insert(const char* state, unsigned long number) {
    if (outgrown(number))
        Rehash();
    std::uint32_t fingerprint = fingerprintOf(state);
    place(state, fingerprint, static_cast<std::uint32_t>(number), freeSlot(state, fingerprint));
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
    std::uint32_t homeSlot =
        key.tableSize == TableSize ? key.home : home(state, key.fingerprint, TableSize);
    std::uint32_t slot;
    std::uint32_t number = search(state, key.fingerprint, homeSlot, slot);
    return number != 0 ? static_cast<long>(number) : -1;
}

long HybridHash::FindOrInsert(const char* state, unsigned long number) {
    return FindOrInsert(state, keyOf(state), number);
}

long HybridHash::FindOrInsert(const char* state, const Key& key, unsigned long number) {
    std::uint32_t homeSlot =
        key.tableSize == TableSize ? key.home : home(state, key.fingerprint, TableSize);
    std::uint32_t slot;
    std::uint32_t found = search(state, key.fingerprint, homeSlot, slot);
    if (found != 0)
        return found;
    // The empty entry that ended the search is the one Insert would take, unless
    // the index grows first.
    if (outgrown(number)) {
        Rehash();
        slot = freeSlot(state, key.fingerprint);
    }
    place(state, key.fingerprint, static_cast<std::uint32_t>(number), slot);
    return -1;
}

void HybridHash::AddArray() {
    addBlock(LastBlock + 1);
}

void HybridHash::growBlockArray(std::uint32_t block) {
    std::uint64_t room = MaxBlocks;
    while (room <= block)
        room *= 2;
    if (room > UINT32_MAX)
        room = UINT32_MAX;
    if (block >= room)
        fatal("Error:  Unable to allocate memory");
    char** blocks = static_cast<char**>(std::realloc(Blocks, sizeof(char*) * room));
    if (blocks == nullptr)
        fatal("Error:  Unable to allocate memory");
    std::memset(blocks + MaxBlocks, 0, sizeof(char*) * (room - MaxBlocks));
    Blocks = blocks;
    MaxBlocks = static_cast<std::uint32_t>(room);
}

void HybridHash::addBlock(std::uint32_t block) {
    GEN_ASSERT(block > LastBlock, "HybridHash");
    if (block >= MaxBlocks)
        growBlockArray(block);
    Blocks[block] = static_cast<char*>(std::calloc(BlockSize, StateSize));
    if (Blocks[block] == nullptr)
        fatal("Error:  Unable to allocate memory");
    LastBlock = block;
    EndNumber = (static_cast<std::uint64_t>(LastBlock) + 1) * BlockSize;
}

void HybridHash::Rehash() {
    ++PrimeIndex;
    std::uint32_t grown = PrimeSize(PrimeIndex);
    if (grown == 0)
        fatal("Hash:  Error:  allocate more memory for Hash Table");
    Entry* table = static_cast<Entry*>(allocateZeroed(grown, sizeof(Entry)));
    if (table == nullptr)
        fatal("Error:  TempHashTable not allocated");
    if (grown < TableSize)
        fatal("Hash:  Error, there is a typo in the Hash Table, check .h file");

    // A large old index is handed back to the kernel behind the pass, so that
    // the two indexes are not both whole in memory: its entries are read once,
    // in slot order, and with mixed home slots (in order of the fingerprint in
    // either index) the new index fills in about the same order.
    std::size_t oldBytes = sizeof(Entry) * TableSize;
    bool release = oldBytes >= ReleasedIndexBytes;
    char* released = reinterpret_cast<char*>(Table);
    if (release) {
        std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(Table);
        released = reinterpret_cast<char*>((begin + page - 1) / page * page);
    }
    constexpr std::uint32_t releaseStep = HugePage / sizeof(Entry);

    for (std::uint32_t slot = 0; slot < TableSize; ++slot) {
        if (release && slot % releaseStep == 0 && slot > 0) {
            char* done = reinterpret_cast<char*>(Table + slot);
            char* upTo = reinterpret_cast<char*>(reinterpret_cast<std::uintptr_t>(done) / HugePage *
                                                 HugePage);
            if (upTo > released) {
                madvise(released, static_cast<std::size_t>(upTo - released), MADV_DONTNEED);
                released = upTo;
            }
        }
        const Entry& entry = Table[slot];
        std::uint32_t number = entry.reference;
        if (number == 0 || number >= EndNumber)
            continue;
        // Mixed home slots come from the fingerprint, so no vector is read; the
        // chunk sums are taken from the stored vector where it lies (a scratch
        // copy of it would change nothing).
        std::uint32_t homeSlot;
        if (chunked()) {
            const char* stored = vector(number);
            if (stored == nullptr)
                continue;
            homeSlot = chunkHash(stored, grown);
        } else {
            homeSlot = scaled(entry.fingerprint, grown);
        }
        Probe probe(homeSlot, PrimeIndex, grown);
        while (table[probe.slot()].reference != 0)
            probe.next();
        table[probe.slot()] = entry;
    }
    std::free(Table);
    Table = table;
    TableSize = grown;
}
