#pragma once
// The transition rates of a chain, stored by target: for every state j the
// states i with a rate from i to j, in compressed sparse rows. Solvers gather
// along these rows (y[j] = sum x[i] * rate), which is what the transient and the
// stationary iterations need; states are numbered from 0 (state 1 of the files
// is index 0). Self-loops are not stored: they do not move probability.

#include <cstdint>
#include <vector>

namespace gensolver {

class RateMatrix {
public:
    RateMatrix() = default;
    RateMatrix(const RateMatrix&) = delete;
    RateMatrix& operator=(const RateMatrix&) = delete;
    RateMatrix(RateMatrix&&) = default;
    RateMatrix& operator=(RateMatrix&&) = default;

    std::uint32_t states() const { return static_cast<std::uint32_t>(exitRate.size()); }
    std::uint64_t transitions() const { return source.size(); }

    // Entries [start[j], start[j + 1]) of source and rate are the transitions into j.
    std::vector<std::uint64_t> start;
    std::vector<std::uint32_t> source;
    std::vector<double> rate;
    // Per state, the sum of its rates to other states.
    std::vector<double> exitRate;
};

// Builds a matrix from (from, to, rate) triples numbered from 0; used by tests and
// small tools. Self-loops are dropped, parallel entries kept.
struct Transition {
    std::uint32_t from;
    std::uint32_t to;
    double rate;
};
RateMatrix buildRateMatrix(std::uint32_t states, const std::vector<Transition>& transitions);

} // namespace gensolver
