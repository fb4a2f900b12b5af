#pragma once
// The one kind of failure the solver reports for bad input: a message that names
// the file and, where there is one, the line.

#include <cstdint>
#include <stdexcept>
#include <string>

namespace gensolver {

class InputError : public std::runtime_error {
public:
    // "<file>:<line>: <what>"
    InputError(const std::string& file, std::uint64_t line, const std::string& what);
    // "<file>: <what>", for faults of the file as a whole (cannot open, cannot read).
    InputError(const std::string& file, const std::string& what);
};

} // namespace gensolver
