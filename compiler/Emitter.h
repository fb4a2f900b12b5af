#pragma once
// Emitter: writes the generated classes of a checked model, one header/source
// pair per class in the established pattern, plus GeneratedModel.cpp, the one
// file a build compiles (it includes every generated source). The text depends
// on the model alone, not on where it is written.

#include "Model.h"

#include <map>
#include <string>

// File name -> contents.
std::map<std::string, std::string> emitModel(const CheckedModel& model);
