#pragma once
// Reads the .imp file: one header line per performance variable, then per state
// its number and, per variable, the rate at which it earns impulses there.

#include "methods/Model.h"

#include <cstdint>
#include <string>
#include <vector>

namespace gensolver {

// Sets each variable's impulseRate from the file (left empty when every rate is
// 0) in place of the impulses of .var, which it drops. The header must name the
// variables of the .pvtype file in the same order and the records must be
// states 1 .. states in order; throws InputError otherwise.
void readImp(const std::string& path, const std::vector<Variable>& variables, std::uint32_t states,
             std::vector<Rewards>& rewards);

} // namespace gensolver
