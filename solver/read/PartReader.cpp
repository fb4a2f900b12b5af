#include "read/PartReader.h"

#include "read/InputError.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstring>

static_assert(std::endian::native == std::endian::little,
              "the binary row form is little-endian; this reader takes native bytes");

namespace gensolver {

namespace {

constexpr std::size_t kHeaderBytes = 48;
constexpr std::size_t kTrailerBytes = 17; // tag, rows, records
constexpr std::uint32_t kCompleteMark = 0x454E4F44u;
constexpr std::uint32_t kVersion = 1;
constexpr char kMagic[8] = {'G', 'E', 'N', 'R', 'O', 'W', 'S', '\0'};
constexpr std::uint64_t kMaxStates = 0xFFFFFFFEu;
constexpr std::size_t kBlockBytes = std::size_t{1} << 20;

std::string partName(const std::string& stem, std::uint32_t part) {
    return stem + ".rows." + std::to_string(part);
}

} // namespace

PartReader::PartReader(std::string path) : path_(std::move(path)) {
    file_ = std::fopen(path_.c_str(), "rb");
    if (file_ == nullptr)
        throw InputError(path_, std::string("cannot open: ") + std::strerror(errno));
    // A refused header must not leave the file open: the destructor of an object
    // whose constructor throws does not run.
    try {
        readHeader();
    } catch (...) {
        std::fclose(file_);
        file_ = nullptr;
        throw;
    }
}

void PartReader::readHeader() {
    if (std::fseek(file_, 0, SEEK_END) != 0)
        throw InputError(path_, "cannot read: not a regular file");
    const long end = std::ftell(file_);
    if (end < 0)
        throw InputError(path_, "cannot read: not a regular file");
    size_ = static_cast<std::uint64_t>(end);
    std::rewind(file_);
    if (size_ < kHeaderBytes)
        throw InputError(
            path_, "the file is shorter than the header of a row part: the run that writes it did "
                   "not finish, or the file is truncated");
    unsigned char h[kHeaderBytes];
    read(h, kHeaderBytes);
    if (std::memcmp(h, kMagic, 8) != 0)
        throw InputError(path_, "not a binary row part (its first bytes are not GENROWS)");
    std::uint32_t words[4];
    std::memcpy(words, h + 8, sizeof words);
    std::uint32_t mark = 0;
    std::memcpy(&header_.runId, h + 24, 8);
    std::memcpy(&header_.states, h + 32, 8);
    std::memcpy(&mark, h + 40, 4);
    if (words[0] != kVersion)
        throw InputError(path_, "row part version " + std::to_string(words[0]) +
                                    ", this solver reads version " + std::to_string(kVersion));
    header_.part = words[1];
    header_.parts = words[2];
    header_.variables = words[3];
    if (mark != kCompleteMark)
        throw InputError(path_, "the part is unfinished: the run that writes it did not finish");
    if (header_.parts == 0 || header_.part >= header_.parts)
        throw InputError(path_, "the header names part " + std::to_string(header_.part) + " of " +
                                    std::to_string(header_.parts));
    if (header_.states == 0 || header_.states > kMaxStates)
        throw InputError(path_, "the state count " + std::to_string(header_.states) +
                                    " is 0 or beyond this solver's limit of " +
                                    std::to_string(kMaxStates));
    if (header_.variables > (1u << 20))
        throw InputError(path_, "the header names " + std::to_string(header_.variables) +
                                    " variables, more than a run can have");
    if (size_ < kHeaderBytes + kTrailerBytes)
        throw InputError(path_, "the file ends before its trailer (truncated)");
    values_.reserve(2 * std::size_t{header_.variables});
}

PartReader::~PartReader() {
    if (file_ != nullptr)
        std::fclose(file_);
}

void PartReader::fail(const std::string& what) const {
    throw InputError(path_, "at byte " + std::to_string(entryAt_) + ": " + what);
}

void PartReader::readAcross(void* to, std::size_t bytes) {
    if (size_ - offset_ < bytes)
        fail("the file ends inside this entry (truncated)");
    auto* out = static_cast<unsigned char*>(to);
    std::size_t left = bytes;
    while (left > 0) {
        if (blockAt_ == blockEnd_) {
            block_.resize(kBlockBytes);
            blockAt_ = 0;
            blockEnd_ = std::fread(block_.data(), 1, block_.size(), file_);
            if (blockEnd_ == 0)
                fail(std::string("cannot read: ") +
                     (std::ferror(file_) ? std::strerror(errno) : "the file shrank while read"));
        }
        const std::size_t n = std::min(left, blockEnd_ - blockAt_);
        std::memcpy(out, block_.data() + blockAt_, n);
        blockAt_ += n;
        out += n;
        left -= n;
    }
    offset_ += bytes;
}

void PartReader::skip(std::uint64_t bytes) {
    const std::uint64_t buffered = blockEnd_ - blockAt_;
    if (bytes <= buffered) {
        blockAt_ += static_cast<std::size_t>(bytes);
    } else {
        if (std::fseek(file_, static_cast<long>(bytes - buffered), SEEK_CUR) != 0)
            fail(std::string("cannot read: ") + std::strerror(errno));
        blockAt_ = blockEnd_ = 0;
    }
    offset_ += bytes;
}

void PartReader::rewind() {
    std::fseek(file_, static_cast<long>(kHeaderBytes), SEEK_SET);
    blockAt_ = blockEnd_ = 0;
    offset_ = kHeaderBytes;
    rows_ = records_ = 0;
    lastRow_ = lastRecord_ = 0;
}

bool PartReader::next(PartEntry& entry) {
    if (offset_ == 0)
        rewind();
    entryAt_ = offset_;
    unsigned char tag = 0;
    read(&tag, 1);
    if (tag == 'E') {
        std::uint64_t counts[2];
        read(counts, sizeof counts);
        if (counts[0] != rows_ || counts[1] != records_)
            fail("the trailer counts " + std::to_string(counts[0]) + " rows and " +
                 std::to_string(counts[1]) + " records, the part holds " + std::to_string(rows_) +
                 " and " + std::to_string(records_));
        if (offset_ != size_)
            fail("bytes follow the trailer");
        return false;
    }
    if (tag != 'R' && tag != 'V')
        fail("an entry must start with R (row), V (record) or E (trailer), found byte " +
             std::to_string(tag));
    std::uint32_t state = 0;
    read(&state, 4);
    if (state == 0 || state > header_.states)
        fail("state " + std::to_string(state) + " is outside 1.." + std::to_string(header_.states));
    entry.state = state;
    if (tag == 'V') {
        if (state <= lastRecord_)
            fail("the record of state " + std::to_string(state) + " follows that of state " +
                 std::to_string(lastRecord_) + " (records must ascend)");
        lastRecord_ = state;
        ++records_;
        values_.resize(2 * std::size_t{header_.variables});
        read(values_.data(), values_.size() * 8);
        for (const double v : values_)
            if (!std::isfinite(v))
                fail("the record of state " + std::to_string(state) +
                     " holds a value that is "
                     "not finite");
        entry.isRow = false;
        entry.count = 0;
        entry.values = values_.data();
        entry.targets = nullptr;
        return true;
    }
    if (state <= lastRow_)
        fail("the row of state " + std::to_string(state) + " follows that of state " +
             std::to_string(lastRow_) + " (rows must ascend)");
    lastRow_ = state;
    ++rows_;
    std::uint32_t count = 0;
    read(&count, 4);
    if (std::uint64_t{count} * 12 > size_ - offset_)
        fail("the row of state " + std::to_string(state) + " has " + std::to_string(count) +
             " transitions, more than the rest of the file holds (truncated)");
    if (state < keepFirst_ || state > keepLast_) {
        skip(std::uint64_t{count} * 12);
        entry.isRow = true;
        entry.count = 0;
        entry.targets = nullptr;
        entry.values = nullptr;
        return true;
    }
    // The row's bytes, decoded where they lie when the block holds them all.
    const std::size_t rowBytes = std::size_t{count} * 12;
    const unsigned char* raw = nullptr;
    if (blockEnd_ - blockAt_ >= rowBytes) {
        raw = block_.data() + blockAt_;
        blockAt_ += rowBytes;
        offset_ += rowBytes;
    } else {
        raw_.resize(rowBytes);
        read(raw_.data(), rowBytes);
        raw = raw_.data();
    }
    targets_.resize(count);
    values_.resize(count);
    std::uint32_t previous = 0;
    for (std::uint32_t k = 0; k < count; ++k) {
        std::uint32_t to = 0;
        double rate = 0.0;
        std::memcpy(&to, raw + 12 * std::size_t{k}, 4);
        std::memcpy(&rate, raw + 12 * std::size_t{k} + 4, 8);
        if (to == 0 || to > header_.states)
            fail("the row of state " + std::to_string(state) + " names state " +
                 std::to_string(to) + ", outside 1.." + std::to_string(header_.states));
        if (to <= previous)
            fail("the targets of the row of state " + std::to_string(state) + " do not ascend");
        previous = to;
        if (!std::isfinite(rate) || rate < 0.0)
            fail("the rate from state " + std::to_string(state) + " to " + std::to_string(to) +
                 " is negative or not finite");
        targets_[k] = to;
        values_[k] = rate;
    }
    entry.isRow = true;
    entry.count = count;
    entry.targets = targets_.data();
    entry.values = values_.data();
    return true;
}

std::vector<std::unique_ptr<PartReader>> openParts(const std::string& stem) {
    std::vector<std::unique_ptr<PartReader>> parts;
    parts.push_back(std::make_unique<PartReader>(partName(stem, 0)));
    const PartHeader& first = parts[0]->header();
    if (first.part != 0)
        throw InputError(parts[0]->path(),
                         "the header names part " + std::to_string(first.part) + ", not part 0");
    for (std::uint32_t k = 1; k < first.parts; ++k) {
        parts.push_back(std::make_unique<PartReader>(partName(stem, k)));
        const PartHeader& h = parts.back()->header();
        const std::string& path = parts.back()->path();
        if (h.runId != first.runId)
            throw InputError(path, "belongs to another run than " + parts[0]->path() +
                                       " (the run identifiers differ)");
        if (h.part != k || h.parts != first.parts || h.states != first.states ||
            h.variables != first.variables)
            throw InputError(path, "its header (part " + std::to_string(h.part) + " of " +
                                       std::to_string(h.parts) + ", " + std::to_string(h.states) +
                                       " states) does not fit " + parts[0]->path());
    }
    // Every state has a row (9 bytes at least) and a record (5 bytes and 16 per
    // variable) in some part: a count that the files cannot hold is refused before
    // anything is allocated for it.
    std::uint64_t bytes = 0;
    for (const auto& part : parts)
        bytes += part->bytes();
    const std::uint64_t least = 14 + 16 * std::uint64_t{first.variables};
    if (first.states > bytes / least)
        throw InputError(parts[0]->path(), "the state count " + std::to_string(first.states) +
                                               " is more than the parts' " + std::to_string(bytes) +
                                               " bytes can hold (truncated or not a row part)");
    return parts;
}

} // namespace gensolver
