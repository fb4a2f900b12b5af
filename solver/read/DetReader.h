#pragma once
// Reads the .det file (the number of delay groups, then per group its delay and
// the states in which an activity of that delay is enabled, ended by 0) and the
// .dac file (per enabling, the state and the deterministic activity's name).

#include <cstdint>
#include <string>
#include <vector>

namespace gensolver {

struct DelayGroup {
    double delay = 0.0;
    std::vector<std::uint32_t> states; // as in the file, numbered from 1
};

// Every delay must be positive and finite and every state between 1 and
// `states`; throws InputError naming the file and line otherwise.
std::vector<DelayGroup> readDet(const std::string& path, std::uint32_t states);

// Per state (index state - 1), the name of the deterministic activity enabled in
// it, empty for none. A state named twice has two deterministic activities
// enabled, which is refused; throws InputError naming the file and line.
// `order`, when given, receives the states in the order of the file's records.
std::vector<std::string> readDac(const std::string& path, std::uint32_t states,
                                 std::vector<std::uint32_t>* order = nullptr);

} // namespace gensolver
