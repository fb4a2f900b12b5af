#pragma once
// Reads one part of the binary row form (<stem>.rows.<k>, written by the
// generator's PartWriter): checks its header, its completion mark and its
// trailer, then hands out its entries, rows and reward records, in file order.
// Every fault is an InputError naming the file and, inside the entries, the
// byte offset.

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace gensolver {

// The header of a part.
struct PartHeader {
    std::uint32_t part = 0;      // this part's index, from 0
    std::uint32_t parts = 0;     // parts of the run
    std::uint32_t variables = 0; // reward variables per record
    std::uint64_t runId = 0;     // shared by every part of one run
    std::uint64_t states = 0;    // states of the run
};

// One entry: a row (state, count transitions) or a record (state, 2 x variables
// values: per variable its impulse, then its rate reward).
struct PartEntry {
    bool isRow = false;
    std::uint32_t state = 0; // numbered from 1
    std::uint32_t count = 0; // transitions of a row
    // Row: count targets (numbered from 1) and rates; record: the values. Valid
    // until the next call of next().
    const std::uint32_t* targets = nullptr;
    const double* values = nullptr;
};

class PartReader {
public:
    // Opens the part and checks its header and trailer. Throws InputError.
    explicit PartReader(std::string path);
    ~PartReader();
    PartReader(const PartReader&) = delete;
    PartReader& operator=(const PartReader&) = delete;
    PartReader(PartReader&&) = delete;
    PartReader& operator=(PartReader&&) = delete;

    const PartHeader& header() const { return header_; }
    const std::string& path() const { return path_; }
    // Bytes of the file.
    std::uint64_t bytes() const { return size_; }
    // The next entry; false once the trailer is reached (whose counts are checked).
    bool next(PartEntry& entry);
    // Starts again at the first entry.
    void rewind();
    // From here on, rows of states outside [first, last] (numbered from 1) are
    // passed over without reading their transitions (which are then not checked):
    // they are handed out with no transitions.
    void skipRowsOutside(std::uint32_t first, std::uint32_t last) {
        keepFirst_ = first;
        keepLast_ = last;
    }
    // Throws an InputError naming the file and the offset of the entry being read.
    [[noreturn]] void fail(const std::string& what) const;

private:
    // Reads and checks the header (the constructor's work once the file is open).
    void readHeader();
    // Reads `bytes` bytes into `to`, or fails as truncated.
    void read(void* to, std::size_t bytes) {
        if (blockEnd_ - blockAt_ >= bytes) {
            std::memcpy(to, block_.data() + blockAt_, bytes);
            blockAt_ += bytes;
            offset_ += bytes;
        } else {
            readAcross(to, bytes);
        }
    }
    // The same where the bytes go beyond the block.
    void readAcross(void* to, std::size_t bytes);
    // Passes over `bytes` bytes, which the caller knows the file holds.
    void skip(std::uint64_t bytes);

    std::string path_;
    std::FILE* file_ = nullptr; // owned
    std::uint64_t size_ = 0;    // bytes of the file
    std::uint64_t offset_ = 0;  // offset of the next unread byte
    std::uint64_t entryAt_ = 0; // offset of the entry being read
    PartHeader header_;
    std::uint64_t rows_ = 0, records_ = 0;         // read so far
    std::uint32_t lastRow_ = 0, lastRecord_ = 0;   // their last states
    std::uint32_t keepFirst_ = 0, keepLast_ = ~0u; // rows read in full: [first, last]
    std::vector<std::uint32_t> targets_;           // the row being handed out
    std::vector<double> values_;                   // its rates, or the record's values
    std::vector<unsigned char> raw_;               // the row's packed bytes
    // The file is read in blocks: an entry's fields are a few bytes each, and a
    // library call per field cost as much as decoding them.
    std::vector<unsigned char> block_;
    std::size_t blockAt_ = 0, blockEnd_ = 0; // unread bytes of block_
};

// Opens every part of the run written under `stem`: part 0 names their count,
// and each must exist, be complete and belong to the same run. Throws InputError
// naming the part at fault.
std::vector<std::unique_ptr<PartReader>> openParts(const std::string& stem);

} // namespace gensolver
