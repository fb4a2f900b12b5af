#pragma once
// A factorisation of A = -Q_TT, the generator restricted to a set of transient
// states, by eliminating the states one by one and folding each one's rates into
// the states that remain. Exit rates are recomputed as sums of the remaining rates
// plus the rate of leaving the set, so nothing is subtracted and the factors stay
// accurate on stiff chains. Solves x A = b and A m = c with the factors.
//
// Since nothing is subtracted, a solve for a right-hand side that is not negative
// has a relative error bound of its own, however ill-conditioned A is. A is given
// by the rates between states and each state's rate of leaving the set; by the
// matrix-tree theorem every entry of A's inverse is a ratio of two sums of products
// that take one such rate from every state but at most one, so scaling one state's
// rates by e^h, |h| <= eta, moves the entry by a factor within e^(2 eta). Each
// step of the elimination rounds the rates of the state eliminated and of the states
// with a rate into it by a few units of roundoff u: these factors multiply, and
// roundingWeight() is the sum of their exponents in units of u. The solves count
// their own roundings per entry (sums of values that are not negative, with the
// factors taken as exact), which adds to it: see relativeError().

#include "methods/RateMatrix.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace gensolver {

// What an elimination may cost where it is only tried: the rates folded (about
// its time) and the entries it adds (its memory beyond the chain's).
struct EliminationBudget {
    std::uint64_t folds = UINT64_MAX;
    std::uint64_t fill = UINT64_MAX;
    // Entries passed over to find where a fold lands (the rows of the states
    // a folded state feeds), which the folds do not count: on a chain whose
    // rows fill to thousands of entries they outweigh the folds a hundredfold.
    std::uint64_t scans = UINT64_MAX;
};
// Thrown where an elimination would exceed its budget.
struct EliminationOverBudget {};

class SparseElimination {
public:
    // states: the chain's states in the set, in elimination order (local index =
    // position); local: per chain state, its position or UINT32_MAX outside the set.
    SparseElimination(const RateMatrix& m, const std::vector<std::uint32_t>& states,
                      const std::vector<std::uint32_t>& local, EliminationBudget budget = {});
    SparseElimination(const SparseElimination&) = delete;
    SparseElimination& operator=(const SparseElimination&) = delete;
    SparseElimination(SparseElimination&&) = default;
    SparseElimination& operator=(SparseElimination&&) = default;

    // x A = b, over local indices; b is overwritten by x.
    void solveLeft(std::vector<double>& b) const;
    // A m = c, over local indices; c is overwritten by m.
    void solveRight(std::vector<double>& c) const;
    // The same for b (or c) not negative; counts (as many as b, zero) receives the
    // roundings of the solve behind each entry of the solution.
    void solveLeft(std::vector<double>& b, std::vector<std::uint32_t>& counts) const;
    void solveRight(std::vector<double>& c, std::vector<std::uint32_t>& counts) const;
    // x A = b (or A m = c) counted, where results below the normal range count
    // one rounding and their errors are carried: |x^_k - x_k| <=
    // relativeErrorBesideSlack(counts[k]) x^_k + absolute[k] (assigned), x the
    // exact solution of the factors' system (slack() says how far those are
    // from A's).
    void solveLeft(std::vector<double>& b, std::vector<std::uint32_t>& counts,
                   std::vector<double>& absolute) const;
    void solveRight(std::vector<double>& c, std::vector<std::uint32_t>& counts,
                    std::vector<double>& absolute) const;
    // Sum of the exponents of the elimination's rounding factors, in units of u.
    double roundingWeight() const { return roundingWeight_; }
    // A bound on |x^ - x| / x^ for an entry x^ of a counted solve with the given
    // count, x the exact solution; infinity where the bound means nothing, and for
    // entries that fell below the normal range of a double (flushed to zero or
    // denormal, they have no relative error bound).
    double relativeError(std::uint32_t count) const;
    // The same where the elimination went below the normal range: then the
    // factors are those of A + E, E moving each state k's rates (to the set's
    // states and out of it, the exit rate with them) by at most slack()[k] in
    // all, its relative rounding errors aside.
    double relativeErrorBesideSlack(std::uint32_t count) const;
    const std::vector<double>& slack() const { return slack_; }
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
    enum class Mode { Plain, Counted, Tracked };
    template <Mode M>
    void substitute(std::vector<double>& v, std::uint32_t* counts, double* absolute,
                    const Rows& forward, const Rows& backward) const;
    Rows upper_;               // per state, its rates to later states when eliminated
    Rows lower_;               // per state, the rates into it from later states
    std::vector<double> exit_; // per state, its exit rate when it was eliminated
    std::vector<double> slack_; // per state, the perturbation of its rates from underflows
    bool underflowed_ = false;
    double roundingWeight_ = 0.0;
};

} // namespace gensolver
