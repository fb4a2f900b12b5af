// The ownership of states among processes: every process must get its share
// of the states (the memory per process is the point of the distributed
// exploration), and every byte of a vector must count, also those past the
// last whole 8-byte word.

#include "DistributedExplorer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <set>
#include <vector>

namespace {

// A state vector of `bytes` bytes holding small markings, as models have:
// `value` spread over 2-byte cells, the other cells 0.
std::vector<char> smallMarkings(std::uint32_t bytes, std::uint32_t value) {
    std::vector<char> state(bytes, 0);
    for (std::uint32_t cell = 0; 2 * cell + 1 < bytes && value != 0; ++cell, value /= 7) {
        const auto marking = static_cast<std::int16_t>(value % 7);
        std::memcpy(state.data() + 2 * cell, &marking, sizeof marking);
    }
    return state;
}

} // namespace

TEST(OwnerTest, SharesStatesEvenlyAmongProcesses) {
    // 7^5 = 16807 distinct vectors of 44 bytes (the polling model's size) and
    // of 10 bytes (one word and a tail). Uniform ownership gives each of P
    // processes n/P states with a standard deviation below sqrt(n/P); 6 of them
    // is a loose bound, which an owner out of range, a process left idle or a
    // hash whose low bits hardly change with small markings misses by far.
    constexpr std::uint32_t States = 16807;
    for (std::uint32_t bytes : {44U, 10U}) {
        for (int processes : {2, 3, 4, 16}) {
            std::vector<std::uint32_t> owned(processes, 0);
            for (std::uint32_t v = 0; v < States; ++v) {
                std::vector<char> state = smallMarkings(bytes, v);
                const int owner = DistributedExplorer::ownerOf(state.data(), bytes, processes);
                ASSERT_GE(owner, 0);
                ASSERT_LT(owner, processes);
                ++owned[owner];
            }
            const double share = static_cast<double>(States) / processes;
            for (int p = 0; p < processes; ++p)
                EXPECT_NEAR(owned[p], share, 6 * std::sqrt(share))
                    << bytes << " bytes, process " << p << " of " << processes;
        }
    }
}

TEST(OwnerTest, EveryByteOfTheVectorCounts) {
    // Changing one byte, at any position of an 11-byte vector (a word and a
    // 3-byte tail), through all its values must move the state among 4
    // processes: a byte left out of the hash keeps them all on one.
    constexpr std::uint32_t Bytes = 11;
    for (std::uint32_t position = 0; position < Bytes; ++position) {
        std::set<int> owners;
        std::vector<char> state(Bytes, 0);
        for (int value = 0; value < 256; ++value) {
            state[position] = static_cast<char>(value);
            owners.insert(DistributedExplorer::ownerOf(state.data(), Bytes, 4));
        }
        EXPECT_EQ(owners.size(), 4U) << "byte " << position;
    }
}
