#pragma once
// The names a model element cannot have because the generated C++ would break:
// C++ keywords, the framework's types and members, the C library's functions (for
// globals, which are C++ globals), and the suffixes the generated classes add.

#include <string>

// Why `name` cannot name a model element (a global when `global`), as the
// message of an error; empty when it can.
std::string reservedNameProblem(const std::string& name, bool global);

// True when a structure's field called `name` would hide a member of the
// structured state variable.
bool isStructVariableMember(const std::string& name);
