#include "ssg/TextBuffer.h"

#include "base/Errors.h"

#include <array>
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

char* TextBuffer::formatInteger(char* first, long long value) {
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
    Position = formatInteger(Position, value);
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
