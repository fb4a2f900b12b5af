#include "store/VectorBlocks.h"

#include "base/Assert.h"
#include "store/Pages.h"

#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <system_error>

namespace {

// Blocks of at least this size are mapped ahead (see VectorBlocks::mapBlock).
constexpr std::size_t SpareBytes = std::size_t{1} << 20;

// Has the kernel back every page of a fresh block: asked for in one call where
// the kernel can be, else by writing a zero to each page.
void faultIn(char* block, std::size_t bytes) {
#ifdef MADV_POPULATE_WRITE
    if (madvise(block, bytes, MADV_POPULATE_WRITE) == 0)
        return;
#endif
    for (std::size_t offset = 0; offset < bytes; offset += pages::pageSize())
        *static_cast<volatile char*>(block + offset) = 0;
}

} // namespace

VectorBlocks::VectorBlocks(std::uint32_t stateSize, std::uint32_t blockSize,
                           std::uint32_t maxBlocks)
    : Blocks(static_cast<char**>(std::calloc(maxBlocks, sizeof(char*)))), StateSize(stateSize),
      BlockSize(blockSize), BlockReciprocal(blockSize > 1 ? UINT64_MAX / blockSize + 1 : 0),
      EndNumber(blockSize), MaxBlocks(maxBlocks) {}

VectorBlocks::~VectorBlocks() {
    if (Filler.joinable())
        Filler.join();
    unmapBlock(Spare);
    if (Blocks != nullptr) {
        for (std::uint32_t b = 0; b <= LastBlock; ++b)
            unmapBlock(Blocks[b]);
    }
    std::free(Blocks);
}

std::size_t VectorBlocks::blockBytes() const {
    return pages::roundUp(static_cast<std::size_t>(BlockSize) * StateSize, pages::pageSize());
}

// A lookup compares a vector at a random place among all the blocks, and with
// small pages most of those reads also miss the address-translation cache; so
// blocks are asked for one below the other, which the kernel may back with huge
// pages across block boundaries.
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
char* VectorBlocks::mapBlock(std::uint32_t block) {
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

void VectorBlocks::prepareSpare() {
    SpareAt = 0;
    if (Spare != nullptr || pages::addressSpaceLimited())
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

char* VectorBlocks::mapFreshBlock() {
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

void VectorBlocks::unmapBlock(char* block) const {
    if (block != nullptr)
        munmap(block, blockBytes());
}

bool VectorBlocks::growArray(std::uint32_t block) {
    std::uint64_t room = MaxBlocks;
    while (room <= block)
        room *= 2;
    if (room > UINT32_MAX)
        room = UINT32_MAX;
    if (block >= room)
        return false;
    char** blocks = static_cast<char**>(std::realloc(Blocks, sizeof(char*) * room));
    if (blocks == nullptr)
        return false;
    std::memset(blocks + MaxBlocks, 0, sizeof(char*) * (room - MaxBlocks));
    Blocks = blocks;
    MaxBlocks = static_cast<std::uint32_t>(room);
    return true;
}

bool VectorBlocks::add(std::uint32_t block) {
    GEN_ASSERT(block == 0 ? Blocks[0] == nullptr : block > LastBlock, "VectorBlocks");
    if (block >= MaxBlocks && !growArray(block))
        return false;
    Blocks[block] = mapBlock(block);
    if (Blocks[block] == nullptr)
        return false;
    LastBlock = block;
    EndNumber = (static_cast<std::uint64_t>(LastBlock) + 1) * BlockSize;
    return true;
}
