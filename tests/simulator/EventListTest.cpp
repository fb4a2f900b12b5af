// The event list against a plain array searched in full, the order it must
// keep: the earliest time, and the lowest index among equal times.

#include "EventList.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

namespace {

// The activity a full scan picks: the first strictly smaller time wins.
std::int64_t scanFirst(const std::vector<double>& times) {
    std::int64_t best = -1;
    for (std::size_t i = 0; i < times.size(); ++i)
        if (times[i] != EventList::Never && (best < 0 || times[i] < times[best]))
            best = static_cast<std::int64_t>(i);
    return best;
}

TEST(EventList, AgreesWithAFullScanThroughSetsMovesAndCancels) {
    for (std::uint32_t size : {1u, 2u, 7u, 64u}) {
        EventList list(size);
        std::vector<double> times(size, EventList::Never);
        std::mt19937_64 random(size);
        // Few distinct times, so that ties are common.
        std::uniform_int_distribution<int> time(0, 5), slot(0, static_cast<int>(size) - 1);
        for (int step = 0; step < 3000; ++step) {
            auto i = static_cast<std::uint32_t>(slot(random));
            int t = time(random);
            double value = t == 5 ? EventList::Never : t;
            list.set(i, value);
            times[i] = value;
            std::int64_t expected = scanFirst(times);
            ASSERT_EQ(list.empty(), expected < 0) << "size " << size << " step " << step;
            if (expected >= 0) {
                ASSERT_EQ(list.first(), static_cast<std::uint32_t>(expected))
                    << "size " << size << " step " << step;
            }
            ASSERT_EQ(list.at(i), value);
        }
        list.clear();
        EXPECT_TRUE(list.empty());
        for (std::uint32_t i = 0; i < size; ++i)
            EXPECT_EQ(list.at(i), EventList::Never);
    }
}

TEST(EventList, PopsInTimeOrderWithTiesByIndex) {
    // Both forms: the array searched in full and the heap.
    for (std::uint32_t size : {5u, EventList::LinearSize + 12}) {
        EventList list(size);
        list.set(3, 2.0);
        list.set(1, 2.0);
        list.set(4, 1.0);
        list.set(0, 3.0);
        list.set(2, 2.0);
        list.set(2, 2.0);
        std::vector<std::uint32_t> order;
        while (!list.empty()) {
            order.push_back(list.first());
            list.set(list.first(), EventList::Never);
        }
        EXPECT_EQ(order, (std::vector<std::uint32_t>{4, 1, 2, 3, 0})) << "size " << size;
    }
}

} // namespace
