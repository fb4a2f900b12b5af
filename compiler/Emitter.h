#pragma once
// Emitter: writes the generated classes of a checked model, one header/source
// pair per class in the established pattern, plus GeneratedModel.cpp, the one
// file a build compiles (it includes every generated source).

#include "Model.h"

#include <map>
#include <string>

// File name -> contents. outputDirectory is where the files will be written; it
// names the generated files in their #line directives.
std::map<std::string, std::string> emitModel(const CheckedModel& model,
                                             const std::string& outputDirectory);
