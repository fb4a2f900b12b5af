#pragma once
// Reads the files that one generator run wrote for a stem (<path><name>): .pvtype,
// .var, .arm and, when there are, .imp and .abs. A .det file beside them means deterministic
// activities, which need another kind of solver: that is refused.

#include "methods/Model.h"
#include "read/PartReader.h"

#include <memory>
#include <string>
#include <vector>

namespace gensolver {

// Throws InputError for the first fault found.
Model readModel(const std::string& stem);

// The same model from the binary row form (<stem>.rows.0 and the parts it names)
// in place of .arm and .var; .pvtype, .imp and .abs are read as above.
Model readModelFromParts(const std::string& stem);

// Per variable, its rate rewards and first-entry impulses from the records of
// the parts, for the states [first, last) (numbered from 0). Each record must be
// in exactly one part; throws InputError naming the part at fault or the first
// state without a record. Rows are passed over undecoded (and unchecked); the
// parts are left reading every row in full.
std::vector<Rewards> readPartRecords(std::vector<std::unique_ptr<PartReader>>& parts,
                                     std::uint32_t first, std::uint32_t last);

} // namespace gensolver
