#pragma once
// TextBuffer: formats numbers into a large buffer and writes it to a stream in
// big blocks. Integers are plain decimal; doubles come out byte for byte as a
// stream would format them: `scientific10` as std::scientific with precision 10
// (2.5000000000e-01), `general6` as the default notation with precision 6
// (0.5, 1e-07, 123457). Binary values are little-endian.
//
// In the background mode the calls only record what is to be written (an
// operation code and the raw value), and a second thread, shared by every
// such buffer of the process, formats the records and writes them, in order.
// The stream belongs to that thread until flush() returns.

#include "ssg/TargetRate.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <memory>

class TextBuffer {
public:
    // `fileName`, when given, names the file in the message of a failed write,
    // which then ends the process with status 1; without it a failure only
    // leaves the stream failed (flush() returns false).
    // With `background`, formatting and writing happen on the writer thread
    // (when that thread cannot be started, the buffer works in the caller's
    // thread as without it).
    explicit TextBuffer(std::ostream& out, const char* fileName = nullptr,
                        std::size_t capacity = 1 << 16, bool background = false);
    ~TextBuffer(); // writes what is left
    TextBuffer(const TextBuffer&) = delete;
    TextBuffer& operator=(const TextBuffer&) = delete;
    TextBuffer(TextBuffer&&) = delete;
    TextBuffer& operator=(TextBuffer&&) = delete;

    // One value and a line feed.
    // (In the background mode the common case, a record that fits the block, is
    // inline: an operation code and the value's 8 bytes.)
    void line(long long value) {
        if (!recordInline(IntegerCode, &value))
            lineFormatted(value);
    }
    void lineScientific10(double value) {
        if (!recordInline(ScientificCode, &value))
            scientificFormatted(value);
    }
    void lineGeneral6(double value) {
        if (!recordInline(GeneralCode, &value))
            generalFormatted(value);
    }
    // `count` values, each as lineGeneral6 (or binaryDouble) writes it. In the
    // background mode they are one record (inline when it fits the block).
    void linesGeneral6(const double* values, std::uint32_t count) {
        if (!recordValuesInline(GeneralLinesCode, values, count))
            valuesFormatted(GeneralLinesCode, values, count);
    }
    void binaryDoubles(const double* values, std::uint32_t count) {
        if (!recordValuesInline(BinaryDoublesCode, values, count))
            valuesFormatted(BinaryDoublesCode, values, count);
    }
    // A row of rates with distinct targets, in any order: for each entry in
    // ascending target order the line of its target and the line of its rate
    // (as lineScientific10), then the line 0. The entries may be reordered. In
    // the background mode a row that fits a block is recorded as it stands
    // (inline when it fits the present one), and the writer thread puts it in
    // order and formats it.
    void rateRow(TargetRate* row, std::uint32_t count) {
        if (!recordRowInline(row, count))
            rowFormatted(row, count);
    }
    // Raw text or bytes.
    void text(const char* text);
    void bytes(const void* data, std::size_t length);
    // Fixed-width little-endian binary values.
    void binaryInt32(std::int32_t value);
    void binaryDouble(double value);

    // Writes the buffered bytes to the stream; false when the stream has failed.
    // In the background mode it waits until the writer thread has written
    // everything recorded so far and flushed the stream.
    bool flush();

    // Formats `value` as the stream would; returns the end of the text. `first`
    // needs room for MaxNumberLength characters.
    static char* formatScientific10(char* first, double value);
    static char* formatGeneral6(char* first, double value);
    // Plain decimal, as std::to_chars and the stream write it.
    static char* formatInteger(char* first, long long value);
    static constexpr std::size_t MaxNumberLength = 48;

private:
    // Operation codes of the background mode's line records.
    static constexpr char IntegerCode = 'i', ScientificCode = 's', GeneralCode = 'g';
    // Records of several values: a count (4 bytes), then the doubles; a row
    // of rates: a count, padding up to TargetRate's alignment (so that the
    // writer sorts the entries where they lie), then the entries.
    static constexpr char GeneralLinesCode = 'G', BinaryDoublesCode = 'B', RateRowCode = 'r';
    bool recordInline(char code, const void* value) {
        if (!Async || End - Position < 9)
            return false;
        *Position++ = code;
        std::memcpy(Position, value, 8);
        Position += 8;
        return true;
    }
    static std::size_t valuesRecordBytes(std::uint32_t count) {
        return 1 + sizeof count + sizeof(double) * count;
    }
    static std::size_t rowRecordBytes(std::uint32_t count) {
        // The padding at most.
        return 1 + sizeof count + alignof(TargetRate) - 1 + sizeof(TargetRate) * count;
    }
    // The first address from `p` aligned for TargetRate.
    static char* alignedForRow(char* p) {
        constexpr std::uintptr_t align = alignof(TargetRate);
        return p + (align - reinterpret_cast<std::uintptr_t>(p) % align) % align;
    }
    bool recordValuesInline(char code, const double* values, std::uint32_t count) {
        if (!Async || static_cast<std::size_t>(End - Position) < valuesRecordBytes(count))
            return false;
        *Position++ = code;
        std::memcpy(Position, &count, sizeof count);
        Position += sizeof count;
        if (count != 0) // `values` may be null then
            std::memcpy(Position, values, sizeof(double) * count);
        Position += sizeof(double) * count;
        return true;
    }
    bool recordRowInline(const TargetRate* row, std::uint32_t count) {
        if (!Async || static_cast<std::size_t>(End - Position) < rowRecordBytes(count))
            return false;
        *Position++ = RateRowCode;
        std::memcpy(Position, &count, sizeof count);
        Position = alignedForRow(Position + sizeof count);
        if (count != 0) // `row` may be null then
            std::memcpy(Position, row, sizeof(TargetRate) * count);
        Position += sizeof(TargetRate) * count;
        return true;
    }
    void valuesFormatted(char code, const double* values, std::uint32_t count);
    void rowFormatted(TargetRate* row, std::uint32_t count);
    void lineFormatted(long long value);
    void scientificFormatted(double value);
    void generalFormatted(double value);

    // Makes room for `length` more bytes (writing the buffer out when needed).
    void reserve(std::size_t length) {
        if (static_cast<std::size_t>(End - Position) < length)
            writeOut();
    }
    void writeOut();
    // Background mode: hands the recorded block to the writer thread (and asks
    // it to flush the stream after it), then takes a free block to record into.
    void submit(bool flushStream);
    // The value's operation code and its bytes, recorded for the writer thread.
    void record(char code, const void* value, std::size_t length);

    struct Background;                 // the background mode's blocks and its writer's formatter
    friend struct BackgroundWriter;    // the writer thread
    std::unique_ptr<Background> Async; // owned; null in the synchronous mode

    // Recently formatted values and their text: models have few distinct rates
    // and rewards, and a copy of the text is much cheaper than formatting.
    struct CachedNumber {
        std::uint64_t bits;  // the value's bit pattern
        std::uint8_t length; // 0 while the entry is empty
        char text[MaxNumberLength];
    };
    static constexpr unsigned CacheBits = 9;
    char* cachedFormat(CachedNumber*& cache, double value, char* (*format)(char*, double));

    std::ostream& Out;                  // not owned
    const char* FileName;               // not owned; null when failures are left to the caller
    char* Data = nullptr;               // owned buffer of `capacity` bytes
    char* Position = nullptr;           // next free byte of Data
    char* End = nullptr;                // one past the last byte of Data
    CachedNumber* Scientific = nullptr; // owned; 2^CacheBits entries, null until first used
    CachedNumber* General = nullptr;    // owned; likewise
};
