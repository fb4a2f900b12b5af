#include "base/FastSet.h"

#include "base/Assert.h"
#include "base/Errors.h"

#include <algorithm>
#include <new>

int FastSet::number1 = 0;
int FastSet::number2 = 0;

FastSet::FastSet() {
    tree = new (std::nothrow) std::set<int>();
    if (tree == nullptr)
        MemoryAllocationError();
    ++number1;
}

FastSet::~FastSet() {
    delete tree;
    delete[] array;
}

bool FastSet::insert(const int& x) {
    GEN_ASSERT(!is_vec_rep, "FastSet");
    return tree->insert(x).second;
}

bool FastSet::find(const int& x) const {
    GEN_ASSERT(!is_vec_rep, "FastSet");
    return tree->count(x) != 0;
}

bool FastSet::empty() const {
    GEN_ASSERT(!is_vec_rep, "FastSet");
    return tree->empty();
}

void FastSet::NoMoreModifications() {
    GEN_ASSERT(!is_vec_rep, "FastSet");
    int n = static_cast<int>(tree->size());
    if (n > 0) {
        array = new (std::nothrow) int[n];
        if (array == nullptr)
            MemoryAllocationError();
        int i = 0;
        for (int x : *tree)
            array[i++] = x;
    }
    delete tree;
    tree = nullptr;
    length = n;
    ++number2;
    is_vec_rep = true;
}

int FastSet::size() const {
    GEN_ASSERT(is_vec_rep, "FastSet");
    return length;
}

int& FastSet::operator[](int i) {
    GEN_ASSERT(is_vec_rep, "FastSet");
    return array[i];
}

void FastSet::clear() {
    if (is_vec_rep) {
        delete[] array;
        array = nullptr;
        length = 0;
    } else {
        tree->clear();
    }
}
