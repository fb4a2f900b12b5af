#pragma once
// The implicit Euler sub-step of a large chain solved iteratively: y (I - g Q) = b
// by BiCGSTAB with ILU(0), without a factorisation of the chain. The system is
// B x = b / g with B = (1/g) I + diag(exit rates) - R^T (R the rates), which is
// the transposed sub-step; one copy of its off-diagonal part serves every g, and
// one ILU(0) factorisation per g is kept for the g asked most recently.

#include "methods/IluPreconditioner.h"
#include "methods/Parallel.h"
#include "methods/RateMatrix.h"
#include "methods/SparseSystem.h"
#include "methods/StepFactorCache.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace gensolver {

class ImplicitStepSolver {
public:
    // cached: ILU(0) factorisations kept at once (one per sub-step length).
    ImplicitStepSolver(const RateMatrix& m, std::size_t cached);
    ImplicitStepSolver(const ImplicitStepSolver&) = delete;
    ImplicitStepSolver& operator=(const ImplicitStepSolver&) = delete;

    // Replaces y by y (I - g Q)^-1, iterating from y itself, until the 1-norm of
    // the error is at most `target`, the residual reaches the rounding of y, or
    // the iteration stops making progress.
    // Returns a bound on the 1-norm of the error of the result: (I - g Q)^-1 has
    // nonnegative entries and rows summing to 1, so an error e of x with residual
    // r = b / g - B x satisfies |e|_1 = |r^T g (I - g Q)^-1|_1 <= g |r|_1, r
    // recomputed from x in long double. Where the rounding of x limits r, the
    // bound grows with g times the exit rates.
    double solve(double g, std::vector<double>& y, double target);
    // BiCGSTAB iterations over all solves so far.
    std::uint64_t iterations() const { return iterations_; }
    // ILU(0) factorisations made so far.
    std::uint64_t factorisations() const { return factors_.made(); }

private:
    // Sets the system's diagonal to exit rates + 1/g.
    void shift(double g);
    const IluPreconditioner& factor(double g);

    Parallel& pool_;
    std::unique_ptr<SparseSystem> system_; // B for the g of shifted_
    std::vector<double> exit_;             // per state, its exit rate
    double shifted_ = 0.0;                 // the g the system's diagonal holds
    std::vector<double> rhs_, x_;
    const std::vector<double> noWeight_; // an empty weight: plain 1-norm of the residual
    StepFactorCache<IluPreconditioner> factors_;
    std::uint64_t iterations_ = 0;
};

} // namespace gensolver
