#pragma once
// Reads the .var file: one header line per performance variable, then per state
// its number and, per variable, the impulse and the rate reward.

#include "methods/Model.h"

#include <cstdint>
#include <string>
#include <vector>

namespace gensolver {

// The header must name the variables of the .pvtype file in the same order and
// the records must be states 1 .. states in order; throws InputError otherwise.
std::vector<Rewards> readVar(const std::string& path, const std::vector<Variable>& variables,
                             std::uint32_t states);

} // namespace gensolver
