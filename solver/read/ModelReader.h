#pragma once
// Reads the files that one generator run wrote for a stem (<path><name>): .pvtype,
// .var, .arm and, when there are, .imp and .abs. A .det file beside them means deterministic activities,
// which need another kind of solver: that is refused.

#include "methods/Model.h"

#include <string>

namespace gensolver {

// Throws InputError for the first fault found.
Model readModel(const std::string& stem);

} // namespace gensolver
