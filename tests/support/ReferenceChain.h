#pragma once
// The tests' oracle for a model's chain: its reachable states explored
// breadth-first from the initial state, independently of the model classes and
// of the generator. A test states the model's successors in the order the model
// tries its activities; states are numbered from 1 in the order they are first
// reached, which is the order in which the generator numbers them, and each row
// sums the values of the firings that reach one target.

#include "support/TestSupport.h"

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace testsupport {

// One row of a rate matrix: (target, value) in ascending target order.
using ChainRow = std::vector<std::pair<long, double>>;

// The rows of an enumerated chain, rows[i] being the row of state i + 1.
struct ReferenceChain {
    std::vector<ChainRow> rows;

    long states() const { return static_cast<long>(rows.size()); }
    // Entries of all rows: the transitions the .arm file lists.
    long transitions() const;
    // The whole .arm file the generator writes for this chain: the header with a
    // placeholder line of `blanks` blanks (63, or 8 on the deterministic path),
    // then the rows with values in scientific notation and 11 significant digits.
    std::string arm(int blanks = 63) const;
    // What a model's run should give for this chain: its counts and arm(blanks),
    // with the other result files as given.
    ExpectedRun expectedRun(std::string var, std::string pvtype, std::string det = {},
                            int blanks = 63) const;
};

// Enumerates the chain from `initial`. successors(state, number, emit) calls
// emit(target, value) or emit(target, value, impulse) once per firing of the
// state numbered `number`, in the model's activity order; a firing worth 0 is no
// transition and reaches nothing. reached(state, number, impulse) is told of
// every state as it is first reached, with the impulse of the firing that reached
// it (0 for the initial state). State needs operator<.
template <class State, class Successors, class Reached>
ReferenceChain enumerateChain(const State& initial, Successors&& successors, Reached&& reached) {
    std::map<State, long> number;
    std::vector<State> order;
    auto numberOf = [&](const State& state, double impulse) {
        auto [it, isNew] = number.emplace(state, static_cast<long>(order.size()) + 1);
        if (isNew) {
            order.push_back(state);
            reached(state, it->second, impulse);
        }
        return it->second;
    };
    numberOf(initial, 0.0);
    ReferenceChain chain;
    for (std::size_t i = 0; i < order.size(); ++i) {
        std::map<long, double> row;
        const State state = order[i];
        successors(state, static_cast<long>(i) + 1,
                   [&](const State& target, double value, double impulse = 0.0) {
                       if (value != 0.0)
                           row[numberOf(target, impulse)] += value;
                   });
        chain.rows.emplace_back(row.begin(), row.end());
    }
    return chain;
}

// An .arm file read back, its layout checked (with test failures for faults):
// the output type 1, the count, the blank placeholder line, rows in state order
// with ascending targets.
struct ArmFile {
    long states = -1; // the count of line 2
    std::vector<ChainRow> rows;

    long transitions() const;
};
ArmFile parseArm(const std::string& text);

} // namespace testsupport
