#pragma once
// VectorBlocks: the state vectors of the store, addressed by state number: the
// vector of number n lies in block n div BlockSize, slot n mod BlockSize. Blocks
// come straight from the kernel, zero until touched, each asked for right below
// the one before so that they form one region that the kernel may back with huge
// pages. A block of at least 1 MiB is mapped ahead while the one before fills,
// and a helper thread faults its pages in (see VectorBlocks.cpp).

#include <cstddef>
#include <cstdint>
#include <thread>

class VectorBlocks {
public:
    // `stateSize` bytes per vector, `blockSize` vectors per block, `maxBlocks`
    // the first room of the block array (it doubles when a block does not fit).
    // No block is mapped yet; ready() says whether the array could be allocated.
    VectorBlocks(std::uint32_t stateSize, std::uint32_t blockSize, std::uint32_t maxBlocks);
    ~VectorBlocks();
    VectorBlocks(const VectorBlocks&) = delete;
    VectorBlocks& operator=(const VectorBlocks&) = delete;
    VectorBlocks(VectorBlocks&&) = delete;
    VectorBlocks& operator=(VectorBlocks&&) = delete;

    bool ready() const { return Blocks != nullptr; }
    // Adds block `block`, zeroed: block 0 first, then blocks past lastBlock()
    // (the ones between, which no number reached, stay unallocated). False when
    // there is no memory for it.
    bool add(std::uint32_t block);
    // The block of `number`.
    std::uint32_t blockOf(std::uint32_t number) const {
        if (BlockSize == 1)
            return number;
        return static_cast<std::uint32_t>(
            (static_cast<unsigned __int128>(BlockReciprocal) * number) >> 64);
    }
    // The vector of `number` (below endNumber()), or null when its block was
    // never added.
    char* at(std::uint32_t number) const {
        std::uint32_t block = blockOf(number);
        if (Blocks[block] == nullptr)
            return nullptr;
        return Blocks[block] + static_cast<std::size_t>(number - block * BlockSize) * StateSize;
    }
    // To be told after the vector of `number` is stored: once three quarters of
    // a large block are in use, the next block is mapped ahead.
    void stored(std::uint64_t number) {
        if (number >= SpareAt && SpareAt != 0)
            prepareSpare();
    }

    // No stored number reaches it: (lastBlock() + 1) x BlockSize.
    std::uint64_t endNumber() const { return EndNumber; }
    std::uint32_t lastBlock() const { return LastBlock; }
    std::uint32_t maxBlocks() const { return MaxBlocks; }

private:
    // A new block: the spare when there is one (its helper joined first), else
    // a fresh mapping; null when none can be had.
    char* mapBlock(std::uint32_t block);
    char* mapFreshBlock();
    // Maps the next block ahead and has its pages faulted in.
    void prepareSpare();
    std::size_t blockBytes() const;
    void unmapBlock(char* block) const;
    // Makes room in the block array for block `block`; false when it cannot.
    bool growArray(std::uint32_t block);

    char** Blocks = nullptr;       // owned (malloc); MaxBlocks entries, each an owned block of
                                   // BlockSize x StateSize bytes (mapped), or null
    char* LowestBlock = nullptr;   // the block mapped last: the next is asked for below it
    char* Spare = nullptr;         // owned (mapped); the next block, mapped ahead, or null
    std::thread Filler;            // faulting in Spare's pages, until joined
    std::uint64_t SpareAt = 0;     // the number whose storing prepares Spare (0: none)
    std::uint32_t StateSize;       // bytes per state vector
    std::uint32_t BlockSize;       // vectors per block
    std::uint64_t BlockReciprocal; // 2^64 / BlockSize rounded up: numbers divide by a multiply
    std::uint64_t EndNumber;       // (LastBlock + 1) x BlockSize
    std::uint32_t LastBlock = 0;   // index of the last allocated block
    std::uint32_t MaxBlocks;       // entries of the block array
};
