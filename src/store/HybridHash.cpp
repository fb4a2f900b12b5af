#include "store/HybridHash.h"

#include "base/Assert.h"
#include "base/CopyBytes.h"
#include "pv/PVModel.h"
#include "store/Pages.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sys/mman.h>

using pages::HugePage;
using pages::roundUp;

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
// (16.8 bytes) per state.
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
// huge pages: the index is read at random, once per lookup. calloc takes a
// large index straight from the kernel, whose pages are zero until touched, so
// a new index costs memory only as it fills.
void* allocateZeroed(std::size_t count, std::size_t size) {
    void* memory = std::calloc(count > 0 ? count : 1, size);
    if (memory != nullptr && count * size >= 2 * HugePage) {
        std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(memory);
        std::uintptr_t first = roundUp(begin, HugePage);
        std::uintptr_t last = (begin + count * size) / HugePage * HugePage;
        if (last > first)
            madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
    }
    return memory;
}

[[noreturn]] void fatal(const char* message) {
    std::cerr << message << std::endl;
    std::exit(1);
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
    : Vectors(static_cast<std::uint32_t>(stateSize), static_cast<std::uint32_t>(blockSize),
              static_cast<std::uint32_t>(maxBlocks)),
      Hash(static_cast<std::uint32_t>(stateSize), static_cast<std::uint32_t>(chunkLength),
           homeHash == HomeHash::Chunks),
      Model(model), TableSize(static_cast<std::uint32_t>(tableSize)), LoadFactor(loadFactor),
      Compare(model == nullptr ? Equality::Bytes : equality) {
    GEN_ASSERT(stateSize > 0 && tableSize > 0 && tableSize <= UINT32_MAX && blockSize > 0 &&
                   blockSize <= UINT32_MAX && chunkLength > 0 && maxBlocks > 0 &&
                   maxBlocks <= UINT32_MAX,
               "HybridHash");
    Table = indexInNewSpace(TableSize);
    if (Table == nullptr)
        Table = newIndex(TableSize);
    if (Table == nullptr || !Vectors.ready() || !Hash.ready())
        fatal("Error:  Unable to allocate memory");
    addBlock(0);
}

HybridHash::~HybridHash() {
    releaseIndex(Table); // the space too, when the index lies in it
}

void HybridHash::ReleaseIndex() {
    releaseIndex(Table);
    Table = nullptr;
}

void HybridHash::releaseIndex(unsigned char* table) {
    if (table == nullptr)
        return;
    if (table != Space.start())
        std::free(table);
    else
        Space.release();
}

unsigned char* HybridHash::newIndex(std::uint32_t size) {
    return static_cast<unsigned char*>(allocateZeroed(indexBytes(size), 1));
}

unsigned char* HybridHash::indexInNewSpace(std::uint32_t size) {
    if (reserveSpace(size) && commitSpace(size))
        return Space.start();
    Space.release();
    return nullptr;
}

// The space holds the index SpaceAhead growths ahead of `size` (or the
// largest the prime table allows), but no more than the machine's memory: a
// run that outgrows it takes a new one, which is rare, and a store that never
// grows far (most of the tests' stores) reserves little.
bool HybridHash::reserveSpace(std::uint32_t size) {
    constexpr unsigned SpaceAhead = 6;
    if (pages::addressSpaceLimited())
        return false;
    std::uint64_t largest = size;
    for (unsigned i = PrimeIndex; i <= PrimeIndex + SpaceAhead && PrimeSize(i) != 0; ++i)
        largest = std::max<std::uint64_t>(largest, PrimeSize(i));
    return Space.reserve(indexBytes(largest));
}

unsigned long HybridHash::MaxNumber() const {
    return UINT32_MAX;
}

void HybridHash::fullStore(unsigned long number) const {
    std::cerr << "Error:  The state store is full: state " << number
              << " cannot be stored (at most " << MaxNumber() << " states)" << std::endl;
    std::exit(1);
}

std::uint32_t HybridHash::HomeSlot(const char* state) {
    return Hash.home(state, static_cast<std::uint32_t>(Hash.mixed(state) >> 32), TableSize);
}

bool HybridHash::equal(const char* stored, const char* key) const {
    if (Compare == Equality::Bytes)
        return Hash.sameBytes(stored, key);
    return Model->CompareState(const_cast<char*>(stored), const_cast<char*>(key));
}

const char* HybridHash::StoredState(unsigned long number) const {
    GEN_ASSERT(number <= MaxNumber() && number < Vectors.endNumber(), "HybridHash");
    const char* stored = Vectors.at(static_cast<std::uint32_t>(number));
    GEN_ASSERT(stored != nullptr, "HybridHash");
    return stored;
}

// Inlined into Lookup and FindOrInsert: it is the whole of their work.
[[gnu::always_inline]] inline std::uint32_t HybridHash::search(const char* state, std::uint16_t tag,
                                                               std::uint32_t homeSlot,
                                                               std::uint32_t& slot) {
    Probe probe(homeSlot, PrimeIndex, TableSize);
    for (;;) {
        std::uint64_t word = entryWord(probe.slot());
        std::uint32_t number = static_cast<std::uint32_t>(word);
        if (number == 0)
            break;
        // A number beyond the last block is damage: the entry is cleared and the
        // search ends there.
        if (number >= Vectors.endNumber()) {
            setEntry(probe.slot(), 0, 0);
            break;
        }
        // Equal vectors have equal tags: the vectors are compared only then.
        if (wordTag(word) == tag) {
            const char* stored = Vectors.at(number);
            if (stored == nullptr) {
                setEntry(probe.slot(), 0, 0);
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

std::uint32_t HybridHash::freeSlot(std::uint32_t homeSlot) const {
    Probe probe(homeSlot, PrimeIndex, TableSize);
    while (entryNumber(probe.slot()) != 0)
        probe.next();
    return probe.slot();
}

void HybridHash::place(const char* state, std::uint16_t tag, std::uint32_t number,
                       std::uint32_t slot) {
    std::uint32_t block = Vectors.blockOf(number);
    if (block > Vectors.lastBlock())
        addBlock(block);
    GEN_ASSERT(block == Vectors.lastBlock(), "HybridHash");
    setEntry(slot, number, tag);
    copyBytes(Vectors.at(number), state, Hash.stateSize());
    Vectors.stored(number);
    if (number == Highest + 1) {
        Highest = number;
    } else {
        Contiguous = false;
        if (number > Highest)
            Highest = number;
    }
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
    Key key = keyOf(state);
    place(state, key.tag, static_cast<std::uint32_t>(number), freeSlot(key.home));
}

void HybridHash::PrefetchStored(const Key& key) const {
    if (key.tableSize != TableSize)
        return;
    std::uint64_t word = entryWord(key.home);
    std::uint32_t number = static_cast<std::uint32_t>(word);
    if (number == 0 || number >= Vectors.endNumber())
        return;
    if (wordTag(word) == key.tag) {
        if (const char* stored = Vectors.at(number))
            __builtin_prefetch(stored);
        return;
    }
    Probe probe(key.home, PrimeIndex, TableSize);
    probe.next();
    __builtin_prefetch(Table + EntryBytes * probe.slot());
}

long HybridHash::Lookup(const char* state) {
    return Lookup(state, keyOf(state));
}

long HybridHash::Lookup(const char* state, const Key& key) {
    std::uint32_t homeSlot =
        key.tableSize == TableSize ? key.home : Hash.home(state, key.fingerprint, TableSize);
    std::uint32_t slot;
    std::uint32_t number = search(state, key.tag, homeSlot, slot);
    return number != 0 ? static_cast<long>(number) : -1;
}

long HybridHash::FindOrInsert(const char* state, unsigned long number) {
    return FindOrInsert(state, keyOf(state), number);
}

long HybridHash::findOrInsert(const char* state, const Key& key, unsigned long number) {
    std::uint32_t homeSlot =
        key.tableSize == TableSize ? key.home : Hash.home(state, key.fingerprint, TableSize);
    std::uint32_t slot;
    std::uint32_t found = search(state, key.tag, homeSlot, slot);
    if (found != 0)
        return found;
    // The empty entry that ended the search is the one Insert would take, unless
    // the index grows first.
    if (outgrown(number)) {
        Rehash();
        slot = freeSlot(Hash.home(state, key.fingerprint, TableSize));
    }
    place(state, key.tag, static_cast<std::uint32_t>(number), slot);
    return -1;
}

void HybridHash::AddArray() {
    addBlock(Vectors.lastBlock() + 1);
}

void HybridHash::addBlock(std::uint32_t block) {
    if (!Vectors.add(block))
        fatal("Error:  Unable to allocate memory");
}

void HybridHash::Rehash() {
    ++PrimeIndex;
    std::uint32_t grown = PrimeSize(PrimeIndex);
    if (grown == 0)
        fatal("Hash:  Error:  allocate more memory for Hash Table");
    // With every number from 1 to Highest stored, the vectors alone give the new
    // index: it is built in the old one's place when that lies in the reserved
    // space (its pages emptied, which costs far less than fresh ones), or the
    // old one is released first; either way the two are never in memory
    // together. Otherwise the old index's entries are moved.
    unsigned char* old = Table;
    std::uint32_t oldSize = TableSize;
    if (Contiguous && Table == Space.start() && commitSpace(grown)) {
        if (grown < oldSize)
            fatal("Hash:  Error, there is a typo in the Hash Table, check .h file");
        emptyInPlace(oldSize, grown);
        TableSize = grown;
        rebuildFromVectors();
        return;
    }
    if (Contiguous) {
        releaseIndex(Table);
        Table = nullptr;
        old = nullptr;
    }
    unsigned char* table = old == nullptr ? indexInNewSpace(grown) : nullptr;
    if (table == nullptr)
        table = newIndex(grown);
    if (table == nullptr)
        fatal("Error:  TempHashTable not allocated");
    if (grown < oldSize)
        fatal("Hash:  Error, there is a typo in the Hash Table, check .h file");
    Table = table;
    TableSize = grown;
    if (old == nullptr) {
        rebuildFromVectors();
    } else {
        moveEntries(old, oldSize);
        releaseIndex(old);
    }
}

// With at least one entry in a hundred filled, nearly every page of the grown
// index gets an entry, so the old pages are emptied by hand and kept. A sparser
// index (a tiny load factor) gives its old pages back instead: the kernel's zero
// pages cost memory only where entries land.
void HybridHash::emptyInPlace(std::uint32_t oldSize, std::uint32_t grown) {
    Space.clear(indexBytes(oldSize), Highest * 100 < grown);
}

void HybridHash::rebuildFromVectors() {
    // The vectors are read in number order, block by block. Each new entry's
    // place is asked for Ahead numbers before it is written, and halfway there
    // its home entry is read: when another vector holds it, the next entry on
    // the probe path is asked for too. So the waits for the new index's memory
    // overlap, also for the entries that do not go to their home.
    constexpr std::uint64_t Ahead = 32;
    constexpr std::uint64_t Halfway = Ahead / 2;
    Key ahead[Ahead];
    for (std::uint64_t n = 1; n <= Highest + Ahead; ++n) {
        if (n > Ahead) {
            std::uint64_t number = n - Ahead;
            const Key& key = ahead[number % Ahead];
            setEntry(freeSlot(key.home), static_cast<std::uint32_t>(number), key.tag);
        }
        if (n > Halfway && n - Halfway <= Highest) {
            const Key& key = ahead[(n - Halfway) % Ahead];
            if (entryNumber(key.home) != 0) {
                Probe probe(key.home, PrimeIndex, TableSize);
                probe.next();
                __builtin_prefetch(Table + EntryBytes * probe.slot(), 1);
            }
        }
        if (n <= Highest) {
            Key& key = ahead[n % Ahead];
            key = keyOf(Vectors.at(static_cast<std::uint32_t>(n)));
            __builtin_prefetch(Table + EntryBytes * key.home, 1);
        }
    }
}

void HybridHash::moveEntries(const unsigned char* old, std::uint32_t oldSize) {
    for (std::uint32_t slot = 0; slot < oldSize; ++slot) {
        std::uint32_t number;
        std::memcpy(&number, old + EntryBytes * slot, sizeof number);
        if (number == 0 || number >= Vectors.endNumber())
            continue; // empty, or damaged: dropped
        const char* stored = Vectors.at(number);
        if (stored == nullptr)
            continue;
        Key key = keyOf(stored);
        setEntry(freeSlot(key.home), number, key.tag);
    }
}
