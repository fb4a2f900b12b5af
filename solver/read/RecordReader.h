#pragma once
// RecordReader: reads a file of per-state records as gen writes them (.var,
// .imp and .dip): a header with one line per performance variable, in .pvtype
// order, then `count` records, each a state number followed by values, then
// nothing but blank lines. In .var and .imp the records are those of states
// 1 .. count in order; in .dip those of the .dac file's states. Every fault is
// an InputError naming the file and the line.

#include "methods/Model.h"
#include "read/LineReader.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace gensolver {

class RecordReader {
public:
    // Opens `path` and checks that its header names `variables`; `states`
    // records are expected, as many as `source` (the file that fixes the
    // records, for messages) has.
    RecordReader(const std::string& path, const std::vector<Variable>& variables,
                 std::uint32_t states, const char* source = ".arm");
    RecordReader(const RecordReader&) = delete;
    RecordReader& operator=(const RecordReader&) = delete;
    RecordReader(RecordReader&&) = delete;
    RecordReader& operator=(RecordReader&&) = delete;

    // Reads the number line of the record of `state`, which must be next.
    void beginRecord(std::uint32_t state) { beginRecord(state, state); }
    // Reads the number line of record `record` (from 1), which must name `state`.
    void beginRecord(std::uint32_t record, std::uint32_t state);
    // The next value of the record of `state`: a finite number, or a fault
    // that names it as `what`.
    double value(const char* what, std::uint32_t state);
    // Checks that only blank lines follow the last record.
    void end();

private:
    LineReader In;         // the file
    std::uint32_t States;  // records expected
    const char* Source;    // the file that fixes the records, for messages
    std::string_view Line; // the line last read (a view into In's buffer)
};

} // namespace gensolver
