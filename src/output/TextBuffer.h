#pragma once
// TextBuffer: formats numbers into a large buffer and writes it to a stream in
// big blocks (see NumberFormat.h for the text of each kind of value).
//
// In the background mode the calls only record what is to be written (see
// Records.h), and the process's writer thread (BackgroundWriter) formats the
// records and writes them, in order, through this buffer's FormattingBuffer.
// The stream belongs to that thread until flush() returns. Otherwise the
// FormattingBuffer formats in the caller's thread. Each call decides between
// the two once, inline.

#include "output/FormattingBuffer.h"
#include "output/NumberFormat.h"
#include "output/Records.h"
#include "ssg/TargetRate.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>

struct BackgroundChannel;

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
    void line(long long value) { one<&FormattingBuffer::line>(RecordCode::IntegerLine, value); }
    void lineScientific10(double value) {
        one<&FormattingBuffer::lineScientific10>(RecordCode::ScientificLine, value);
    }
    void lineGeneral6(double value) {
        one<&FormattingBuffer::lineGeneral6>(RecordCode::GeneralLine, value);
    }
    // `count` values, each as lineGeneral6 (or binaryDouble) writes it. In the
    // background mode they are one record when they fit a block.
    void linesGeneral6(const double* values, std::uint32_t count) {
        several<&FormattingBuffer::linesGeneral6>(RecordCode::GeneralLines, values, count);
    }
    void binaryDoubles(const double* values, std::uint32_t count) {
        several<&FormattingBuffer::binaryDoubles>(RecordCode::BinaryDoubles, values, count);
    }
    // A row of rates with distinct targets, in any order: for each entry in
    // ascending target order the line of its target and the line of its rate
    // (as lineScientific10), then the line 0. The entries may be reordered. In
    // the background mode a row that fits a block is recorded as it stands,
    // and the writer thread puts it in order and formats it.
    void rateRow(TargetRate* row, std::uint32_t count) {
        if (Async)
            recordRow(row, count);
        else
            Formatter.rateRow(row, count);
    }
    // Raw text or bytes.
    void text(const char* text);
    void bytes(const void* data, std::size_t length);
    // Fixed-width little-endian binary values.
    void binaryInt32(std::int32_t value) {
        one<&FormattingBuffer::binaryInt32>(RecordCode::BinaryInt32, value);
    }
    void binaryDouble(double value) {
        one<&FormattingBuffer::binaryDouble>(RecordCode::BinaryDouble, value);
    }

    // Writes the buffered bytes to the stream; false when the stream has failed.
    // In the background mode it waits until the writer thread has written
    // everything recorded so far and flushed the stream.
    bool flush();

    // Formats `value` as the stream would; returns the end of the text. `first`
    // needs room for MaxNumberLength characters.
    static char* formatScientific10(char* first, double value) {
        return numberformat::formatScientific10(first, value);
    }
    static char* formatGeneral6(char* first, double value) {
        return numberformat::formatGeneral6(first, value);
    }
    // Plain decimal, as std::to_chars and the stream write it.
    static char* formatInteger(char* first, long long value) {
        return numberformat::formatInteger(first, value);
    }
    static constexpr std::size_t MaxNumberLength = numberformat::MaxNumberLength;

private:
    // The background mode's recording: each call's record goes into the block
    // in hand, which is handed to the writer thread first when the record does
    // not fit. The common case, a record that fits, is inline.
    // One value: recorded as `code`, or formatted by `Format`.
    template <auto Format, class T> void one(RecordCode code, T value) {
        if (Async)
            recordValue(code, value);
        else
            (Formatter.*Format)(value);
    }
    // Several doubles: recorded as `code`, or formatted by `Format`.
    template <auto Format>
    void several(RecordCode code, const double* values, std::uint32_t count) {
        if (Async)
            recordValues(code, values, count);
        else
            (Formatter.*Format)(values, count);
    }
    template <class T> void recordValue(RecordCode code, const T& value) {
        if (static_cast<std::size_t>(End - Position) < records::ValueBytes)
            submit(false);
        Position = records::putValue(Position, code, value);
    }
    void recordValues(RecordCode code, const double* values, std::uint32_t count) {
        if (static_cast<std::size_t>(End - Position) >= records::valuesBytes(count))
            Position = records::putValues(Position, code, values, count);
        else
            recordValuesInNewBlock(code, values, count);
    }
    void recordRow(TargetRate* row, std::uint32_t count) {
        if (static_cast<std::size_t>(End - Position) >= records::rowBytes(count))
            Position = records::putRow(Position, row, count);
        else
            recordRowInNewBlock(row, count);
    }
    // A record that does not fit the block in hand: in the next block, or,
    // when it is larger than a block, value by value (a row put in order here).
    void recordValuesInNewBlock(RecordCode code, const double* values, std::uint32_t count);
    void recordRowInNewBlock(TargetRate* row, std::uint32_t count);
    // Hands the block in hand to the writer thread (and asks it to flush the
    // stream after it), then takes a free block to record into.
    void submit(bool flushStream);

    // Owned; the background mode's blocks, shared with the writer thread; null
    // in the synchronous mode.
    std::unique_ptr<BackgroundChannel> Async;
    char* Data = nullptr;     // the block being recorded into (in Async's storage)
    char* Position = nullptr; // next free byte of Data
    char* End = nullptr;      // one past the last byte of Data
    const char* FileName;     // not owned; null when failures are left to the caller
    // Owned; formats and writes: in the caller's thread, or, in the background
    // mode, on the writer thread, to which it belongs until flush() returns.
    FormattingBuffer Formatter;
};
