#pragma once
// copyText: a copy of a text, made with strdup so that its owner releases it with
// free(), or the framework's allocation failure report (status 1) when memory is
// exhausted.

#include "base/Errors.h"

#include <cstring>

inline char* copyText(const char* text) {
    char* copy = strdup(text);
    if (copy == nullptr)
        MemoryAllocationError();
    return copy;
}
