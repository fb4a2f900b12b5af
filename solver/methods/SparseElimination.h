#pragma once
// A factorisation of A = -Q_TT, the generator restricted to a set of transient
// states, by eliminating the states one by one and folding each one's rates into
// the states that remain. Exit rates are recomputed as sums of the remaining rates
// plus the rate of leaving the set, so nothing is subtracted and the factors stay
// accurate on stiff chains. Solves x A = b and A m = c with the factors.

#include "methods/RateMatrix.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace gensolver {

class SparseElimination {
public:
    // states: the chain's states in the set, in elimination order (local index =
    // position); local: per chain state, its position or UINT32_MAX outside the set.
    SparseElimination(const RateMatrix& m, const std::vector<std::uint32_t>& states,
                      const std::vector<std::uint32_t>& local);
    SparseElimination(const SparseElimination&) = delete;
    SparseElimination& operator=(const SparseElimination&) = delete;
    SparseElimination(SparseElimination&&) = default;
    SparseElimination& operator=(SparseElimination&&) = default;

    // x A = b, over local indices; b is overwritten by x.
    void solveLeft(std::vector<double>& b) const;
    // A m = c, over local indices; c is overwritten by m.
    void solveRight(std::vector<double>& c) const;
    // Entries of both factors together (the fill-in shows as the excess over the
    // transitions inside the set).
    std::uint64_t entries() const;

private:
    using Entry = std::pair<std::uint32_t, double>;
    // One factor, rows one after another: the solves run over it many times, and
    // contiguous rows of 12 bytes an entry read faster than a list per row.
    struct Rows {
        std::vector<std::uint64_t> start; // row k is [start[k], start[k + 1])
        std::vector<std::uint32_t> index;
        std::vector<double> rate;
        Rows() = default;
        explicit Rows(const std::vector<std::vector<Entry>>& rows);
    };
    void substitute(std::vector<double>& v, const Rows& forward, const Rows& backward) const;
    Rows upper_;               // per state, its rates to later states when eliminated
    Rows lower_;               // per state, the rates into it from later states
    std::vector<double> exit_; // per state, its exit rate when it was eliminated
};

} // namespace gensolver
