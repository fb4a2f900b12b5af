#include "output/FormattingBuffer.h"

#include "base/Errors.h"

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>

using numberformat::MaxNumberLength;

namespace {

// The i-th of the doubles at `values`, which need not be aligned.
double nthDouble(const void* values, std::uint32_t i) {
    double value;
    std::memcpy(&value, static_cast<const char*>(values) + sizeof value * i, sizeof value);
    return value;
}

} // namespace

void reportWriteFailure(const char* fileName) {
    std::cerr << "Error: Could not write file " << fileName << std::endl;
    std::exit(1);
}

FormattingBuffer::FormattingBuffer(std::ostream& out, const char* fileName, std::size_t capacity)
    : Out(out), FileName(fileName), Data(new (std::nothrow) char[capacity]) {
    if (Data == nullptr)
        MemoryAllocationError();
    Position = Data;
    End = Data + capacity;
}

FormattingBuffer::~FormattingBuffer() {
    flush();
    delete[] Data;
}

bool FormattingBuffer::allocateCaches() {
    return Scientific.allocate() && General.allocate();
}

void FormattingBuffer::line(long long value) {
    reserve(MaxNumberLength + 1);
    Position = numberformat::formatInteger(Position, value);
    *Position++ = '\n';
}

void FormattingBuffer::lineScientific10(double value) {
    reserve(MaxNumberLength + 1);
    Position = Scientific.write(Position, value, numberformat::formatScientific10);
    *Position++ = '\n';
}

void FormattingBuffer::lineGeneral6(double value) {
    reserve(MaxNumberLength + 1);
    Position = General.write(Position, value, numberformat::formatGeneral6);
    *Position++ = '\n';
}

void FormattingBuffer::linesGeneral6(const void* values, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i)
        lineGeneral6(nthDouble(values, i));
}

void FormattingBuffer::binaryDoubles(const void* values, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i)
        binaryDouble(nthDouble(values, i));
}

void FormattingBuffer::rateRow(TargetRate* row, std::uint32_t count) {
    sortByTarget(row, count);
    for (std::uint32_t i = 0; i < count; ++i) {
        line(row[i].target);
        lineScientific10(row[i].rate);
    }
    line(0);
}

void FormattingBuffer::bytes(const void* data, std::size_t length) {
    const char* from = static_cast<const char*>(data);
    while (length > 0) {
        if (Position == End)
            writeOut();
        std::size_t chunk = static_cast<std::size_t>(End - Position);
        if (chunk > length)
            chunk = length;
        std::memcpy(Position, from, chunk);
        Position += chunk;
        from += chunk;
        length -= chunk;
    }
}

void FormattingBuffer::writeOut() {
    if (Position != Data)
        Out.write(Data, Position - Data);
    Position = Data;
    if (!Out && FileName != nullptr)
        reportWriteFailure(FileName);
}

bool FormattingBuffer::flush() {
    writeOut();
    return good();
}

bool FormattingBuffer::good() const {
    return static_cast<bool>(Out);
}
