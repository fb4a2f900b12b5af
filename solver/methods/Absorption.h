#pragma once
// Absorption from state 1 (index 0): whether the chain reaches a state with no
// outgoing rate, with what probability, and the expected time it spends in each
// state before, x (-Q_TT) = e_1 over the transient states T (those reachable from
// state 1 that can reach an absorbing state). Accumulated rewards until absorption
// are x . w for any per-state earning rate w, each with a bound from the residual
// or, where tighter, from the rounding errors of the elimination.

#include "methods/RateMatrix.h"
#include "methods/SparseElimination.h"

#include <cstdint>
#include <string>
#include <vector>

namespace gensolver {

// What a solve's bounds are chosen for: the times (and the accumulated values
// from them), or only the probabilities of reaching the absorbing states.
enum class AbsorptionBound { Times, Probabilities };

// How the times are solved for: by sparse elimination, whose fill grows with
// the chain's dimensions; by BiCGSTAB with ILU(0), whose bounds rest on the
// residual alone; or (Auto) by the elimination within a budget, else by
// BiCGSTAB where it reaches a relative bound of 1e-12, else by the elimination
// within the caller's budget after all.
enum class AbsorptionMethod { Auto, Elimination, Iterative };

class Absorption {
public:
    enum class Outcome {
        Certain,    // every state reachable from state 1 can reach an absorbing state
        NotCertain, // a closed class without absorbing states is reachable too
        Unreachable // no absorbing state is reachable from state 1
    };

    Outcome outcome = Outcome::Unreachable;
    std::uint32_t absorbing = 0;   // absorbing states reachable from state 1
    std::uint32_t transient = 0;   // states in T
    std::uint64_t factorSize = 0;  // entries of the elimination's factors
    std::uint32_t refinements = 0; // refinement steps of the solve for x
    bool iterative = false;        // solved by BiCGSTAB, not by elimination
    std::uint64_t iterations = 0;  // BiCGSTAB iterations over all solves, when iterative
    // The bounds come from the rounding errors of the elimination's first solve
    // (tighter there than the residual's), which is then the solution given.
    bool byRounding = false;
    double probability = 0.0;      // of being absorbed, from state 1
    double probabilityBound = 0.0; // proven bound on its error
    // Proven bound on the sum over the absorbing states of the errors of x . (the
    // rates into each), from x's error alone (the rounding of those sums aside).
    double eachBound = 0.0;
    double longestMean = 0.0;      // upper bound of the mean time to leave T from any state of T
    std::vector<double> time;      // per chain state, expected time spent there before absorption
    std::vector<double> timeLow;   // per chain state, the low-order part of time (double-double)

    // Expected reward earned until absorption at the per-state rate w, and a proven
    // bound on its error. Only meaningful when outcome is Certain.
    double accumulated(const std::vector<double>& w, double& bound) const;
    // e.g. "sparse elimination, 2 refinements"
    std::string method() const;

private:
    friend Absorption solveAbsorption(const RateMatrix& m, const std::vector<char>& absorbing,
                                      EliminationBudget budget, bool reorder,
                                      AbsorptionBound boundFor, AbsorptionMethod method);
    // Per chain state i in T: the bound |r_i| on the residual of x times an upper
    // bound of the mean time to absorption from i, or the bound on |x_i - x*_i|
    // from the roundings; their sum bounds |x - x*| . |w| for |w| <= 1.
    std::vector<double> weight_;
    // With the roundings' bounds, where the elimination went below the normal
    // range: a bound on |x(A) - x(A + E)| . |w| for |w| <= 1 (see slack()).
    double perturbed_ = 0.0;
};

Absorption solveAbsorption(const RateMatrix& m, AbsorptionMethod method = AbsorptionMethod::Auto);
// The same with the states marked in absorbing (one per chain state) taken as
// absorbing whatever their rates: the time spent in each other state before
// reaching any of them, as where the rates out of them were removed. The marked
// states must be a union of closed classes (nothing else is reached through
// them). Throws EliminationOverBudget where the elimination exceeds budget. With
// reorder, the states are eliminated in the state order where that fills in
// little (within stateOrderBudget, EliminationOrder.h), else in
// fillReducingOrder; without, in the state order. With boundFor
// Probabilities, the mean times are not solved for (longestMean stays 0), and
// the bound of the probabilities (eachBound) picks the solution given, the
// times' weights then not bounding accumulated values. method Auto takes the
// iterative solves where the elimination would exceed the smaller of budget
// and its own (and throws only where the last resort, the elimination within
// budget, exceeds it).
Absorption solveAbsorption(const RateMatrix& m, const std::vector<char>& absorbing,
                           EliminationBudget budget, bool reorder, AbsorptionBound boundFor,
                           AbsorptionMethod method = AbsorptionMethod::Elimination);

} // namespace gensolver
