#pragma once
// Transient analysis for stiff chains: extrapolated implicit Euler steps. One
// step of length H solves x (I - g Q)^{-n} for n = 1, 2, 3, 4, 6, 8 and 12 sub-steps
// of g = H / n, each sub-step by a sparse elimination without subtraction, and
// extrapolates the seven results to g = 0 (order 7). The distance between the last two
// extrapolations estimates the step's error and sets the next step's length, so
// the cost follows the accuracy asked, not the largest rate times the interval.
// On large chains (chooseIterativeSolves) each sub-step is solved by BiCGSTAB with
// ILU(0) instead (ImplicitStepSolver), whose residual bounds add to the estimate.

#include "methods/ImplicitStepSolver.h"
#include "methods/SparseElimination.h"
#include "methods/StepFactorCache.h"
#include "methods/Transient.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace gensolver {

class ExtrapolationSolver : public TransientMethod {
public:
    // integrands: reward vectors whose integral over time is wanted (not owned:
    // they outlive the solver).
    ExtrapolationSolver(const RateMatrix& m, std::vector<const std::vector<double>*> integrands,
                        const TransientOptions& options);
    ExtrapolationSolver(const ExtrapolationSolver&) = delete;
    ExtrapolationSolver& operator=(const ExtrapolationSolver&) = delete;

    // Throws SolveError when the step length needed falls below what double
    // precision can resolve, or when the interval takes more than
    // options.maxSteps steps.
    void advanceTo(double t) override;
    std::uint64_t steps() const override { return solves_; }
    // Before its first step the solution is the start, exactly.
    bool boundProven() const override { return accepted_ == 0 && rejected_ == 0; }
    std::string describe() const override;
    // Steps taken (accepted and rejected) so far.
    std::uint64_t macroSteps() const { return accepted_ + rejected_; }
    // Factorisations made so far (one per distinct sub-step length).
    std::uint64_t factorisations() const;
    // True when the sub-steps are solved iteratively.
    bool iterative() const { return iterative_ != nullptr; }
    // BiCGSTAB iterations so far (0 unless iterative()).
    std::uint64_t iterations() const;
    // Whether the elimination of the sub-steps stays within budget (its fill
    // does not depend on the sub-step's length, so one trial factorisation
    // tells); true for iterative solves.
    bool factorsFit(EliminationBudget budget);

private:
    // Whether one trial factorisation in the order set stays within budget.
    bool fitsIn(EliminationBudget budget);
    // The factorisation of (1/g) I - Q, from the cache or made.
    const SparseElimination& factor(double g);
    // Tries a step of length h from the current solution; on success (estimated
    // error at most tolerance) moves x_ and integrals_ and returns true. err gets
    // the error estimate either way.
    bool tryStep(double h, double tolerance, double& err, double& intErr);
    // y = y (I - g Q)^-1 by the elimination or the iterative solve; returns the
    // iterative solve's bound on the 1-norm error (0 for the elimination).
    double subStep(double g, std::vector<double>& y, double target);

    const RateMatrix& m_;
    std::vector<const std::vector<double>*> integrands_;
    // Per integrand, a power of two that brings its largest |r| near 1 (or as near
    // as 2^1023 takes it) where that lies beyond 2^+-500 (else 1): products with the solution and the step then
    // neither underflow nor overflow, and the error estimate keeps its meaning.
    std::vector<double> integrandScale_;
    std::vector<double> integrandMax_; // per integrand, max |r| times its scale
    TransientOptions options_;
    RateMatrix augmented_;              // the chain plus one state that every state leaves to
    std::vector<std::uint32_t> states_; // the chain's states in elimination order
    std::vector<std::uint32_t> local_;  // per augmented state, its position (none for the extra)
    std::vector<double> permuted_;      // a sub-step's vector in elimination order
    StepFactorCache<SparseElimination> factors_;
    std::unique_ptr<ImplicitStepSolver> iterative_; // the iterative solves, or null
    double solveError_ = 0.0; // the last step's bound from the iterative solves
    std::vector<std::vector<double>>
        table_; // the extrapolation table's rows, one per sub-step count
    std::vector<std::vector<double>> tableIntegrals_;
    double roundingPerSolve_ = 0.0;
    double h_ = 0.0; // the next step's length (0 before the first step)
    std::uint64_t solves_ = 0;
    std::uint64_t accepted_ = 0;
    std::uint64_t rejected_ = 0;
};

} // namespace gensolver
