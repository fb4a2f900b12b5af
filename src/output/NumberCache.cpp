#include "output/NumberCache.h"

#include "base/Errors.h"

#include <new>

bool NumberCache::allocate() {
    if (Entries == nullptr)
        Entries = new (std::nothrow) Entry[1u << CacheBits]();
    return Entries != nullptr;
}

void NumberCache::allocateOrStop() {
    if (!allocate())
        MemoryAllocationError();
}
