#pragma once
// Reads the .arm file (the rate rows of every state) into a RateMatrix, in two
// passes over the file: the first counts the transitions into each state and
// checks the layout, the second fills the arrays. The matrix is thus built in
// place at its final size, about 12 bytes per transition.

#include "methods/Model.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace gensolver {

// The state count of line 2. Throws InputError for a missing file, a blank count
// (the generator leaves it blank until its run has finished) or a bad header.
std::uint32_t readArmStateCount(const std::string& path);

// The whole file. When a variable has impulses, its impulseRate is filled from
// the rows (and its impulse vector released). Throws InputError naming the line
// of the first fault: a row out of order, a target beyond the count, a rate that
// is negative or not finite, a file that ends early or goes on after the last row.
// `beside`, when given, runs while the first pass counts (on a second thread
// where the solver may use one, else before it) and may fill `rewards`, which
// only the second pass reads; its exception is the one reported when both fail.
// A file of `twoPartsFrom` bytes or more is read by two threads where the solver
// may use two, each walking about half of the rows: the same matrix, the same
// faults reported at the same lines.
constexpr std::uint64_t kArmTwoPartsFrom = std::uint64_t{32} << 20;
RateMatrix readArm(const std::string& path, std::uint32_t states, std::vector<Rewards>& rewards,
                   const std::function<void()>& beside = {},
                   std::uint64_t twoPartsFrom = kArmTwoPartsFrom);

// Walks every row of the file, checked as readArm checks it, calling
// entry(context, from, to, rate) for each transition (states numbered from 0).
using ArmEntry = void (*)(void* context, std::uint32_t from, std::uint32_t to, double rate);
void walkArm(const std::string& path, std::uint32_t states, ArmEntry entry, void* context);

} // namespace gensolver
