#pragma once
// FormattingBuffer: formats values into a large buffer in the calling thread
// and writes it to a stream in big blocks (see NumberFormat.h for the text of
// each kind of value). TextBuffer formats through one, in the caller's thread
// or on the writer thread.

#include "output/NumberCache.h"
#include "output/NumberFormat.h"
#include "ssg/TargetRate.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>

// Reports that the file `fileName` could not be written and ends the process
// with status 1.
[[noreturn]] void reportWriteFailure(const char* fileName);

class FormattingBuffer {
public:
    // `fileName`, when given, names the file in the message of a failed write,
    // which then ends the process with status 1; without it a failure only
    // leaves the stream failed. `capacity` is at least MaxNumberLength + 2.
    FormattingBuffer(std::ostream& out, const char* fileName, std::size_t capacity);
    ~FormattingBuffer(); // writes what is left
    FormattingBuffer(const FormattingBuffer&) = delete;
    FormattingBuffer& operator=(const FormattingBuffer&) = delete;
    FormattingBuffer(FormattingBuffer&&) = delete;
    FormattingBuffer& operator=(FormattingBuffer&&) = delete;

    // Allocates the caches of formatted doubles now rather than at their first
    // use (a writer thread must not allocate); false when they cannot be.
    bool allocateCaches();

    // One value and a line feed.
    void line(long long value);
    void lineScientific10(double value);
    void lineGeneral6(double value);
    // `count` doubles, each as lineGeneral6 (or binaryDouble) writes it.
    // `values` need not be aligned: records hold them unaligned.
    void linesGeneral6(const void* values, std::uint32_t count);
    void binaryDoubles(const void* values, std::uint32_t count);
    // A row of rates with distinct targets, put in ascending target order
    // where it lies: for each entry the line of its target and the line of its
    // rate (as lineScientific10), then the line 0.
    void rateRow(TargetRate* row, std::uint32_t count);
    // Raw bytes.
    void bytes(const void* data, std::size_t length);
    // Fixed-width little-endian binary values.
    void binaryInt32(std::int32_t value) { binary(value); }
    void binaryDouble(double value) { binary(value); }

    // Writes the buffered bytes to the stream; false when the stream has failed.
    bool flush();
    // False once the stream has failed.
    bool good() const;

private:
    // Makes room for `length` more bytes (writing the buffer out when needed).
    void reserve(std::size_t length) {
        if (static_cast<std::size_t>(End - Position) < length)
            writeOut();
    }
    void writeOut();
    template <class T> void binary(T value) {
        reserve(sizeof value);
        numberformat::storeLittleEndian(Position, value);
        Position += sizeof value;
    }

    std::ostream& Out;      // not owned
    const char* FileName;   // not owned; null when failures are left to the caller
    char* Data = nullptr;   // owned buffer of `capacity` bytes
    char* Position;         // next free byte of Data
    char* End;              // one past the last byte of Data
    NumberCache Scientific; // owned; texts of lineScientific10
    NumberCache General;    // owned; texts of lineGeneral6
};
