#pragma once
// The experiments a study runs: a list such as "0,3,5-7" read against the number of
// experiments that the model executable has.

#include <string>
#include <vector>

namespace genstudies {

// The experiment numbers that `text` names, ascending and each once: numbers and
// ranges "a-b" (a <= b) separated by commas, each from 0 to count - 1. Throws
// std::invalid_argument naming the item at fault.
std::vector<int> parseSelection(const std::string& text, int count);

// Every experiment, 0 to count - 1.
std::vector<int> allExperiments(int count);

} // namespace genstudies
