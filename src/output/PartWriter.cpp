#include "output/PartWriter.h"

#include <bit>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <stdexcept>
#include <unistd.h>

static_assert(std::endian::native == std::endian::little,
              "the binary row form is little-endian; this writer stores native bytes");

namespace {

constexpr std::size_t BufferBytes = 1 << 20;
constexpr char Magic[8] = {'G', 'E', 'N', 'R', 'O', 'W', 'S', '\0'};

// The double that the text form's digits denote: `format` applied, read back.
double asText(double value, const char* format) {
    char text[40];
    std::snprintf(text, sizeof text, format, value);
    return std::strtod(text, nullptr);
}

} // namespace

PartWriter::~PartWriter() {
    if (File != nullptr)
        std::fclose(File); // unfinished: its completion mark stays 0
}

std::string PartWriter::partName(const std::string& stem, std::uint32_t part) {
    return stem + ".rows." + std::to_string(part);
}

std::uint64_t PartWriter::newRunId() {
    std::random_device device;
    const auto now =
        static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
    const std::uint64_t id = (std::uint64_t{device()} << 32) ^ device() ^ now ^
                             (static_cast<std::uint64_t>(::getpid()) << 17);
    return id != 0 ? id : 1;
}

void PartWriter::fail(const char* what) {
    const std::string message = Name + ": cannot " + what + ": " + std::strerror(errno);
    if (File != nullptr)
        std::fclose(File);
    File = nullptr;
    throw std::runtime_error(message);
}

void PartWriter::open(const std::string& stem, std::uint32_t part, std::uint32_t parts,
                      std::uint32_t variables, std::uint64_t runId) {
    if (parts == 0 || part >= parts)
        throw std::invalid_argument("part " + std::to_string(part) + " of " +
                                    std::to_string(parts) + " parts does not exist");
    Name = partName(stem, part);
    File = std::fopen(Name.c_str(), "wb");
    if (File == nullptr)
        fail("open for writing");
    Buffer.clear();
    Buffer.reserve(BufferBytes + 64);
    Variables = variables;
    Rows = Records = 0;
    LastRow = LastRecord = 0;
    Scratch.assign(2 * std::size_t{variables}, 0.0);
    unsigned char header[HeaderBytes] = {};
    std::memcpy(header, Magic, 8);
    const std::uint32_t words[4] = {Version, part, parts, variables};
    std::memcpy(header + 8, words, sizeof words);
    std::memcpy(header + 24, &runId, 8);
    // Bytes 32..47: the state count, the completion mark and a reserved word,
    // all 0 until finish(). Written at once: an unfinished part has a header
    // that says so.
    put(header, HeaderBytes);
    flushBuffer();
    if (std::fflush(File) != 0)
        fail("write");
}

void PartWriter::put(const void* bytes, std::size_t count) {
    const auto* p = static_cast<const unsigned char*>(bytes);
    Buffer.insert(Buffer.end(), p, p + count);
    if (Buffer.size() >= BufferBytes)
        flushBuffer();
}

void PartWriter::flushBuffer() {
    if (!Buffer.empty() && std::fwrite(Buffer.data(), 1, Buffer.size(), File) != Buffer.size())
        fail("write");
    Buffer.clear();
}

double PartWriter::roundedRate(double rate) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &rate, 8);
    const std::size_t slot = static_cast<std::size_t>((bits * 0x9E3779B97F4A7C15ull) >> 56);
    if (CacheIn[slot] != rate || (rate == 0.0 && std::signbit(rate))) {
        CacheIn[slot] = rate;
        CacheOut[slot] = asText(rate, "%.10e");
    }
    return CacheOut[slot];
}

void PartWriter::row(std::uint32_t state, const std::uint32_t* targets, const double* rates,
                     std::uint32_t n) {
    beginRow(state, n);
    for (std::uint32_t k = 0; k < n; ++k)
        putEntry(targets[k], rates[k]);
}

void PartWriter::beginRow(std::uint32_t state, std::uint32_t n) {
    if (state <= LastRow)
        throw std::logic_error(Name + ": row of state " + std::to_string(state) +
                               " after the row of state " + std::to_string(LastRow));
    LastRow = state;
    ++Rows;
    const unsigned char tag = 'R';
    put(&tag, 1);
    put(&state, 4);
    put(&n, 4);
}

void PartWriter::record(std::uint32_t state, const double* impulseRatePairs) {
    if (state <= LastRecord)
        throw std::logic_error(Name + ": record of state " + std::to_string(state) +
                               " after the record of state " + std::to_string(LastRecord));
    LastRecord = state;
    ++Records;
    for (std::size_t k = 0; k < Scratch.size(); ++k)
        Scratch[k] = asText(impulseRatePairs[k], "%g");
    const unsigned char tag = 'V';
    put(&tag, 1);
    put(&state, 4);
    put(Scratch.data(), Scratch.size() * 8);
}

void PartWriter::finish(std::uint64_t totalStates) {
    const unsigned char tag = 'E';
    put(&tag, 1);
    put(&Rows, 8);
    put(&Records, 8);
    flushBuffer();
    // Everything else is on disk before the mark: a reader that sees the mark
    // sees the whole part.
    if (std::fflush(File) != 0)
        fail("write");
    if (std::fseek(File, 32, SEEK_SET) != 0)
        fail("seek");
    unsigned char tail[HeaderBytes - 32] = {};
    std::memcpy(tail, &totalStates, 8);
    std::memcpy(tail + (MarkOffset - 32), &CompleteMark, 4);
    if (std::fwrite(tail, 1, sizeof tail, File) != sizeof tail)
        fail("write");
    std::FILE* file = File;
    File = nullptr;
    if (std::fclose(file) != 0) {
        File = nullptr;
        throw std::runtime_error(Name + ": cannot write: " + std::strerror(errno));
    }
}
