#include "store/VectorBlocks.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

// Numbers divide by a multiply with the rounded-up reciprocal: the block of
// every number equals integer division, also next to multiples of the block
// size and at the top of the 32-bit range, where a reciprocal one too small
// would give the block before.
TEST(VectorBlocks, BlockOfEqualsIntegerDivision) {
    for (std::uint32_t blockSize : {1u, 3u, 7u, 100000u, 65536u, 99991u, 1u << 31, UINT32_MAX}) {
        VectorBlocks blocks(4, blockSize, 1);
        std::vector<std::uint64_t> numbers = {0, 1, UINT32_MAX, UINT32_MAX - 1};
        for (std::uint64_t m : {1ULL, 2ULL, 3ULL, 42ULL, 4294ULL, 42949ULL}) {
            for (std::uint64_t n : {m * blockSize - 1, m * blockSize, m * blockSize + 1}) {
                if (n <= UINT32_MAX)
                    numbers.push_back(n);
            }
        }
        for (std::uint64_t n : numbers) {
            auto number = static_cast<std::uint32_t>(n);
            ASSERT_EQ(blocks.blockOf(number), number / blockSize)
                << number << " in blocks of " << blockSize;
        }
    }
}

// Blocks that no number reached stay unallocated while the array grows past
// its first room, and the vectors of earlier blocks keep their place and bytes.
TEST(VectorBlocks, SkippedBlocksStayEmptyAcrossGrowth) {
    VectorBlocks blocks(3, 4, 1);
    ASSERT_TRUE(blocks.ready());
    ASSERT_TRUE(blocks.add(0));
    EXPECT_EQ(blocks.endNumber(), 4u);
    char* first = blocks.at(0);
    ASSERT_NE(first, nullptr);
    for (std::uint32_t n = 0; n < 4; ++n) {
        ASSERT_EQ(blocks.at(n), first + 3 * n); // a block's vectors lie back to back
        std::memset(blocks.at(n), static_cast<int>(n + 1), 3);
    }
    ASSERT_TRUE(blocks.add(5)); // room for 1 block doubles to 8
    EXPECT_EQ(blocks.lastBlock(), 5u);
    EXPECT_EQ(blocks.maxBlocks(), 8u);
    EXPECT_EQ(blocks.endNumber(), 24u);
    for (std::uint32_t n = 4; n < 20; ++n)
        ASSERT_EQ(blocks.at(n), nullptr) << n;
    for (std::uint32_t n = 20; n < 24; ++n) {
        ASSERT_NE(blocks.at(n), nullptr);
        EXPECT_EQ(std::memcmp(blocks.at(n), "\0\0\0", 3), 0) << "a new block is zeroed";
    }
    EXPECT_EQ(blocks.at(2), first + 6);
    EXPECT_EQ(std::memcmp(blocks.at(2), "\3\3\3", 3), 0);
    ASSERT_TRUE(blocks.add(6)); // within the room: it stays
    EXPECT_EQ(blocks.maxBlocks(), 8u);
    EXPECT_EQ(blocks.endNumber(), 28u);
}

} // namespace
