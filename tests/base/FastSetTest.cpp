#include "base/FastSet.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(FastSetTest, BuildsThenFreezesIntoAnAscendingArray) {
    FastSet set;
    EXPECT_TRUE(set.empty());
    for (int x : {5, 1, 3})
        EXPECT_TRUE(set.insert(x));
    EXPECT_FALSE(set.insert(1));
    EXPECT_TRUE(set.find(3) && !set.find(4));
    set.NoMoreModifications();
    ASSERT_EQ(set.size(), 3);
    EXPECT_EQ(std::vector<int>({set[0], set[1], set[2]}), (std::vector<int>{1, 3, 5}));
    EXPECT_TRUE(set.contains(5) && !set.contains(2));
    set.clear(); // empties, stays frozen
    EXPECT_TRUE(set.isFrozen() && set.size() == 0);

    FastSet empty; // frozen with nothing in it: no array to search
    empty.insert(2);
    empty.clear();
    EXPECT_TRUE(empty.empty());
    empty.NoMoreModifications();
    EXPECT_EQ(empty.size(), 0);
    EXPECT_FALSE(empty.contains(2));
}

TEST(FastSetDeathTest, OperationsOfTheWrongPhaseAssert) {
    FastSet building, frozen;
    frozen.NoMoreModifications();
    frozen.clear();
    EXPECT_DEATH(building.size(), "FastSet: size.*is_vec_rep");
    EXPECT_DEATH(building[0], "FastSet: operator\\[\\].*is_vec_rep");
    EXPECT_DEATH(frozen.insert(1), "FastSet: insert.*!is_vec_rep");
    EXPECT_DEATH(frozen.find(1), "FastSet: find.*!is_vec_rep");
    EXPECT_DEATH(frozen.empty(), "FastSet: empty.*!is_vec_rep");
    EXPECT_DEATH(frozen.NoMoreModifications(), "FastSet: NoMoreModifications.*!is_vec_rep");
}

} // namespace
