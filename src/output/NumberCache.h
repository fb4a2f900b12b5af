#pragma once
// NumberCache: recently formatted doubles and their text. Models have few
// distinct rates and rewards, and a copy of the text is much cheaper than
// formatting it again.

#include "output/NumberFormat.h"

#include <cstdint>
#include <cstring>

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
    // Inline: the rows of the result files are made of such texts.
    char* write(char* first, double value, Format format) {
        if (Entries == nullptr)
            allocateOrStop();
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

private:
    // One value's bit pattern and text.
    struct Entry {
        std::uint64_t bits;  // the value's bit pattern
        std::uint8_t length; // 0 while the entry is empty
        char text[numberformat::MaxNumberLength];
    };
    static constexpr unsigned CacheBits = 9;
    // Allocates the entries or ends the process.
    void allocateOrStop();

    Entry* Entries = nullptr; // owned; 2^CacheBits entries, null until allocated
};
