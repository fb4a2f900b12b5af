#pragma once
// NumberCache: recently formatted doubles and their text. Models have few
// distinct rates and rewards, and a copy of the text is much cheaper than
// formatting it again.

#include "output/NumberFormat.h"

#include <cstdint>

class NumberCache {
public:
    // Writes the text of a double at `first` and returns its end.
    using Format = char* (*)(char* first, double value);

    NumberCache() = default;
    ~NumberCache() { delete[] Entries; }
    NumberCache(const NumberCache&) = delete;
    NumberCache& operator=(const NumberCache&) = delete;
    NumberCache(NumberCache&&) = delete;
    NumberCache& operator=(NumberCache&&) = delete;

    // Allocates the entries now rather than at the first use; false when they
    // cannot be allocated.
    bool allocate();
    // Writes the text of `value` as `format` gives it at `first`, which needs
    // room for MaxNumberLength bytes, and returns its end. Every use of one
    // cache passes the same `format`. Ends the process when the entries
    // cannot be allocated.
    char* write(char* first, double value, Format format);

private:
    // One value's bit pattern and text.
    struct Entry {
        std::uint64_t bits;  // the value's bit pattern
        std::uint8_t length; // 0 while the entry is empty
        char text[numberformat::MaxNumberLength];
    };
    static constexpr unsigned CacheBits = 9;

    Entry* Entries = nullptr; // owned; 2^CacheBits entries, null until allocated
};
