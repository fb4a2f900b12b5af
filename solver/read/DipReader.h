#pragma once
// Reads the .dip file: one header line per performance variable, then per
// enabling of a deterministic activity, in the order and with the states of the
// .dac file, the state's number and, per variable, the expected impulse that
// the activity's firing and the zero-time path after it earn.

#include "methods/Model.h"

#include <cstdint>
#include <string>
#include <vector>

namespace gensolver {

// Per variable, per state (numbered from 0): the impulse of the deterministic
// firing from the state, 0 where none is enabled; a variable's vector is empty
// when it is 0 everywhere. `enablings` are the .dac file's states (numbered
// from 1) in its order; the header must name `variables` in order. Throws
// InputError naming the file and line otherwise.
std::vector<std::vector<double>> readDip(const std::string& path,
                                         const std::vector<Variable>& variables,
                                         const std::vector<std::uint32_t>& enablings,
                                         std::uint32_t states);

} // namespace gensolver
