#pragma once
// Checker: resolves every name of a parsed model file, checks kinds and types,
// computes the study's values and the reward variables' time points, and finds
// the places that each C++ fragment names. Reports through Diagnostics.

#include "Ast.h"
#include "Diagnostics.h"
#include "Model.h"

// The checked model of `file`; meaningful only when no error was reported.
CheckedModel checkModel(const ModelFile& file, const std::string& fileName,
                        Diagnostics& diagnostics);

// An identifier of a C++ fragment that is not a member name (not after '.', '->'
// or '::'), with its position in the fragment's text.
struct FragmentIdentifier {
    std::string name;
    std::size_t offset;
};
std::vector<FragmentIdentifier> fragmentIdentifiers(const std::string& text);
