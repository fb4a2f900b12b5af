#pragma once
// List<T>: a growable array of non-owned pointers that holds each pointer at
// most once. Used for the framework's collections of state variables, actions,
// groups and models. The list owns its slot array, never the items.

#include "base/Assert.h"
#include "base/Errors.h"

#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <new>

template <class T> class List {
public:
    List() : List(10) {}
    explicit List(int n) {
        GEN_ASSERT(n >= 1, "List");
        allocate(n);
    }
    // Copies hold their own slot array, so no two lists ever free one array. There is
    // no separate move: a moved-from list would have no slot to append into, so a
    // move copies as well.
    List(const List& other) {
        allocate(other.arraySize > 0 ? other.arraySize : 1);
        for (int i = 0; i < other.numItems; ++i)
            list[i] = other.list[i];
        numItems = other.numItems;
    }
    List& operator=(const List& other) {
        if (this != &other) {
            List copy(other);
            swap(copy);
        }
        return *this;
    }
    ~List() {
        std::free(list);
        list = nullptr;
    }

    int getNumItems() const { return numItems; }
    int getArraySize() const { return arraySize; }
    T** getList() const { return list; }
    T* getItem(int i) const { return list[i]; }
    T* operator[](int i) const { return list[i]; }
    void clearList() { numItems = 0; }

    bool contains(T* x) const {
        for (int i = 0; i < numItems; ++i)
            if (list[i] == x)
                return true;
        return false;
    }

    // Adds x at the end unless it is held already; the caller guarantees a free slot.
    void insertItem(T* x) {
        if (!contains(x))
            list[numItems++] = x;
    }

    void append(T* x) {
        if (arraySize <= numItems)
            increaseArraySize(2 * arraySize);
        insertItem(x);
    }

    void append(T** items, int n) {
        for (int i = 0; i < n; ++i)
            append(items[i]);
    }

    void append(List<T>* other) {
        int combined = numItems + other->numItems;
        if (combined > arraySize)
            increaseArraySize(2 * combined);
        for (int i = 0; i < other->numItems; ++i)
            insertItem(other->list[i]);
    }

    void increaseArraySize(int n) {
        GEN_ASSERT(n >= 1, "List");
        // From malloc, which never calls the process's new-handler, so that this
        // line comes before the fatal report.
        T** grown = static_cast<T**>(std::malloc(sizeof(T*) * static_cast<std::size_t>(n)));
        if (grown == nullptr) {
            std::cerr << "!! Crtical error in "
                      << "List<C>::append(List*)"
                      << " do to insufficient memory...exiting" << std::endl;
            MemoryAllocationError();
        }
        // Shrinking below the item count drops the items that no longer fit.
        int kept = numItems < n ? numItems : n;
        for (int i = 0; i < kept; ++i)
            grown[i] = list[i];
        for (int i = kept; i < n; ++i)
            grown[i] = nullptr;
        std::free(list);
        list = grown;
        numItems = kept;
        arraySize = n;
    }

    // Removes the first occurrence of x; the last item moves into its position.
    void remove(T* x) {
        for (int i = 0; i < numItems; ++i) {
            if (list[i] == x) {
                list[i] = list[numItems - 1];
                --numItems;
                return;
            }
        }
    }

    // Puts newItem where oldItem is; when newItem is held already, oldItem is removed
    // instead (as by remove), so newItem stays held once. Replacing an item by itself
    // changes nothing.
    void replaceItem(T* oldItem, T* newItem) {
        if (oldItem == newItem)
            return;
        int oldAt = -1;
        int newAt = -1;
        for (int i = 0; i < numItems && (oldAt < 0 || newAt < 0); ++i) {
            if (oldAt < 0 && list[i] == oldItem)
                oldAt = i;
            if (newAt < 0 && list[i] == newItem)
                newAt = i;
        }
        if (oldAt < 0)
            return;
        if (newAt < 0) {
            list[oldAt] = newItem;
        } else {
            list[oldAt] = list[numItems - 1];
            --numItems;
        }
    }

    // Removes each item that `items` holds; each entry of `items` removes at
    // most one list item. Survivors keep their order.
    void removeSetOfItems(List<T> items) {
        int remaining = items.numItems;
        bool* used = new (std::nothrow) bool[remaining > 0 ? remaining : 1]();
        if (used == nullptr)
            MemoryAllocationError();
        int kept = 0;
        for (int i = 0; i < numItems; ++i) {
            bool removed = false;
            if (remaining > 0) {
                for (int j = 0; j < items.numItems; ++j) {
                    if (!used[j] && items.list[j] == list[i]) {
                        used[j] = true;
                        --remaining;
                        removed = true;
                        break;
                    }
                }
            }
            if (!removed)
                list[kept++] = list[i];
        }
        numItems = kept;
        delete[] used;
    }

    void printList() const {
        if (numItems == 0)
            std::cout << "No items in the list" << std::endl;
        for (int i = 0; i < numItems; ++i)
            std::cout << "[" << i << "] " << static_cast<const void*>(list[i]) << std::endl;
    }

private:
    void allocate(int n) {
        list = static_cast<T**>(std::malloc(sizeof(T*) * static_cast<std::size_t>(n)));
        if (list == nullptr) {
            arraySize = 0;
            MemoryAllocationError();
        }
        for (int i = 0; i < n; ++i)
            list[i] = nullptr;
        arraySize = n;
        numItems = 0;
    }
    void swap(List& other) noexcept {
        T** l = list;
        list = other.list;
        other.list = l;
        int n = numItems;
        numItems = other.numItems;
        other.numItems = n;
        int s = arraySize;
        arraySize = other.arraySize;
        other.arraySize = s;
    }

    T** list = nullptr; // owned slot array; items are not owned
    int numItems = 0;   // items held, in positions 0 .. numItems-1
    int arraySize = 0;  // slots allocated
};
