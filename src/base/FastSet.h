#pragma once
// FastSet: a set of int built as an ordered set and then frozen into a sorted
// array read by position, so the exploration's inner loop reads it without
// walking a tree.

#include <algorithm>
#include <set>

class FastSet {
public:
    FastSet();
    ~FastSet();
    FastSet(const FastSet&) = delete;
    FastSet& operator=(const FastSet&) = delete;

    // Building phase.
    bool insert(const int& x);
    bool find(const int& x) const;
    bool empty() const;
    void NoMoreModifications();

    // Frozen phase.
    int size() const;
    int& operator[](int i);
    const int* begin() const { return array; }
    const int* end() const { return array + length; }

    // Either phase.
    void clear();
    // Membership in either phase (a binary search once frozen). Inline, as the
    // rewards ask it of every action for every new state, mostly of an empty set.
    bool contains(int x) const {
        if (is_vec_rep)
            return length != 0 && std::binary_search(array, array + length, x);
        return tree->count(x) != 0;
    }
    bool isFrozen() const { return is_vec_rep; }

    static int number1; // FastSets constructed
    static int number2; // NoMoreModifications calls

private:
    bool is_vec_rep = false;       // false while building, true once frozen
    std::set<int>* tree = nullptr; // owned; the representation while building
    int* array = nullptr;          // owned; the representation once frozen (null when empty)
    int length = 0;                // elements of array
};
