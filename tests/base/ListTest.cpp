#include "base/List.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

// Every operation must compile for the framework's four element types.
class BaseStateVariableClass;
class BaseActionClass;
class BaseGroupClass;
class BaseModelClass;
template class List<BaseStateVariableClass>;
template class List<BaseActionClass>;
template class List<BaseGroupClass>;
template class List<BaseModelClass>;

namespace {

struct Item {};
using ItemList = List<Item>;

class ListTest : public ::testing::Test {
protected:
    Item pool[64];
    Item *a = &pool[0], *b = &pool[1], *c = &pool[2], *d = &pool[3], *e = &pool[4], *x = &pool[5];

    static ItemList listOf(std::initializer_list<Item*> items) {
        ItemList list;
        for (Item* item : items)
            list.append(item);
        return list;
    }
    static std::vector<Item*> itemsOf(const ItemList& list) {
        return {list.getList(), list.getList() + list.getNumItems()};
    }
};

TEST_F(ListTest, GrowsByDoublingBeforeTheDuplicateTest) {
    ItemList list;
    EXPECT_EQ(list.getArraySize(), 10);
    for (int i = 0; i < 11; ++i)
        list.append(&pool[i]);
    EXPECT_EQ(list.getArraySize(), 20);
    ASSERT_EQ(list.getNumItems(), 11);
    for (int i = 0; i < 11; ++i)
        EXPECT_EQ(list[i], &pool[i]);
    EXPECT_EQ(list.getList()[11], nullptr); // spare slots are null

    ItemList full(2);
    full.append(a);
    full.append(a);
    full.append(b);
    EXPECT_EQ(full.getArraySize(), 2);
    full.append(a); // full: grows, then finds a held
    EXPECT_EQ(full.getArraySize(), 4);
    Item* batch[] = {c, b, c};
    full.append(batch, 3);
    EXPECT_EQ(itemsOf(full), (std::vector<Item*>{a, b, c}));

    full.clearList();
    EXPECT_FALSE(full.contains(a)); // still in a slot, but no longer held
    EXPECT_EQ(full.getArraySize(), 4);
}

TEST_F(ListTest, AppendListGrowsOnceToTwiceTheCombinedCount) {
    ItemList full;
    for (int i = 0; i < 10; ++i)
        full.append(&pool[i]);
    ItemList five;
    for (int i = 10; i < 15; ++i)
        five.append(&pool[i]);
    full.append(&five);
    EXPECT_EQ(full.getArraySize(), 30);
    EXPECT_EQ(full.getNumItems(), 15);
    EXPECT_EQ(full[14], &pool[14]);

    ItemList some = listOf({a, b});
    ItemList overlap = listOf({b, c, a, d});
    some.append(&overlap);
    EXPECT_EQ(some.getArraySize(), 10);
    EXPECT_EQ(itemsOf(some), (std::vector<Item*>{a, b, c, d}));
}

TEST_F(ListTest, RemoveAndReplaceMoveTheLastItemIntoTheGap) {
    ItemList list = listOf({a, b, c, d});
    list.remove(b);
    list.remove(x);
    EXPECT_EQ(itemsOf(list), (std::vector<Item*>{a, d, c}));

    ItemList replaced = listOf({a, b, c});
    replaced.replaceItem(b, x);
    EXPECT_EQ(itemsOf(replaced), (std::vector<Item*>{a, x, c}));
    replaced.replaceItem(e, d); // e not held
    replaced.replaceItem(a, a); // by itself
    EXPECT_EQ(itemsOf(replaced), (std::vector<Item*>{a, x, c}));

    ItemList both = listOf({a, b, c, d});
    both.replaceItem(b, d); // d held already: b goes, d stays once
    EXPECT_EQ(itemsOf(both), (std::vector<Item*>{a, d, c}));
}

TEST_F(ListTest, RemoveSetOfItemsKeepsSurvivorOrder) {
    ItemList list = listOf({a, b, c, d, e});
    ItemList gone = listOf({d, x, b});
    list.removeSetOfItems(gone);
    EXPECT_EQ(itemsOf(list), (std::vector<Item*>{a, c, e}));
    EXPECT_EQ(itemsOf(gone), (std::vector<Item*>{d, x, b}));
    for (int i = 10; i < 30; ++i) // the list still owns growable storage
        list.append(&pool[i]);
    EXPECT_EQ(list[3], &pool[10]);
    EXPECT_EQ(list.getNumItems(), 23);
}

TEST_F(ListTest, ShrinkingAndCopyingKeepTheCountConsistent) {
    ItemList list = listOf({a, b, c, d});
    ItemList copy(list);
    list.increaseArraySize(2);
    EXPECT_EQ(itemsOf(list), (std::vector<Item*>{a, b}));
    EXPECT_EQ(itemsOf(copy), (std::vector<Item*>{a, b, c, d}));
}

TEST_F(ListTest, PrintList) {
    testing::internal::CaptureStdout();
    ItemList().printList();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "No items in the list\n");

    char expected[128];
    std::snprintf(expected, sizeof expected, "[0] %p\n[1] %p\n", static_cast<void*>(a),
                  static_cast<void*>(c));
    testing::internal::CaptureStdout();
    listOf({a, c}).printList();
    std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(printed, expected);
    EXPECT_EQ(printed.substr(0, 6), "[0] 0x");
}

TEST(ListDeathTest, CapacityMustBePositive) {
    EXPECT_DEATH(ItemList(0), "List.*n >= 1");
}

} // namespace
