#include "base/List.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

namespace {

struct Item {};
using ItemList = List<Item>;
using Items = std::vector<Item*>;

Item pool[64];
Item *a = &pool[0], *b = &pool[1], *c = &pool[2], *d = &pool[3], *e = &pool[4], *x = &pool[5];

Items range(int from, int to) { // &pool[from] .. &pool[to - 1]
    Items items;
    for (int i = from; i < to; ++i)
        items.push_back(&pool[i]);
    return items;
}
ItemList listOf(const Items& items, int capacity = 10) {
    ItemList list(capacity);
    for (Item* item : items)
        list.append(item);
    return list;
}
Items itemsOf(const ItemList& list) {
    return {list.getList(), list.getList() + list.getNumItems()};
}

TEST(ListTest, GrowsByDoublingBeforeTheDuplicateTest) {
    ItemList list = listOf(range(0, 11));
    EXPECT_EQ(list.getArraySize(), 20);
    EXPECT_EQ(itemsOf(list), range(0, 11));
    EXPECT_EQ(list.getList()[11], nullptr); // spare slots are null
    ItemList full = listOf({a, a, b}, 2);
    EXPECT_EQ(full.getArraySize(), 2);
    full.append(a); // full: grows, then finds a held
    EXPECT_EQ(full.getArraySize(), 4);
    Item* batch[] = {c, b, c};
    full.append(batch, 3);
    EXPECT_EQ(itemsOf(full), (Items{a, b, c}));
    full.clearList();
    EXPECT_FALSE(full.contains(a)); // still in a slot, but no longer held

    // Appending a list grows once, to twice the combined count.
    ItemList ten = listOf(range(0, 10)), five = listOf(range(10, 15));
    ten.append(&five);
    EXPECT_EQ(ten.getArraySize(), 30);
    EXPECT_EQ(itemsOf(ten), range(0, 15));
    ItemList some = listOf({a, b}), overlap = listOf({b, c, a, d});
    some.append(&overlap);
    EXPECT_EQ(some.getArraySize(), 10);
    EXPECT_EQ(itemsOf(some), (Items{a, b, c, d}));
}

TEST(ListTest, RemovalsKeepEachItemOnceInTheirOrder) {
    ItemList list = listOf({a, b, c, d});
    list.remove(b); // the last item moves into the gap
    list.remove(x);
    EXPECT_EQ(itemsOf(list), (Items{a, d, c}));
    ItemList replaced = listOf({a, b, c});
    replaced.replaceItem(b, x);
    replaced.replaceItem(e, d); // e not held
    replaced.replaceItem(a, a); // by itself
    EXPECT_EQ(itemsOf(replaced), (Items{a, x, c}));
    ItemList both = listOf({a, b, c, d});
    both.replaceItem(b, d); // d held already: b goes as by remove, d stays once
    EXPECT_EQ(itemsOf(both), (Items{a, d, c}));

    ItemList survivors = listOf({a, b, c, d, e}), gone = listOf({d, x, b});
    survivors.removeSetOfItems(gone);
    EXPECT_EQ(itemsOf(survivors), (Items{a, c, e}));
    EXPECT_EQ(itemsOf(gone), (Items{d, x, b}));
    ItemList copy(survivors);
    survivors.increaseArraySize(2); // shrinking drops what no longer fits
    EXPECT_EQ(itemsOf(survivors), (Items{a, c}));
    for (Item* item : range(10, 30)) // the copy owns growable storage of its own
        copy.append(item);
    EXPECT_EQ(copy.getNumItems(), 23);
    EXPECT_EQ(copy[3], &pool[10]);
}

TEST(ListTest, PrintListWritesOneAddressALine) {
    char expected[128];
    std::snprintf(expected, sizeof expected, "No items in the list\n[0] %p\n[1] %p\n",
                  static_cast<void*>(a), static_cast<void*>(c));
    testing::internal::CaptureStdout();
    ItemList().printList();
    listOf({a, c}).printList();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
}

TEST(ListDeathTest, CapacityMustBePositive) {
    EXPECT_DEATH(ItemList(0), "List: List: Assertion `n >= 1'");
}

} // namespace
