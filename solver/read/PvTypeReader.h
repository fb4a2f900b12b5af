#pragma once
// Reads the .pvtype file: the performance variables' names, reward types and
// time points.

#include "methods/Model.h"

#include <string>
#include <vector>

namespace gensolver {

// Throws InputError naming the file and line for anything that does not parse.
std::vector<Variable> readPvType(const std::string& path);

} // namespace gensolver
