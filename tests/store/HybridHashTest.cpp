#include "store/HybridHash.h"

#include "ssg/TestModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace {

using Vector6 = std::array<char, 6>;
using Home = HybridHash::HomeHash;

constexpr unsigned long Two24 = 1UL << 24;
constexpr unsigned long Two32 = 1UL << 32;

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

// Every entry of the index, slot by slot.
std::vector<std::uint32_t> entries(const HybridHash& table) {
    std::vector<std::uint32_t> all(table.getTableSize());
    for (std::uint32_t slot = 0; slot < table.getTableSize(); ++slot)
        all[slot] = table.getEntry(slot);
    return all;
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
    EXPECT_EQ(table.FindOrInsert(c.data(), 3), -1);
    EXPECT_EQ(table.getEntry(1), 1u); // steps of 1024 x 1, then 1024 x 2
    EXPECT_EQ(table.getEntry(1025), 2u);
    EXPECT_EQ(table.getEntry(3073), 3u);
    EXPECT_EQ(table.Lookup(a.data()), 1);
    EXPECT_EQ(table.FindOrInsert(b.data(), 4), 2);
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

// Growth of the index at 132, 394, 787, 1180, 1967 (0.001 of each size), a block
// every 100 numbers and a block array that starts with room for 2 blocks: every
// number is kept, with either home slot. The single probe of FindOrInsert puts
// each entry exactly where a lookup followed by an insert puts it, across every
// growth of the index, with repeated vectors found rather than stored again.
TEST(HybridHash, GrowthAndNewBlocksKeepEveryNumber) {
    for (Home home : {Home::Chunks, Home::Mixed}) {
        HybridHash separate = store(0.001, 100, 2, home);
        HybridHash single = store(0.001, 100, 2, home);
        const std::uint32_t count = 3000; // 2000 numbers stored
        std::uint32_t next = 1;
        for (std::uint32_t n = 1; n <= count; ++n) {
            // Every third vector is one stored before.
            Vector6 key = numbered(n % 3 == 0 ? n / 3 : next);
            long found = separate.Lookup(key.data());
            if (found < 0)
                separate.Insert(key.data(), next);
            long same = single.FindOrInsert(key.data(), next);
            ASSERT_EQ(same, found) << n;
            next += found < 0;
        }
        const std::uint32_t stored = next - 1;
        for (HybridHash* table : {&separate, &single}) {
            EXPECT_EQ(table->getPrimeIndex(), 5u);
            EXPECT_EQ(table->getLastBlock(), stored / 100);
            EXPECT_GE(table->getMaxBlocks(), stored / 100 + 1);
            for (std::uint32_t n = 1; n <= stored; ++n) {
                ASSERT_EQ(table->Lookup(numbered(n).data()), static_cast<long>(n));
                ASSERT_EQ(std::memcmp(table->StoredState(n), numbered(n).data(), 6), 0);
            }
            EXPECT_EQ(table->Lookup(numbered(stored + 1).data()), -1);
        }
        EXPECT_EQ(entries(single), entries(separate));
    }
}

// An index that grows in its own place is emptied first: whether its old pages
// are cleared (a normal load factor) or given back (a tiny one), no entry of
// the old index survives in the grown one, and every number is found; also
// when the index outgrows the room reserved for it and moves to new room. Blocks
// of at least 1 MiB are mapped ahead and filled in on a helper thread; their
// vectors read back as stored.
TEST(HybridHash, GrowthInPlaceAndBlocksMappedAheadKeepEveryNumber) {
    struct Case {
        unsigned long stateSize;
        unsigned long blockSize;
        double loadFactor;
        std::uint32_t count;
        unsigned primeIndex;
    };
    const Case cases[] = {
        {6, 100000, 0.5, 200000, 2},  // grows at 65536 and 196605, clearing its pages
        {6, 100000, 0.001, 3000, 6},  // grows at 132, 394, ..., giving its pages back
        {6, 100000, 0.001, 12000, 9}, // and past the room reserved at first, at 4326
        {64, 16384, 0.5, 60000, 0},   // 1 MiB blocks: four of them, each mapped ahead
        {40, 40000, 0.25, 140000, 2}, // blocks over 1 MiB and two growths
    };
    for (const Case& c : cases) {
        HybridHash table(nullptr, c.stateSize, 131071, c.blockSize, 5, 2, c.loadFactor,
                         Home::Mixed);
        std::vector<char> key(c.stateSize);
        auto fill = [&key](std::uint32_t n) {
            for (std::size_t i = 0; i < key.size(); i += sizeof n)
                std::memcpy(key.data() + i, &n, std::min(sizeof n, key.size() - i));
            key.back() = static_cast<char>(n % 7 + 1);
        };
        for (std::uint32_t n = 1; n <= c.count; ++n) {
            fill(n);
            ASSERT_EQ(table.FindOrInsert(key.data(), n), -1) << n;
        }
        EXPECT_EQ(table.getPrimeIndex(), c.primeIndex) << c.count;
        EXPECT_EQ(table.getLastBlock(), c.count / c.blockSize);
        std::vector<std::uint32_t> all = entries(table);
        EXPECT_EQ(static_cast<std::uint32_t>(all.size() - std::count(all.begin(), all.end(), 0u)),
                  c.count);
        for (std::uint32_t n = 1; n <= c.count; ++n) {
            fill(n);
            ASSERT_EQ(table.Lookup(key.data()), static_cast<long>(n)) << n;
            ASSERT_EQ(std::memcmp(table.StoredState(n), key.data(), key.size()), 0) << n;
        }
        fill(c.count + 1);
        EXPECT_EQ(table.Lookup(key.data()), -1);
    }
}

// The generator stores 1, 2, 3, ... and a growing index is rebuilt from the
// stored vectors; numbers stored out of that order leave gaps for a while, and
// the index then grows by moving its old entries. Either way every number is
// found after each growth (at 132, 394, 787, 1180, 1967 and 2753).
TEST(HybridHash, GrowthWithGapsInTheNumbersKeepsEveryNumber) {
    for (Home home : {Home::Chunks, Home::Mixed}) {
        HybridHash table = store(0.001, 100, 2, home);
        const std::uint32_t count = 3000;
        // Blocks in order (as the store requires), each block's numbers backwards.
        for (std::uint32_t first = 0; first <= count; first += 100) {
            for (std::uint32_t n = std::min(first + 99, count); n >= std::max(first, 1u); --n)
                table.Insert(numbered(n).data(), n);
        }
        EXPECT_EQ(table.getPrimeIndex(), 6u);
        for (std::uint32_t n = 1; n <= count; ++n)
            ASSERT_EQ(table.Lookup(numbered(n).data()), static_cast<long>(n)) << n;
        EXPECT_EQ(table.Lookup(numbered(count + 1).data()), -1);
    }
}

// Numbers around the old 24-bit limit of the references and at the top of the
// 32-bit range, with a growth of the index among them (the load factor puts the
// growth point at 131071 x factor). Blocks that no number reached stay unallocated.
TEST(HybridHash, LargeNumbersAreStoredAndFound) {
    struct Case {
        double loadFactor;
        std::vector<unsigned long> numbers;
    };
    const Case cases[] = {
        // Growth point 131071 x 128 = 2^24 - 128.
        {128, {Two24 - 130, Two24 - 129, Two24 - 128, Two24 - 1, Two24, Two24 + 1, 2 * Two24}},
        // Growth point 131071 x 32768 = 2^32 - 32768.
        {32768, {Two32 - 32769, Two32 - 32768, Two32 - 32767, Two32 - 65537, Two32 - 2, Two32 - 1}},
    };
    for (const Case& c : cases) {
        for (bool single : {false, true}) {
            std::vector<unsigned long> numbers = c.numbers;
            std::sort(numbers.begin(), numbers.end());
            HybridHash table = store(c.loadFactor, 1 << 16, 4, Home::Mixed);
            for (unsigned long n : numbers) {
                Vector6 key = numbered(static_cast<std::uint32_t>(n));
                if (single)
                    ASSERT_EQ(table.FindOrInsert(key.data(), n), -1);
                else
                    table.Insert(key.data(), n);
            }
            EXPECT_EQ(table.getPrimeIndex(), 1u);
            EXPECT_EQ(table.getLastBlock(), numbers.back() >> 16);
            std::vector<std::uint32_t> stored;
            for (std::uint32_t entry : entries(table)) {
                if (entry != 0)
                    stored.push_back(entry);
            }
            std::sort(stored.begin(), stored.end());
            EXPECT_EQ(stored, std::vector<std::uint32_t>(numbers.begin(), numbers.end()));
            for (unsigned long n : numbers) {
                Vector6 key = numbered(static_cast<std::uint32_t>(n));
                EXPECT_EQ(table.Lookup(key.data()), static_cast<long>(n));
                EXPECT_EQ(table.FindOrInsert(key.data(), numbers.back() + 1), static_cast<long>(n));
                EXPECT_EQ(std::memcmp(table.StoredState(n), key.data(), 6), 0);
            }
        }
    }
}

// Vectors of small values, as models produce them, spread over the home slots
// at every length: the bytes that vary lie at the front or at the back (where a
// length that is not a multiple of 8 has its last, overlapping word).
TEST(HybridHash, MixedHomeSlotsSpreadSmallValues) {
    struct Case {
        unsigned long size;
        bool atBack;
    };
    const Case cases[] = {{2, false}, {3, true},   {5, false}, {7, true},  {8, false},
                          {11, true}, {13, false}, {44, true}, {44, false}};
    for (const Case& c : cases) {
        HybridHash table(nullptr, c.size, 131071, 100000, 5, 128, 0.5, Home::Mixed);
        std::vector<std::uint32_t> homes;
        std::vector<char> key(c.size);
        for (std::uint64_t n = 0; n < 20000; ++n) {
            // n in base 4, one digit per byte (base 256 for the shortest vectors).
            std::fill(key.begin(), key.end(), 0);
            unsigned long digits = std::min<unsigned long>(c.size, 8);
            for (unsigned long i = 0; i < digits; ++i) {
                std::uint64_t digit = c.size < 8 ? (n >> (8 * i)) & 0xFF : (n >> (2 * i)) & 3;
                key[c.atBack ? c.size - 1 - i : i] = static_cast<char>(digit);
            }
            homes.push_back(table.HomeSlot(key.data()));
        }
        std::sort(homes.begin(), homes.end());
        EXPECT_GT(std::unique(homes.begin(), homes.end()) - homes.begin(), 18000)
            << c.size << (c.atBack ? " at the back" : " at the front");
    }
}

// A model whose CompareState counts its calls.
class CountingModel : public testmodel::TestPVModel {
public:
    CountingModel()
        : TestPVModel(testmodel::ModelShape{{{"a", 0}, {"b", 0}, {"c", 0}}, {}, {}, {}}) {}
    bool CompareState(void* a, void* b) override {
        ++Calls;
        return TestPVModel::CompareState(a, b);
    }
    int Calls = 0;
};

TEST(HybridHash, EqualityByTheModelOrByTheBytes) {
    for (auto equality : {HybridHash::Equality::Model, HybridHash::Equality::Bytes}) {
        CountingModel model;
        ASSERT_EQ(model.StateSize(), 6);
        HybridHash table(&model, 6, 131071, 100000, 5, 128, 0.5, Home::Mixed, equality);
        for (std::uint32_t n = 1; n <= 100; ++n)
            table.Insert(numbered(n).data(), n);
        for (std::uint32_t n = 1; n <= 100; ++n)
            ASSERT_EQ(table.Lookup(numbered(n).data()), static_cast<long>(n));
        EXPECT_EQ(table.Lookup(numbered(101).data()), -1);
        // The fingerprints differ for every pair of these vectors.
        EXPECT_EQ(model.Calls, equality == HybridHash::Equality::Model ? 100 : 0);
    }
}

TEST(HybridHash, PrimeTableContinuesPastTheListedSizes) {
    // The listed sizes, then the smallest prime at or above 7/5 of the one before
    // (found independently by trial division), up to the last below 2^32.
    const std::vector<std::uint32_t> expected = {
        131071,     393209,     786419,     1179637,    1966049,    2752481,   4325341,
        6684607,    9437101,    15335303,   21000169,   31000303,   51000353,  71000383,
        99400541,   139160797,  194825119,  272755177,  381857291,  534600221, 748440313,
        1047816463, 1466943077, 2053720313, 2875208447, 4025291839, 0};
    for (unsigned i = 0; i < expected.size(); ++i)
        EXPECT_EQ(HybridHash::PrimeSize(i), expected[i]) << i;
    EXPECT_EQ(HybridHash::PrimeSize(1000), 0u);
}

TEST(HybridHash, LimitsStopTheRun) {
    // Numbers never wrap: the first one past 32 bits is refused.
    EXPECT_EXIT(
        {
            HybridHash table = store(1e9, 1 << 16, 2);
            table.Insert(numbered(1).data(), Two32 - 1);
            table.FindOrInsert(numbered(2).data(), Two32);
        },
        testing::ExitedWithCode(1),
        "^Error:  The state store is full: state 4294967296 cannot be stored \\(at most "
        "4294967295 states\\)\n$");
}

} // namespace
