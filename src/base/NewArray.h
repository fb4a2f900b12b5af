#pragma once
// newArray and newRawArray: a value-initialised array of `count` elements (at
// least one, so that an empty table still has an address), or the framework's
// allocation failure report (status 1) when memory is exhausted.

#include "base/Errors.h"

#include <cstddef>
#include <memory>
#include <new>

// The same array as a raw pointer, for the tables whose owner releases them
// with delete[].
template <class T> T* newRawArray(std::size_t count) {
    T* array = new (std::nothrow) T[count > 0 ? count : 1]();
    if (array == nullptr)
        MemoryAllocationError();
    return array;
}

// The tables counted in int: a count below one gives one element, as zero does.
template <class T> T* newRawArray(int count) {
    return newRawArray<T>(static_cast<std::size_t>(count > 0 ? count : 1));
}

template <class T> std::unique_ptr<T[]> newArray(std::size_t count) {
    return std::unique_ptr<T[]>(newRawArray<T>(count));
}
