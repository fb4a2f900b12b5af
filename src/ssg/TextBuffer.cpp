#include "ssg/TextBuffer.h"

#include "base/Errors.h"

#include <bit>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>

namespace {

// Copies the value's bytes in little-endian order.
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

} // namespace

TextBuffer::TextBuffer(std::ostream& out, const char* fileName, std::size_t capacity)
    : Out(out), FileName(fileName) {
    if (capacity < MaxNumberLength + 2)
        capacity = MaxNumberLength + 2;
    Data = new (std::nothrow) char[capacity];
    if (Data == nullptr)
        MemoryAllocationError();
    Position = Data;
    End = Data + capacity;
}

TextBuffer::~TextBuffer() {
    flush();
    delete[] Data;
    delete[] Scientific;
    delete[] General;
}

char* TextBuffer::cachedFormat(CachedNumber*& cache, double value, char* (*format)(char*, double)) {
    if (cache == nullptr) {
        cache = new (std::nothrow) CachedNumber[1u << CacheBits]();
        if (cache == nullptr)
            MemoryAllocationError();
    }
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    CachedNumber& entry = cache[(bits * 0x9E3779B97F4A7C15ULL) >> (64 - CacheBits)];
    if (entry.length == 0 || entry.bits != bits) {
        char* end = format(entry.text, value);
        entry.length = static_cast<std::uint8_t>(end - entry.text);
        entry.bits = bits;
    }
    std::memcpy(Position, entry.text, sizeof entry.text);
    return Position + entry.length;
}

char* TextBuffer::formatScientific10(char* first, double value) {
    return std::to_chars(first, first + MaxNumberLength, value, std::chars_format::scientific, 10)
        .ptr;
}

char* TextBuffer::formatGeneral6(char* first, double value) {
    return std::to_chars(first, first + MaxNumberLength, value, std::chars_format::general, 6).ptr;
}

void TextBuffer::line(long long value) {
    reserve(MaxNumberLength + 1);
    Position = std::to_chars(Position, End, value).ptr;
    *Position++ = '\n';
}

void TextBuffer::lineScientific10(double value) {
    reserve(MaxNumberLength + 1);
    Position = cachedFormat(Scientific, value, formatScientific10);
    *Position++ = '\n';
}

void TextBuffer::lineGeneral6(double value) {
    reserve(MaxNumberLength + 1);
    Position = cachedFormat(General, value, formatGeneral6);
    *Position++ = '\n';
}

void TextBuffer::text(const char* text) {
    bytes(text, std::strlen(text));
}

void TextBuffer::bytes(const void* data, std::size_t length) {
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

void TextBuffer::binaryInt32(std::int32_t value) {
    reserve(sizeof value);
    storeLittleEndian(Position, value);
    Position += sizeof value;
}

void TextBuffer::binaryDouble(double value) {
    reserve(sizeof value);
    storeLittleEndian(Position, value);
    Position += sizeof value;
}

void TextBuffer::writeOut() {
    if (Position != Data)
        Out.write(Data, Position - Data);
    Position = Data;
    if (!Out && FileName != nullptr) {
        std::cerr << "Error: Could not write file " << FileName << std::endl;
        std::exit(1);
    }
}

bool TextBuffer::flush() {
    writeOut();
    return static_cast<bool>(Out);
}
