#pragma once
// Helpers of the regenerative solver's tests: a process written as a list of
// arcs, turned into the model the solver reads.

#include "methods/RegenerativeModel.h"

#include <cstdint>
#include <vector>

namespace regentest {

// A process described by its arcs, states numbered from 0.
struct Process {
    std::uint32_t states = 0;
    std::vector<double> delays;
    std::vector<std::int32_t> group; // per state, kNoDelay when absent
    struct Arc {
        std::uint32_t from, to;
        double value; // a rate, or a branch probability for deterministic arcs
        bool deterministic;
    };
    std::vector<Arc> arcs;
};

// The model with one variable per reward vector given (named a, b, ...), of the
// given type and times.
gensolver::RegenerativeModel
modelOf(const Process& p, const std::vector<std::vector<double>>& rewards,
        gensolver::RewardType type = gensolver::RewardType::SteadyState,
        std::vector<gensolver::TimePoint> times = {{0.0, 0.0}});

} // namespace regentest
