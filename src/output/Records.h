#pragma once
// Records: how a background TextBuffer writes down its calls for the writer
// thread. A record is an operation code and its operands in their raw bytes;
// the writer replays a block of records through a FormattingBuffer, which
// formats them. Records lie back to back, so operands are read with memcpy.

#include "ssg/TargetRate.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

class FormattingBuffer;

// The operation of a record, and its operands.
enum class RecordCode : char {
    IntegerLine = 'i',    // long long
    ScientificLine = 's', // double
    GeneralLine = 'g',    // double
    BinaryInt32 = 'I',    // std::int32_t
    BinaryDouble = 'D',   // double
    GeneralLines = 'G',   // std::uint32_t count, then the doubles
    BinaryDoubles = 'B',  // std::uint32_t count, then the doubles
    RateRow = 'r',        // std::uint32_t count, padding up to TargetRate's alignment (so
                          // that the writer sorts the entries where they lie), the entries
    Bytes = 'b',          // std::uint32_t length, then the bytes
};

namespace records {

// The size of the largest record of one value.
constexpr std::size_t ValueBytes = 1 + 8;

// The size of a record of `count` doubles.
inline std::size_t valuesBytes(std::uint32_t count) {
    return 1 + sizeof count + sizeof(double) * count;
}
// The size of a row of `count` rates at the most (with the most padding).
inline std::size_t rowBytes(std::uint32_t count) {
    return 1 + sizeof count + alignof(TargetRate) - 1 + sizeof(TargetRate) * count;
}
// The first address from `p` aligned for TargetRate.
inline char* alignedForRow(char* p) {
    constexpr std::uintptr_t align = alignof(TargetRate);
    return p + (align - reinterpret_cast<std::uintptr_t>(p) % align) % align;
}

// Each put writes one record at `at`, which has room for it, and returns its end.

// A record of one value (at most 8 bytes).
template <class T> char* putValue(char* at, RecordCode code, const T& value) {
    static_assert(sizeof value <= ValueBytes - 1);
    *at++ = static_cast<char>(code);
    std::memcpy(at, &value, sizeof value);
    return at + sizeof value;
}
// GeneralLines or BinaryDoubles; `values` may be null when `count` is 0.
inline char* putValues(char* at, RecordCode code, const double* values, std::uint32_t count) {
    *at++ = static_cast<char>(code);
    std::memcpy(at, &count, sizeof count);
    at += sizeof count;
    if (count != 0)
        std::memcpy(at, values, sizeof(double) * count);
    return at + sizeof(double) * count;
}
// RateRow; `row` may be null when `count` is 0.
inline char* putRow(char* at, const TargetRate* row, std::uint32_t count) {
    *at++ = static_cast<char>(RecordCode::RateRow);
    std::memcpy(at, &count, sizeof count);
    at = alignedForRow(at + sizeof count);
    if (count != 0)
        std::memcpy(at, row, sizeof(TargetRate) * count);
    return at + sizeof(TargetRate) * count;
}
// Bytes.
inline char* putBytes(char* at, const char* from, std::uint32_t length) {
    *at++ = static_cast<char>(RecordCode::Bytes);
    std::memcpy(at, &length, sizeof length);
    at += sizeof length;
    std::memcpy(at, from, length);
    return at + length;
}

// Formats the records of [begin, end) through `out`, in order. Rows of rates
// are put in order where they lie.
void replay(char* begin, const char* end, FormattingBuffer& out);

} // namespace records
