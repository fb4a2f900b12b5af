#include "ssg/HybridHash.h"

#include "base/Assert.h"
#include "base/CopyBytes.h"
#include "pv/PVModel.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sys/mman.h>
#include <sys/resource.h>
#include <system_error>
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
// huge pages: the index is read at random, once per lookup, and with small
// pages most of those reads also miss the address-translation cache. calloc
// takes a large index straight from the kernel, whose pages are zero until
// touched, so a new index costs memory only as it fills.
constexpr std::size_t HugePage = std::size_t{2} << 20;

std::size_t roundUp(std::size_t bytes, std::size_t unit) {
    return (bytes + unit - 1) / unit * unit;
}

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

std::size_t pageSize() {
    static const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return page;
}

// True when the process runs under a limit of its address space: the store
// then takes no address space ahead of need (no reserved space for the index,
// no block mapped ahead), so that the run ends where it would without them.
bool addressSpaceLimited() {
    rlimit limit{};
    return getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}

// Blocks of at least this size are mapped ahead (see HybridHash::mapBlock).
constexpr std::size_t SpareBytes = std::size_t{1} << 20;

// Has the kernel back every page of a fresh block: asked for in one call where
// the kernel can be, else by writing a zero to each page.
void faultIn(char* block, std::size_t bytes) {
#ifdef MADV_POPULATE_WRITE
    if (madvise(block, bytes, MADV_POPULATE_WRITE) == 0)
        return;
#endif
    for (std::size_t offset = 0; offset < bytes; offset += pageSize())
        *static_cast<volatile char*>(block + offset) = 0;
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
    Table = indexInNewSpace(TableSize);
    if (Table == nullptr)
        Table = newIndex(TableSize);
    Blocks = static_cast<char**>(std::calloc(MaxBlocks, sizeof(char*)));
    Sums = static_cast<std::uint32_t*>(std::malloc(sizeof(std::uint32_t) * (StateSize + 1)));
    if (Table == nullptr || Blocks == nullptr || Sums == nullptr)
        fatal("Error:  Unable to allocate memory");
    Blocks[0] = mapBlock(0);
    if (Blocks[0] == nullptr)
        fatal("Error:  Unable to allocate memory");
}

HybridHash::~HybridHash() {
    if (Filler.joinable())
        Filler.join();
    unmapBlock(Spare);
    if (Blocks != nullptr) {
        for (unsigned b = 0; b <= LastBlock; ++b)
            unmapBlock(Blocks[b]);
    }
    std::free(Blocks);
    std::free(Sums);
    releaseIndex(Table); // the space too, when the index lies in it
}

void HybridHash::ReleaseIndex() {
    releaseIndex(Table);
    Table = nullptr;
}

void HybridHash::releaseIndex(unsigned char* table) {
    if (table == nullptr)
        return;
    if (table != Space) {
        std::free(table);
        return;
    }
    munmap(Map, SpaceBytes + HugePage);
    Space = Map = nullptr;
    SpaceBytes = SpaceUsable = 0;
}

std::size_t HybridHash::blockBytes() const {
    return roundUp(static_cast<std::size_t>(BlockSize) * StateSize, pageSize());
}

// Blocks come straight from the kernel, zero until touched. Each is asked for
// right below the one mapped before it, so that while that room is free the
// blocks form one region, which the kernel may back with huge pages across
// block boundaries: a lookup compares a vector at a random place among all of
// them, and with small pages most of those reads also miss the
// address-translation cache.
//
// A fresh page costs its first write a fault and the kernel's zeroing of it
// (under a hypervisor also the host's backing of it): for the blocks of a
// large run, about 4 % of the exploration's time. So for blocks of at
// least SpareBytes, once three quarters of the present block are in use, the
// next block is mapped and a helper thread faults its pages in while the
// exploration fills the rest: the second core, which otherwise only writes
// the output, does the zeroing. The helper is joined before the spare is
// handed out, and it only asks the kernel for the pages (or, where the kernel
// cannot be asked, writes a zero to each), so the block's contents are not
// shared while it runs. Smaller blocks (the unit tests' tiny stores) skip this.
char* HybridHash::mapBlock(std::uint32_t block) {
    if (Filler.joinable())
        Filler.join();
    char* mapped = Spare;
    Spare = nullptr;
    if (mapped == nullptr)
        mapped = mapFreshBlock();
    SpareAt = blockBytes() >= SpareBytes
                  ? static_cast<std::uint64_t>(block) * BlockSize + BlockSize - BlockSize / 4
                  : 0;
    return mapped;
}

void HybridHash::prepareSpare() {
    SpareAt = 0;
    if (Spare != nullptr || addressSpaceLimited())
        return;
    std::size_t bytes = blockBytes();
    Spare = mapFreshBlock();
    if (Spare == nullptr)
        return; // the next block is mapped when it is needed, or the run stops then
    try {
        Filler = std::thread(faultIn, Spare, bytes);
    } catch (const std::system_error&) {
        // No thread to spare: the pages are faulted in as the block fills.
    }
}

char* HybridHash::mapFreshBlock() {
    std::size_t bytes = blockBytes();
    char* below = LowestBlock != nullptr && reinterpret_cast<std::uintptr_t>(LowestBlock) > bytes
                      ? LowestBlock - bytes
                      : nullptr;
    void* block = mmap(below, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED)
        return nullptr;
    madvise(block, bytes, MADV_HUGEPAGE);
    LowestBlock = static_cast<char*>(block);
    return LowestBlock;
}

void HybridHash::unmapBlock(char* block) const {
    if (block != nullptr)
        munmap(block, blockBytes());
}

unsigned char* HybridHash::newIndex(std::uint32_t size) {
    return static_cast<unsigned char*>(allocateZeroed(indexBytes(size), 1));
}

unsigned char* HybridHash::indexInNewSpace(std::uint32_t size) {
    if (reserveSpace(size) && commitSpace(size))
        return Space;
    releaseIndex(Space);
    return nullptr;
}

// The space holds the index SpaceAhead growths ahead of `size` (or the
// largest the prime table allows), but no more than the machine's memory: a
// run that outgrows it takes a new one, which is rare, and a store that never
// grows far (most of the tests' stores) reserves little. Only the part in use
// is writable, so the reservation costs address space, not memory. It starts
// on a huge-page boundary, so that the kernel may back the index with huge
// pages.
bool HybridHash::reserveSpace(std::uint32_t size) {
    constexpr unsigned SpaceAhead = 6;
    if (addressSpaceLimited())
        return false;
    std::uint64_t largest = size;
    for (unsigned i = PrimeIndex; i <= PrimeIndex + SpaceAhead && PrimeSize(i) != 0; ++i)
        largest = std::max<std::uint64_t>(largest, PrimeSize(i));
    std::size_t bytes = roundUp(indexBytes(largest), HugePage);
    long pages = sysconf(_SC_PHYS_PAGES);
    if (pages > 0)
        bytes = std::min(bytes, roundUp(static_cast<std::size_t>(pages) * pageSize(), HugePage));
    void* mapping = mmap(nullptr, bytes + HugePage, PROT_NONE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapping == MAP_FAILED)
        return false;
    Map = static_cast<unsigned char*>(mapping);
    std::uintptr_t start = reinterpret_cast<std::uintptr_t>(Map);
    Space = Map + (roundUp(start, HugePage) - start);
    SpaceBytes = bytes;
    return true;
}

// The index's whole huge pages are marked for huge pages once there are two of
// them, as for an allocated index; its tail stays on small pages.
bool HybridHash::commitSpace(std::uint32_t size) {
    if (Space == nullptr)
        return false;
    std::size_t bytes = indexBytes(size);
    std::size_t usable = roundUp(bytes, pageSize());
    if (usable > SpaceBytes)
        return false;
    if (usable > SpaceUsable) {
        if (mprotect(Space + SpaceUsable, usable - SpaceUsable, PROT_READ | PROT_WRITE) != 0)
            return false;
        SpaceUsable = usable;
    }
    if (bytes >= 2 * HugePage)
        madvise(Space, bytes / HugePage * HugePage, MADV_HUGEPAGE);
    return true;
}

unsigned long HybridHash::MaxNumber() const {
    return UINT32_MAX;
}

void HybridHash::fullStore(unsigned long number) const {
    std::cerr << "Error:  The state store is full: state " << number
              << " cannot be stored (at most " << MaxNumber() << " states)" << std::endl;
    std::exit(1);
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
    return home(state, static_cast<std::uint32_t>(mixedHash(state) >> 32), TableSize);
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
        if (number >= EndNumber) {
            setEntry(probe.slot(), 0, 0);
            break;
        }
        // Equal vectors have equal tags: the vectors are compared only then.
        if (wordTag(word) == tag) {
            const char* stored = vector(number);
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
    std::uint32_t block = blockOf(number);
    if (block > LastBlock)
        addBlock(block);
    GEN_ASSERT(block == LastBlock, "HybridHash");
    setEntry(slot, number, tag);
    copyBytes(vector(number), state, StateSize);
    if (number >= SpareAt && SpareAt != 0)
        prepareSpare();
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
    if (number == 0 || number >= EndNumber)
        return;
    if (wordTag(word) == key.tag) {
        if (const char* stored = vector(number))
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
        key.tableSize == TableSize ? key.home : home(state, key.fingerprint, TableSize);
    std::uint32_t slot;
    std::uint32_t number = search(state, key.tag, homeSlot, slot);
    return number != 0 ? static_cast<long>(number) : -1;
}

long HybridHash::FindOrInsert(const char* state, unsigned long number) {
    return FindOrInsert(state, keyOf(state), number);
}

long HybridHash::findOrInsert(const char* state, const Key& key, unsigned long number) {
    std::uint32_t homeSlot =
        key.tableSize == TableSize ? key.home : home(state, key.fingerprint, TableSize);
    std::uint32_t slot;
    std::uint32_t found = search(state, key.tag, homeSlot, slot);
    if (found != 0)
        return found;
    // The empty entry that ended the search is the one Insert would take, unless
    // the index grows first.
    if (outgrown(number)) {
        Rehash();
        slot = freeSlot(home(state, key.fingerprint, TableSize));
    }
    place(state, key.tag, static_cast<std::uint32_t>(number), slot);
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
    Blocks[block] = mapBlock(block);
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
    // With every number from 1 to Highest stored, the vectors alone give the new
    // index: it is built in the old one's place when that lies in the reserved
    // space (its pages emptied, which costs far less than fresh ones), or the
    // old one is released first; either way the two are never in memory
    // together. Otherwise the old index's entries are moved.
    unsigned char* old = Table;
    std::uint32_t oldSize = TableSize;
    if (Contiguous && Table == Space && commitSpace(grown)) {
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

void HybridHash::emptyInPlace(std::uint32_t oldSize, std::uint32_t grown) {
    // With at least one entry in a hundred filled, nearly every page of the
    // grown index gets an entry, so the old pages are emptied by hand and kept.
    // A sparser index (a tiny load factor) gives its old pages back instead:
    // the kernel's zero pages cost memory only where entries land.
    std::size_t bytes = indexBytes(oldSize);
    if (Highest * 100 >= grown) {
        std::memset(Table, 0, bytes);
    } else if (madvise(Table, roundUp(bytes, pageSize()), MADV_DONTNEED) != 0) {
        std::memset(Table, 0, bytes);
    }
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
            key = keyOf(vector(static_cast<std::uint32_t>(n)));
            __builtin_prefetch(Table + EntryBytes * key.home, 1);
        }
    }
}

void HybridHash::moveEntries(const unsigned char* old, std::uint32_t oldSize) {
    for (std::uint32_t slot = 0; slot < oldSize; ++slot) {
        std::uint32_t number;
        std::memcpy(&number, old + EntryBytes * slot, sizeof number);
        if (number == 0 || number >= EndNumber)
            continue; // empty, or damaged: dropped
        const char* stored = vector(number);
        if (stored == nullptr)
            continue;
        Key key = keyOf(stored);
        setEntry(freeSlot(key.home), number, key.tag);
    }
}
