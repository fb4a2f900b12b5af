#pragma once
// newArray: a value-initialised array of `count` elements (at least one, so
// that an empty table still has an address), or the framework's allocation
// failure report (status 1) when memory is exhausted.

#include "base/Errors.h"

#include <cstddef>
#include <memory>
#include <new>

template <class T> std::unique_ptr<T[]> newArray(std::size_t count) {
    T* array = new (std::nothrow) T[count > 0 ? count : 1]();
    if (array == nullptr)
        MemoryAllocationError();
    return std::unique_ptr<T[]>(array);
}
