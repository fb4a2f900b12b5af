#include "output/NumberFormat.h"

#include <array>
#include <charconv>
#include <cstdint>

namespace {

// "00" "01" ... "99": two digits per table entry.
constexpr std::array<char, 200> makeDigitPairs() {
    std::array<char, 200> pairs{};
    for (int i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}
constexpr std::array<char, 200> digitPairs = makeDigitPairs();

// Number of decimal digits of v: from the bit length, one comparison decides
// between the two possible counts.
int decimalDigits(std::uint64_t v) {
    static constexpr std::uint64_t powers[] = {1ULL,
                                               10ULL,
                                               100ULL,
                                               1000ULL,
                                               10000ULL,
                                               100000ULL,
                                               1000000ULL,
                                               10000000ULL,
                                               100000000ULL,
                                               1000000000ULL,
                                               10000000000ULL,
                                               100000000000ULL,
                                               1000000000000ULL,
                                               10000000000000ULL,
                                               100000000000000ULL,
                                               1000000000000000ULL,
                                               10000000000000000ULL,
                                               100000000000000000ULL,
                                               1000000000000000000ULL,
                                               10000000000000000000ULL};
    if (v < 10)
        return 1;
    // floor(log10(2^bits)) approximated by bits * 1233 / 4096.
    int t = (64 - std::countl_zero(v | 1)) * 1233 >> 12;
    return t + (v >= powers[t] ? 1 : 0);
}

// Writes the digits of v from the end backwards, two at a time.
template <class U> void writeDigits(char* end, U v) {
    while (v >= 100) {
        U rest = v % 100;
        v /= 100;
        end -= 2;
        std::memcpy(end, &digitPairs[2 * rest], 2);
    }
    if (v >= 10) {
        std::memcpy(end - 2, &digitPairs[2 * v], 2);
    } else {
        end[-1] = static_cast<char>('0' + v);
    }
}

} // namespace

namespace numberformat {

char* formatInteger(char* first, long long value) {
    std::uint64_t magnitude = static_cast<std::uint64_t>(value);
    if (value < 0) {
        *first++ = '-';
        magnitude = 0 - magnitude;
    }
    char* end = first + decimalDigits(magnitude);
    if (magnitude <= 0xFFFFFFFFu)
        writeDigits(end, static_cast<std::uint32_t>(magnitude)); // cheaper division
    else
        writeDigits(end, magnitude);
    return end;
}

char* formatScientific10(char* first, double value) {
    return std::to_chars(first, first + MaxNumberLength, value, std::chars_format::scientific, 10)
        .ptr;
}

char* formatGeneral6(char* first, double value) {
    return std::to_chars(first, first + MaxNumberLength, value, std::chars_format::general, 6).ptr;
}

} // namespace numberformat
