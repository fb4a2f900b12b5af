#pragma once
// PartWriter: writes one part of the binary row form of a run, the file
// <stem>.rows.<part>: the rate rows and the reward records of any subset of the
// run's states, each kind in ascending state order, for gen-solve to read
// without parsing text. A run writes `parts` such files (one per process of a
// distributed exploration, one for a one-process run); every part names the run
// by an identifier that all its parts share. The header carries a completion
// mark that finish() writes last, after every byte of the part is written, so
// a part whose writer stopped early never looks complete. Rates and rewards are
// stored as the doubles that the text files' digits denote (rates rounded as
// %.10e prints them, rewards as %g), so both forms give the same solution.
// Failures throw std::runtime_error naming the file. Standard library only.

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

class PartWriter {
public:
    // The bytes of the header and the completion mark's offset and value.
    static constexpr std::size_t HeaderBytes = 48;
    static constexpr std::size_t MarkOffset = 40;
    static constexpr std::uint32_t CompleteMark = 0x454E4F44u; // "DONE"
    static constexpr std::uint32_t Version = 1;

    PartWriter() = default;
    ~PartWriter();
    PartWriter(const PartWriter&) = delete;
    PartWriter& operator=(const PartWriter&) = delete;
    PartWriter(PartWriter&&) = delete;
    PartWriter& operator=(PartWriter&&) = delete;

    // The name of part `part` of the run written under `stem` (<path><name>).
    static std::string partName(const std::string& stem, std::uint32_t part);
    // An identifier for a new run: every part of one run must get the same one
    // (a distributed run takes it on one process and hands it to the others).
    static std::uint64_t newRunId();

    // Creates (truncates) the part file, with `variables` reward variables per record.
    void open(const std::string& stem, std::uint32_t part, std::uint32_t parts,
              std::uint32_t variables, std::uint64_t runId);
    // The row of `state` (numbered from 1): `n` transitions to `targets`
    // (ascending) with `rates`. States come in ascending order within a part.
    void row(std::uint32_t state, const std::uint32_t* targets, const double* rates,
             std::uint32_t n);
    // The same from a row that gives size(), target(k) and rate(k), targets ascending
    // (an explorer's sorted rate accumulator), without copying it first.
    template <class Row> void row(std::uint32_t state, const Row& r) {
        const std::uint32_t n = r.size();
        beginRow(state, n);
        for (std::uint32_t k = 0; k < n; ++k)
            putEntry(r.target(k), r.rate(k));
    }
    // The reward record of `state`: per variable its impulse reward, then its
    // rate reward (the order of the .var file). Ascending states within a part.
    void record(std::uint32_t state, const double* impulseRatePairs);
    // Writes the trailer, then the run's state count and the completion mark
    // into the header, and closes the file.
    void finish(std::uint64_t totalStates);
    // The file being written (empty before open).
    const std::string& fileName() const { return Name; }
    bool isOpen() const { return File != nullptr; }

private:
    // The rate as the text form's digits denote it, through a small cache: a
    // model has few distinct rates, and the rounding (format, parse) is slow.
    double roundedRate(double rate);
    // A row's tag, state and count, then each of its n entries.
    void beginRow(std::uint32_t state, std::uint32_t n);
    void putEntry(std::uint32_t target, double rate) {
        const double rounded = roundedRate(rate);
        put(&target, 4);
        put(&rounded, 8);
    }
    void put(const void* bytes, std::size_t count);
    void flushBuffer();
    [[noreturn]] void fail(const char* what);

    std::string Name;                  // the part's file name
    std::FILE* File = nullptr;         // owned; open between open() and finish()
    std::vector<unsigned char> Buffer; // bytes not yet handed to File
    std::uint32_t Variables = 0;       // reward variables per record
    std::uint64_t Rows = 0;            // rows written
    std::uint64_t Records = 0;         // records written
    std::uint32_t LastRow = 0;         // state of the last row, 0 before the first
    std::uint32_t LastRecord = 0;      // state of the last record, 0 before the first
    std::vector<double> Scratch;       // the record's values, rounded
    static constexpr std::size_t CacheSize = 256;
    double CacheIn[CacheSize] = {};  // rates rounded lately, by a hash of their bits
    double CacheOut[CacheSize] = {}; // their rounded values (0 rounds to 0: empty slots hold)
};
