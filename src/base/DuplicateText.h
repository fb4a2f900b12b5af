#pragma once
// duplicateText: a copy of a text made with strdup, so that its owner releases
// it with free(), or the framework's allocation failure report (status 1) when
// memory is exhausted. (copyText, in Errors.h, makes copies released with
// delete[].)

#include "base/Errors.h"

#include <cstring>

inline char* duplicateText(const char* text) {
    char* copy = strdup(text);
    if (copy == nullptr)
        MemoryAllocationError();
    return copy;
}
