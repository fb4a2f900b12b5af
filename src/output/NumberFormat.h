#pragma once
// Number formatting for the result files, with std::to_chars: the bytes equal
// what a stream writes. Integers are plain decimal; `scientific10` is
// std::scientific with precision 10 (2.5000000000e-01), `general6` the default
// notation with precision 6 (0.5, 1e-07, 123457). Binary values are
// little-endian.

#include <bit>
#include <cstddef>
#include <cstring>

namespace numberformat {

// Room that `first` needs for any number's text.
constexpr std::size_t MaxNumberLength = 48;

// Each writes the text of `value` at `first` and returns its end.
char* formatInteger(char* first, long long value);
char* formatScientific10(char* first, double value);
char* formatGeneral6(char* first, double value);

// Copies the value's bytes to `target` in little-endian order.
template <class T> void storeLittleEndian(char* target, T value) {
    char raw[sizeof(T)];
    std::memcpy(raw, &value, sizeof(T));
    if constexpr (std::endian::native == std::endian::big) {
        for (std::size_t i = 0; i < sizeof(T); ++i)
            target[i] = raw[sizeof(T) - 1 - i];
    } else {
        std::memcpy(target, raw, sizeof(T));
    }
}

} // namespace numberformat
