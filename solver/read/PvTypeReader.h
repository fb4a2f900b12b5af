#pragma once
// Reads the .pvtype file: the performance variables' names, reward types and
// time points; and the .abs file, which names those to report until absorption.

#include "methods/Model.h"

#include <string>
#include <vector>

namespace gensolver {

// Throws InputError naming the file and line for anything that does not parse.
std::vector<Variable> readPvType(const std::string& path);

// Reads the .abs file, which names variables of `variables` in the .pvtype file's
// form ("Version:1", "NumPV:<n>", then n lines "Name:<variable>"): per variable,
// whether it is named. Throws InputError as readPvType does, and for a name that
// is not a variable or comes twice.
std::vector<bool> readAbsorptionList(const std::string& path,
                                     const std::vector<Variable>& variables);

} // namespace gensolver
