#include "ssg/HybridHash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace {

using Vector6 = std::array<char, 6>;
using Home = HybridHash::HomeHash;

// A distinct 6-byte vector per number.
Vector6 numbered(std::uint32_t n) {
    Vector6 v{};
    std::memcpy(v.data(), &n, sizeof n);
    v[5] = 1;
    return v;
}

// The generator's parameters but for the ones given; a null model compares bytes.
HybridHash store(double loadFactor = 0.5, unsigned long blockSize = 100000,
                 unsigned long maxBlocks = 128, Home home = Home::Chunks) {
    return HybridHash(nullptr, 6, 131071, blockSize, 5, maxBlocks, loadFactor, home);
}

TEST(HybridHash, ChunkSumHomeSlots) {
    HybridHash six = store();
    // Chunks [b0..b4] and [b5]; each byte shifts the sum left by 5.
    // {1,0,0,0,0,0}: 2^20 mod 131071 = 8. {0,0,1,...}: 2^10. Only the last chunk: 1.
    EXPECT_EQ(six.HomeSlot(Vector6{1, 0, 0, 0, 0, 0}.data()), 8u);
    EXPECT_EQ(six.HomeSlot(Vector6{0, 0, 1, 0, 0, 0}.data()), 1024u);
    EXPECT_EQ(six.HomeSlot(Vector6{0, 0, 0, 0, 0, 1}.data()), 1u);
    // 0xFF widens to 0xFFFFFFFF; four shifts give 0xFFF00000 = 131071 x 32760 + 32760.
    EXPECT_EQ(six.HomeSlot(Vector6{-1, 0, 0, 0, 0, 0}.data()), 32760u);
    // Eleven bytes: sums 1117317, 6529322, 11; two non-zero before the last, so the
    // multiplier is 16: h = 68749; (106843 xor 68749 x 16) = 1137355;
    // 11 xor 1137355 x 16 = 18197691, mod T = 39238.
    HybridHash eleven(nullptr, 11, 131071, 100000, 5, 128, 0.5);
    const char key[11] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    EXPECT_EQ(eleven.HomeSlot(key), 39238u);
}

TEST(HybridHash, CollisionsProbeWithGrowingSteps) {
    // Three vectors with home slot 1 ({0,4,0,0,0,0}: 4 << 15 = T + 1).
    Vector6 a{0, 0, 0, 0, 1, 0}, b{0, 0, 0, 0, 0, 1}, c{0, 4, 0, 0, 0, 0};
    HybridHash table = store();
    table.Insert(a.data(), 1);
    table.Insert(b.data(), 2);
    table.Insert(c.data(), 3);
    EXPECT_EQ(table.getEntry(1), 1u); // steps of 1024 x 1, then 1024 x 2
    EXPECT_EQ(table.getEntry(1025), 2u);
    EXPECT_EQ(table.getEntry(3073), 3u);
    EXPECT_EQ(table.Lookup(a.data()), 1);
    EXPECT_EQ(table.Lookup(b.data()), 2);
    EXPECT_EQ(table.Lookup(c.data()), 3);
    EXPECT_EQ(table.Lookup(Vector6{0, 1, 0, 0, 0, 0}.data()), -1);
    // The order of insertion decides who sits in the home slot.
    HybridHash reversed = store();
    reversed.Insert(b.data(), 1);
    reversed.Insert(a.data(), 2);
    EXPECT_EQ(reversed.getEntry(1), 1u);
    EXPECT_EQ(reversed.Lookup(a.data()), 2);
}

TEST(HybridHash, GrowthPointFollowsTheLoadFactor) {
    HybridHash table = store(0.25);
    for (std::uint32_t n = 1; n <= 32767; ++n)
        table.Insert(numbered(n).data(), n);
    EXPECT_EQ(table.getTableSize(), 131071u);
    table.Insert(numbered(32768).data(), 32768); // 32768 >= 131071 x 0.25
    EXPECT_EQ(table.getTableSize(), 393209u);
}

// Growth of the index at 132, 394, 787, 1180, 1967 (0.001 of each size) and a
// block every 100 numbers keep every number, with either home slot.
TEST(HybridHash, GrowthAndNewBlocksKeepEveryNumber) {
    for (Home home : {Home::Chunks, Home::Mixed}) {
        HybridHash table = store(0.001, 100, 128, home);
        const std::uint32_t count = 2500;
        for (std::uint32_t n = 1; n <= count; ++n)
            table.Insert(numbered(n).data(), n);
        EXPECT_EQ(table.getPrimeIndex(), 5u);
        EXPECT_EQ(table.getLastBlock(), 25u);
        for (std::uint32_t n = 1; n <= count; ++n) {
            ASSERT_EQ(table.Lookup(numbered(n).data()), static_cast<long>(n));
            ASSERT_EQ(std::memcmp(table.StoredState(n), numbered(n).data(), 6), 0);
        }
        EXPECT_EQ(table.Lookup(numbered(count + 1).data()), -1);
        // Number 100 opened block 1: its reference names block 1.
        int found = 0;
        for (std::uint32_t slot = 0; slot < table.getTableSize(); ++slot)
            found += table.getEntry(slot) == 100u + (1u << 24);
        EXPECT_EQ(found, 1);
    }
}

// Vectors of small values, as models produce them, and vectors too short for a
// chunk sum get spread home slots.
TEST(HybridHash, MixedHomeSlotsSpreadSmallValues) {
    HybridHash eight(nullptr, 8, 131071, 100000, 5, 128, 0.5, Home::Mixed);
    HybridHash two(nullptr, 2, 131071, 100000, 5, 128, 0.5, Home::Chunks);
    std::vector<std::uint32_t> homes8, homes2;
    for (std::uint32_t n = 0; n < 20000; ++n) {
        std::array<char, 8> key{};
        for (int i = 0; i < 8; ++i)
            key[i] = static_cast<char>((n >> (2 * i)) & 3);
        homes8.push_back(eight.HomeSlot(key.data()));
        homes2.push_back(two.HomeSlot(reinterpret_cast<const char*>(&n)));
    }
    for (std::vector<std::uint32_t>* homes : {&homes8, &homes2}) {
        std::sort(homes->begin(), homes->end());
        EXPECT_GT(std::unique(homes->begin(), homes->end()) - homes->begin(), 18000);
    }
}

TEST(HybridHash, LimitsStopTheRun) {
    EXPECT_EXIT(
        {
            HybridHash table = store(0.5, 10, 2); // two blocks of 10: numbers up to 19
            for (std::uint32_t n = 1; n <= 20; ++n)
                table.Insert(numbered(n).data(), n);
        },
        testing::ExitedWithCode(1),
        "^Error:  The state store is full: state 20 cannot be stored \\(at most 19 states\\)\n$");
    EXPECT_EXIT(
        {
            HybridHash table(nullptr, 1, 131071, 1 << 24, 5, 2, 0.5);
            char key = 1;
            table.Insert(&key, 1 << 24);
        },
        testing::ExitedWithCode(1),
        "state 16777216 cannot be stored \\(at most 16777215 states\\)");
}

} // namespace
