#include "ssg/HybridHash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace {

using Vector6 = std::array<char, 6>;

Vector6 bytes6(int b0, int b1, int b2, int b3, int b4, int b5) {
    return {static_cast<char>(b0), static_cast<char>(b1), static_cast<char>(b2),
            static_cast<char>(b3), static_cast<char>(b4), static_cast<char>(b5)};
}

// A distinct 6-byte vector per number.
Vector6 numbered(std::uint32_t n) {
    Vector6 v{};
    std::memcpy(v.data(), &n, sizeof n);
    v[5] = 1;
    return v;
}

// The generator's parameters, with a null model (vectors compared byte for byte).
HybridHash defaultStore(unsigned long stateSize = 6, double loadFactor = 0.5,
                        unsigned long blockSize = 100000, unsigned long maxBlocks = 128) {
    return HybridHash(nullptr, stateSize, 131071, blockSize, 5, maxBlocks, loadFactor);
}

TEST(HybridHash, HomeSlotsOfSixByteVectors) {
    HybridHash store(nullptr, 6, 131071, 100000, 5, 128, 0.5);
    // Chunks [b0..b4] and [b5]; each byte shifts the sum left by 5.
    // {1,0,0,0,0,0}: sum 2^20; 1048576 mod 131071 = 8; one non-zero sum.
    EXPECT_EQ(store.HomeSlot(bytes6(1, 0, 0, 0, 0, 0).data()), 8u);
    EXPECT_EQ(store.HomeSlot(bytes6(0, 0, 1, 0, 0, 0).data()), 1024u); // 1 << 10
    EXPECT_EQ(store.HomeSlot(bytes6(0, 0, 0, 0, 1, 0).data()), 1u);
    // Only the final chunk: h = 1 mod T.
    EXPECT_EQ(store.HomeSlot(bytes6(0, 0, 0, 0, 0, 1).data()), 1u);
    // 0xFF widens to 0xFFFFFFFF; four shifts give 0xFFF00000 = 4293918720,
    // which is 32760 above 131071 x 32760.
    EXPECT_EQ(store.HomeSlot(bytes6(-1, 0, 0, 0, 0, 0).data()), 32760u);
    EXPECT_EQ(store.HomeSlot(bytes6(0, 0, 0, 0, 0, 0).data()), 0u);
}

TEST(HybridHash, HomeSlotOfThreeChunks) {
    HybridHash store(nullptr, 11, 131071, 100000, 5, 128, 0.5);
    const char key[11] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    // Sums 1117317, 6529322 and 11; two non-zero sums before the last, so the
    // multiplier is 16: h = 1117317 mod T = 68749; h = (6529322 mod T = 106843)
    // xor 68749 x 16 = 1137355; h = 11 xor 1137355 x 16 = 18197691; mod T = 39238.
    EXPECT_EQ(store.HomeSlot(key), 39238u);
}

TEST(HybridHash, SeedAndMiss) {
    HybridHash store = defaultStore();
    Vector6 initial = bytes6(1, 0, 0, 0, 0, 0);
    store.Insert(initial.data(), 1);
    EXPECT_EQ(store.Lookup(initial.data()), 1);
    EXPECT_EQ(store.Lookup(bytes6(0, 1, 0, 0, 0, 0).data()), -1);
    EXPECT_EQ(store.getEntry(8), 1u);
}

TEST(HybridHash, CollisionsProbeWithGrowingSteps) {
    // Three vectors with home slot 1 ({0,4,0,0,0,0}: 4 << 15 = 131072 = T + 1).
    Vector6 a = bytes6(0, 0, 0, 0, 1, 0);
    Vector6 b = bytes6(0, 0, 0, 0, 0, 1);
    Vector6 c = bytes6(0, 4, 0, 0, 0, 0);
    HybridHash store = defaultStore();
    store.Insert(a.data(), 1);
    store.Insert(b.data(), 2);
    store.Insert(c.data(), 3);
    // Steps 1024 x 1, then 1024 x 2.
    EXPECT_EQ(store.getEntry(1), 1u);
    EXPECT_EQ(store.getEntry(1025), 2u);
    EXPECT_EQ(store.getEntry(3073), 3u);
    EXPECT_EQ(store.Lookup(a.data()), 1);
    EXPECT_EQ(store.Lookup(b.data()), 2);
    EXPECT_EQ(store.Lookup(c.data()), 3);

    // The order of insertion decides who sits in the home slot.
    HybridHash reversed = defaultStore();
    reversed.Insert(b.data(), 1);
    reversed.Insert(a.data(), 2);
    EXPECT_EQ(reversed.getEntry(1), 1u);
    EXPECT_EQ(reversed.getEntry(1025), 2u);
    EXPECT_EQ(reversed.Lookup(a.data()), 2);
}

TEST(HybridHash, GrowthPointFollowsTheLoadFactor) {
    HybridHash store = defaultStore(6, 0.25);
    for (std::uint32_t n = 1; n <= 32767; ++n)
        store.Insert(numbered(n).data(), n);
    EXPECT_EQ(store.getTableSize(), 131071u);
    store.Insert(numbered(32768).data(), 32768); // 32768 >= 131071 x 0.25
    EXPECT_EQ(store.getTableSize(), 393209u);
    EXPECT_EQ(store.getPrimeIndex(), 1u);
}

TEST(HybridHash, RehashAndNewBlocksKeepEveryNumber) {
    // Growth at 132 (131071 x 0.001), 394, 787, ... and a block every 100 numbers.
    HybridHash store = defaultStore(6, 0.001, 100);
    const std::uint32_t count = 2500;
    for (std::uint32_t n = 1; n <= count; ++n)
        store.Insert(numbered(n).data(), n);
    EXPECT_EQ(store.getPrimeIndex(), 5u); // sizes reached: 131071 .. 2752481
    EXPECT_EQ(store.getLastBlock(), 25u);
    for (std::uint32_t n = 1; n <= count; ++n) {
        ASSERT_EQ(store.Lookup(numbered(n).data()), static_cast<long>(n));
        ASSERT_EQ(std::memcmp(store.StoredState(n), numbered(n).data(), 6), 0);
    }
    EXPECT_EQ(store.Lookup(numbered(count + 1).data()), -1);
}

TEST(HybridHash, MixedHomeSlotsKeepEveryNumberThroughGrowth) {
    // Vectors of small values, as the generator's models produce them.
    HybridHash store(nullptr, 8, 131071, 1000, 5, 128, 0.01, HybridHash::HomeHash::Mixed);
    auto key = [](std::uint32_t n) {
        std::array<char, 8> v{};
        for (int i = 0; i < 8; ++i)
            v[i] = static_cast<char>((n >> (2 * i)) & 3);
        return v;
    };
    const std::uint32_t count = 20000;
    for (std::uint32_t n = 1; n <= count; ++n)
        store.Insert(key(n).data(), n);
    EXPECT_EQ(store.getPrimeIndex(), 5u); // grown at 1311, 3933, 7865, 11797, 19661
    std::vector<std::uint32_t> homes;
    for (std::uint32_t n = 1; n <= count; ++n) {
        ASSERT_EQ(store.Lookup(key(n).data()), static_cast<long>(n));
        homes.push_back(store.HomeSlot(key(n).data()));
    }
    EXPECT_EQ(store.Lookup(key(count + 1).data()), -1);
    // The home slots spread: hardly two vectors share one.
    std::sort(homes.begin(), homes.end());
    EXPECT_GT(std::unique(homes.begin(), homes.end()) - homes.begin(), 19000);
}

TEST(HybridHash, NewBlockTakesTheNextNumberInItsFirstSlot) {
    HybridHash store = defaultStore(6, 0.5, 10);
    for (std::uint32_t n = 1; n <= 9; ++n)
        store.Insert(numbered(n).data(), n);
    EXPECT_EQ(store.getLastBlock(), 0u);
    Vector6 tenth = numbered(10);
    store.Insert(tenth.data(), 10);
    EXPECT_EQ(store.getLastBlock(), 1u);
    int references = 0; // number 10 in block 1
    for (std::uint32_t slot = 0; slot < store.getTableSize(); ++slot)
        references += store.getEntry(slot) == 10u + (1u << 24);
    EXPECT_EQ(references, 1);
    EXPECT_EQ(std::memcmp(store.StoredState(10), tenth.data(), 6), 0);
    EXPECT_EQ(store.Lookup(tenth.data()), 10);
}

TEST(HybridHash, ShortVectorsAreSpreadAndFound) {
    HybridHash store = defaultStore(2, 0.5, 1000);
    std::vector<std::uint32_t> homes;
    for (std::uint32_t n = 1; n <= 3000; ++n) {
        std::uint16_t key = static_cast<std::uint16_t>(n);
        store.Insert(reinterpret_cast<const char*>(&key), n);
        homes.push_back(store.HomeSlot(reinterpret_cast<const char*>(&key)));
    }
    for (std::uint32_t n = 1; n <= 3000; ++n) {
        std::uint16_t key = static_cast<std::uint16_t>(n);
        ASSERT_EQ(store.Lookup(reinterpret_cast<const char*>(&key)), static_cast<long>(n));
    }
    std::sort(homes.begin(), homes.end());
    EXPECT_GT(std::unique(homes.begin(), homes.end()) - homes.begin(), 2900);
}

TEST(HybridHash, BlockArrayLimitStopsTheRun) {
    EXPECT_EXIT(
        {
            HybridHash store = defaultStore(6, 0.5, 10, 2);
            for (std::uint32_t n = 1; n <= 20; ++n)
                store.Insert(numbered(n).data(), n);
        },
        testing::ExitedWithCode(1),
        "^Error:  The state store is full: state 20 cannot be stored \\(at most 19 states\\)\n$");
}

TEST(HybridHash, NumbersStayBelowTwoToThe24) {
    EXPECT_EXIT(
        {
            HybridHash store(nullptr, 1, 131071, 1 << 24, 5, 2, 0.5);
            char key = 1;
            store.Insert(&key, 1 << 24);
        },
        testing::ExitedWithCode(1),
        "^Error:  The state store is full: state 16777216 cannot be stored \\(at most "
        "16777215 states\\)\n$");
}

} // namespace
