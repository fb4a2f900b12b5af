#include "base/FastSet.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<int> elementsOf(FastSet& set) {
    std::vector<int> elements;
    for (int i = 0; i < set.size(); ++i)
        elements.push_back(set[i]);
    return elements;
}

TEST(FastSetTest, BuildsThenFreezesIntoAnAscendingArray) {
    int constructed = FastSet::number1, frozen = FastSet::number2;
    FastSet set;
    EXPECT_TRUE(set.empty());
    EXPECT_TRUE(set.insert(5));
    EXPECT_TRUE(set.insert(1));
    EXPECT_TRUE(set.insert(3));
    EXPECT_FALSE(set.insert(1));
    EXPECT_TRUE(set.find(3));
    EXPECT_FALSE(set.find(4));
    set.NoMoreModifications();
    EXPECT_EQ(FastSet::number1, constructed + 1);
    EXPECT_EQ(FastSet::number2, frozen + 1);
    EXPECT_EQ(set.size(), 3);
    EXPECT_EQ(elementsOf(set), (std::vector<int>{1, 3, 5}));
    EXPECT_TRUE(set.contains(5));
    EXPECT_FALSE(set.contains(2));

    set.clear(); // empties, stays frozen
    EXPECT_TRUE(set.isFrozen());
    EXPECT_EQ(set.size(), 0);

    FastSet empty;
    empty.insert(2);
    empty.clear();
    EXPECT_TRUE(empty.empty());
    empty.NoMoreModifications();
    EXPECT_EQ(empty.size(), 0);
    EXPECT_FALSE(empty.contains(2));
}

TEST(FastSetDeathTest, OperationsOfTheWrongPhaseAssert) {
    FastSet building;
    EXPECT_DEATH(building.size(), "FastSet.*is_vec_rep");
    EXPECT_DEATH(building[0], "FastSet.*is_vec_rep");
    FastSet frozen;
    frozen.NoMoreModifications();
    frozen.clear();
    EXPECT_DEATH(frozen.insert(1), "FastSet.*!is_vec_rep");
    EXPECT_DEATH(frozen.find(1), "FastSet.*!is_vec_rep");
    EXPECT_DEATH(frozen.empty(), "FastSet.*!is_vec_rep");
    EXPECT_DEATH(frozen.NoMoreModifications(), "FastSet.*!is_vec_rep");
}

} // namespace
