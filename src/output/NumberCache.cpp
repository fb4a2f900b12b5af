#include "output/NumberCache.h"

#include "base/Errors.h"

#include <new>

bool NumberCache::allocate() {
    if (Entries == nullptr)
        Entries = new (std::nothrow) Entry[1u << CacheBits]();
    return Entries != nullptr;
}

char* NumberCache::write(char* first, double value, Format format) {
    if (Entries == nullptr && !allocate())
        MemoryAllocationError();
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    Entry& entry = Entries[(bits * 0x9E3779B97F4A7C15ULL) >> (64 - CacheBits)];
    if (entry.length == 0 || entry.bits != bits) {
        char* end = format(entry.text, value);
        entry.length = static_cast<std::uint8_t>(end - entry.text);
        entry.bits = bits;
    }
    std::memcpy(first, entry.text, sizeof entry.text);
    return first + entry.length;
}
