#include "read/InputError.h"

namespace gensolver {

InputError::InputError(const std::string& file, std::uint64_t line, const std::string& what)
    : std::runtime_error(file + ":" + std::to_string(line) + ": " + what) {}

InputError::InputError(const std::string& file, const std::string& what)
    : std::runtime_error(file + ": " + what) {}

} // namespace gensolver
