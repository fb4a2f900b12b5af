#include "methods/Absorption.h"

#include "methods/CompensatedSum.h"

#include "methods/Bicgstab.h"
#include "methods/Components.h"
#include "methods/EliminationOrder.h"
#include "methods/IluPreconditioner.h"
#include "methods/Parallel.h"
#include "methods/SparseElimination.h"
#include "methods/SparseSystem.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <utility>

namespace gensolver {

namespace {

constexpr double kUnit = std::numeric_limits<double>::epsilon() / 2; // unit roundoff
// The smallest positive double, added to a product that may have been rounded
// below the normal range so that it still bounds from above.
constexpr double kTinyProduct = 0x1p-1074;
constexpr std::uint32_t kOutside = UINT32_MAX;
constexpr std::uint32_t kMaxRefinements = 8;

// The transient set, its local numbering and the chain's rates by source.
struct Sets {
    std::vector<std::uint32_t> states; // T in ascending order
    std::vector<std::uint32_t> local;  // per chain state, its index in T or kOutside
    std::vector<char> absorbing;       // per chain state: reachable and without exit rate
    bool startReaches = false;         // state 1 can reach an absorbing state
    bool certain = true;               // every reachable state can reach one
};

// absorbing: per chain state, 1 where it counts as absorbing whatever its rates
// (empty: the states without exit rate).
Sets findSets(const RateMatrix& m, const std::vector<char>& absorbing) {
    const std::uint32_t n = m.states();
    auto absorbs = [&](std::uint32_t j) {
        return absorbing.empty() ? m.exitRate[j] == 0.0 : absorbing[j] != 0;
    };
    Sets s;
    // Backwards from the absorbing states along the stored (by target) rates.
    std::vector<char> reaches(n, 0);
    std::vector<std::uint32_t> queue;
    for (std::uint32_t j = 0; j < n; ++j)
        if (absorbs(j)) {
            reaches[j] = 1;
            queue.push_back(j);
        }
    for (std::size_t q = 0; q < queue.size(); ++q) {
        const std::uint32_t j = queue[q];
        for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
            if (m.rate[e] > 0.0 && !reaches[m.source[e]] && !absorbs(m.source[e])) {
                reaches[m.source[e]] = 1;
                queue.push_back(m.source[e]);
            }
    }
    // Forwards from state 1. Transitions stored with rate 0 (a rate that came
    // out 0) lead nowhere, here and above: an absorbing state may list some.
    std::vector<char> reached(n, 0);
    for (const std::uint32_t j : breadthFirstOrder(m))
        reached[j] = 1;
    s.startReaches = reaches[0] != 0;
    s.local.assign(n, kOutside);
    s.absorbing.assign(n, 0);
    for (std::uint32_t j = 0; j < n; ++j) {
        if (!reached[j])
            continue;
        s.certain = s.certain && reaches[j];
        if (absorbs(j)) {
            s.absorbing[j] = 1;
        } else if (reaches[j]) {
            s.local[j] = static_cast<std::uint32_t>(s.states.size());
            s.states.push_back(j);
        }
    }
    return s;
}

// Solves x A = b (left) or A m = c (right) over T, A = -Q_TT, in T's local
// numbering.
class SetSolver {
public:
    SetSolver() = default;
    SetSolver(const SetSolver&) = delete;
    SetSolver& operator=(const SetSolver&) = delete;
    virtual ~SetSolver() = default;
    // The first solve, of a right-hand side not negative; error receives per
    // entry a bound on its distance from the exact solution, infinity where
    // the method has none of its own (the residual then bounds it).
    virtual void first(bool left, std::vector<double>& v, std::vector<double>& error) const = 0;
    // A correction's solve, for iterative refinement: v is overwritten by an
    // approximate solution.
    virtual void correct(bool left, std::vector<double>& v) const = 0;
    // Per state, how far the factors' rates may lie from A's (see
    // SparseElimination::slack); empty where the solves use A itself.
    virtual const std::vector<double>& slack() const = 0;
    // Whether first()'s error bounds can be finite (the elimination's, from its
    // roundings).
    virtual bool roundingBounds() const = 0;
};

class EliminationSolver : public SetSolver {
public:
    EliminationSolver(const RateMatrix& m, const Sets& s, EliminationBudget budget)
        : lu_(m, s.states, s.local, budget) {}
    void first(bool left, std::vector<double>& v, std::vector<double>& error) const override {
        const std::size_t n = v.size();
        std::vector<std::uint32_t> counts(n, 0);
        std::vector<double> absolute;
        left ? lu_.solveLeft(v, counts, absolute) : lu_.solveRight(v, counts, absolute);
        error.resize(n);
        for (std::size_t k = 0; k < n; ++k) {
            const double e = lu_.relativeErrorBesideSlack(counts[k]);
            // Below the normal range, the relative part is taken of x^ + absolute,
            // which bounds x, and over 1 - e, where it is taken of x.
            error[k] = std::isinf(e)        ? e
                       : absolute[k] == 0.0 ? v[k] * e
                                            : ((v[k] + absolute[k]) * e / (1.0 - e) + absolute[k]) *
                                                  (1.0 + 4.0 * kUnit);
        }
    }
    void correct(bool left, std::vector<double>& v) const override {
        left ? lu_.solveLeft(v) : lu_.solveRight(v);
    }
    const std::vector<double>& slack() const override { return lu_.slack(); }
    bool roundingBounds() const override { return true; }
    std::uint64_t entries() const { return lu_.entries(); }

private:
    SparseElimination lu_;
};

// BiCGSTAB preconditioned by ILU(0) on B = A^T (a SparseSystem over T): x A = b
// is B x^T = b^T, A m = c the transposed system. Nothing bounds its solutions
// but their residuals, which the refinement computes exactly; so each solve
// only has to shrink its residual well. Needs no memory beyond the rates and
// the preconditioner, where the elimination's fill grows with the chain's
// dimensions.
class IterativeSolver : public SetSolver {
public:
    IterativeSolver(const RateMatrix& m, const Sets& s) : pool_(sharedPool()) {
        const std::uint32_t n = static_cast<std::uint32_t>(s.states.size());
        system_.member = s.states;
        system_.diagonal.resize(n);
        system_.b.assign(n, 0.0);
        system_.start.assign(std::size_t{n} + 1, 0);
        std::vector<std::pair<std::uint32_t, double>> row;
        for (std::uint32_t k = 0; k < n; ++k) {
            const std::uint32_t j = s.states[k];
            system_.diagonal[k] = m.exitRate[j];
            for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
                if (s.local[m.source[e]] != kOutside) {
                    system_.column.push_back(s.local[m.source[e]]);
                    system_.rate.push_back(m.rate[e]);
                }
            const std::uint64_t end =
                sortRow(system_.start[k], system_.column.size(), system_.column, system_.rate, row);
            system_.column.resize(end);
            system_.rate.resize(end);
            system_.start[std::size_t{k} + 1] = end;
        }
        ilu_ = std::make_unique<IluPreconditioner>(pool_, system_);
    }
    bool ok() const { return ilu_->ok(); }
    std::uint64_t iterations() const { return iterations_; }

    void first(bool left, std::vector<double>& v, std::vector<double>& error) const override {
        solve(left, v, kFirstTarget);
        error.assign(v.size(), std::numeric_limits<double>::infinity());
    }
    void correct(bool left, std::vector<double>& v) const override {
        solve(left, v, kCorrectionTarget);
    }
    const std::vector<double>& slack() const override { return none_; }
    bool roundingBounds() const override { return false; }

private:
    // Residuals relative to the right-hand side's largest entry that end a
    // solve: the first solve's is what the refinement would otherwise have to
    // make up; a correction's is its gain per refinement.
    static constexpr double kFirstTarget = 1e-13;
    static constexpr double kCorrectionTarget = 1e-8;
    static constexpr std::uint64_t kMaxIterations = 5000;
    // The solve for x starts from state 1's spike: on a ring of four buffers of
    // 15 places each, its residual first fell after 33 iterations and met its
    // target after 66.
    static constexpr std::uint64_t kPatience = 200;

    void solve(bool left, std::vector<double>& v, double target) const {
        const std::vector<double> rhs = v;
        double largest = 0.0;
        for (const double r : rhs)
            largest = std::max(largest, std::fabs(r));
        v.assign(rhs.size(), 0.0);
        if (largest == 0.0)
            return;
        left ? ilu_->apply(pool_, rhs, v) : ilu_->applyTransposed(pool_, rhs, v);
        const std::vector<double> none;
        KrylovProblem problem{&system_, ilu_.get(),       !left, &rhs,
                              &none,    target * largest, true,  kMaxIterations};
        problem.patience = kPatience;
        const KrylovResult r = bicgstab(pool_, problem, v);
        iterations_ += r.iterations;
    }

    Parallel& pool_;
    SparseSystem system_;
    std::unique_ptr<IluPreconditioner> ilu_;
    std::vector<double> none_;
    mutable std::uint64_t iterations_ = 0;
};

// A solution over T kept in double-double (hi + lo), refined until its residual
// stops shrinking; residualBound holds per state a bound on |residual|. first is
// the solve before any refinement, and firstError per state a bound on its error
// relative to the exact solution from its rounding counts (infinity where none).
struct Refined {
    std::vector<double> hi, lo, residualBound;
    std::vector<double> first, firstError;
    std::uint32_t steps = 0;
};

// Residual of x A = e_1 (left) or of A m = 1 (right), A = -Q_TT, with the exit
// rates taken as sums of the rates so that nothing cancels before the sum.
void residual(const RateMatrix& m, const Sets& s, const Refined& v, bool left,
              std::vector<double>& r, std::vector<double>& bound) {
    std::vector<Accumulator> acc(s.states.size());
    if (left)
        acc[s.local[0]].add(1.0);
    else
        for (Accumulator& a : acc)
            a.add(1.0);
    for (std::uint32_t j = 0; j < m.states(); ++j) {
        const std::uint32_t lj = s.local[j];
        for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e) {
            const std::uint32_t li = s.local[m.source[e]];
            if (li == kOutside)
                continue;
            acc[li].addProduct(-v.hi[li], -v.lo[li], m.rate[e]);
            if (lj == kOutside)
                continue;
            if (left)
                acc[lj].addProduct(v.hi[li], v.lo[li], m.rate[e]);
            else
                acc[li].addProduct(v.hi[lj], v.lo[lj], m.rate[e]);
        }
    }
    for (std::size_t k = 0; k < acc.size(); ++k) {
        r[k] = acc[k].value();
        bound[k] = std::fabs(r[k]) + acc[k].error();
    }
}

// Solves, then refines while the weighted residual sum(bound * weight) at least
// halves (weight empty: the largest bound).
Refined refine(const RateMatrix& m, const Sets& s, const SetSolver& solver, bool left,
               const std::vector<double>& weight) {
    const std::size_t n = s.states.size();
    Refined v;
    v.hi.assign(n, left ? 0.0 : 1.0);
    if (left)
        v.hi[s.local[0]] = 1.0;
    solver.first(left, v.hi, v.firstError);
    v.first = v.hi;
    v.lo.assign(n, 0.0);
    v.residualBound.assign(n, 0.0);
    std::vector<double> r(n);
    double previous = std::numeric_limits<double>::infinity();
    for (;;) {
        residual(m, s, v, left, r, v.residualBound);
        double measure = 0.0;
        for (std::size_t k = 0; k < n; ++k)
            measure = weight.empty() ? std::max(measure, v.residualBound[k])
                                     : measure + v.residualBound[k] * weight[k];
        if (measure == 0.0 || !(measure < previous / 2) || v.steps == kMaxRefinements)
            break;
        previous = measure;
        solver.correct(left, r);
        for (std::size_t k = 0; k < n; ++k) {
            const double sum = v.hi[k] + r[k];
            const double b = sum - v.hi[k];
            const double low = v.lo[k] + (v.hi[k] - (sum - b)) + (r[k] - b);
            v.hi[k] = sum + low;
            v.lo[k] = low - (v.hi[k] - sum);
        }
        ++v.steps;
    }
    return v;
}

// What the elimination may cost before the iterative solves are tried instead
// (within the caller's budget): 2^24 entries of fill (about 200 MB) and 2^30
// rates folded (some seconds). A chain whose states are the points of a grid
// of several dimensions fills far beyond that: a ring of four buffers of 15
// places each (50,625 states) ran for over ten minutes and 2 GB, where the
// iterative solves take seconds.
EliminationBudget absorptionBudget(const EliminationBudget& caller) {
    EliminationBudget b;
    b.fill = std::min<std::uint64_t>(caller.fill, std::uint64_t{1} << 24);
    b.folds = std::min<std::uint64_t>(caller.folds, std::uint64_t{1} << 30);
    b.scans = std::min<std::uint64_t>(caller.scans, std::uint64_t{1} << 32);
    return b;
}

// stateOrderBudget (EliminationOrder.h) for T, within the caller's budget.
EliminationBudget stateOrderBudget(const RateMatrix& m, const Sets& s,
                                   const EliminationBudget& caller) {
    std::uint64_t transitions = 0;
    for (const std::uint32_t j : s.states)
        for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
            transitions += s.local[m.source[e]] != kOutside ? 1 : 0;
    const EliminationBudget own = gensolver::stateOrderBudget(transitions, s.states.size());
    EliminationBudget b;
    b.fill = std::min(caller.fill, own.fill);
    b.folds = std::min(caller.folds, own.folds);
    b.scans = std::min(caller.scans, own.scans);
    return b;
}

// The symmetric elimination's count (EliminationOrder.h) is at least the
// elimination's own, and on the stiff and ring models at most 1.25 times it: the
// elimination is tried unless the count passes four times its budget, where it
// would all but surely run over after spending the budget's time to find so.
// Where the count misjudges a chain, BiCGSTAB answers first, its values kept
// only where they are bounded to 1e-12 of themselves, and the elimination
// follows where it misses. The count stops at that cap.
constexpr double kCountMargin = 4.0;

EliminationBudget expectedCap(const EliminationBudget& budget) {
    auto times = [](std::uint64_t v) {
        return v > UINT64_MAX / 4 ? UINT64_MAX : static_cast<std::uint64_t>(kCountMargin) * v;
    };
    EliminationBudget cap;
    cap.fill = times(budget.fill);
    cap.folds = times(budget.folds);
    return cap;
}

bool likelyWithin(const EliminationCost& cost, const EliminationBudget& budget) {
    return cost.fill <= kCountMargin * static_cast<double>(budget.fill) &&
           cost.folds <= kCountMargin * static_cast<double>(budget.folds);
}

// The relative bound the iterative solves must reach for their values to be
// given: what the elimination gives on the chains it can factor, and what the
// solver asks of every other value by default.
constexpr double kIterativeAccepted = 1e-12;

bool accepted(const Absorption& a, AbsorptionBound boundFor) {
    if (!(a.eachBound <= kIterativeAccepted))
        return false;
    if (boundFor == AbsorptionBound::Probabilities)
        return true;
    if (a.outcome == Absorption::Outcome::NotCertain && !(a.probabilityBound <= kIterativeAccepted))
        return false;
    // The mean time to absorption from state 1, and through it the bounds
    // of every value until absorption (they share the weights).
    std::vector<double> ones(a.time.size(), 1.0);
    double bound = 0.0;
    const double time = a.accumulated(ones, bound);
    return bound <= kIterativeAccepted * time;
}

} // namespace

double Absorption::accumulated(const std::vector<double>& w, double& bound) const {
    Accumulator sum;
    double largest = 0.0;
    double weighted = perturbed_;
    double terms = 0.0;
    for (std::size_t j = 0; j < time.size(); ++j) {
        if (time[j] == 0.0 && timeLow[j] == 0.0)
            continue;
        sum.addProduct(time[j], timeLow[j], w[j]);
        largest = std::max(largest, std::fabs(w[j]));
        weighted += weight_[j];
        ++terms;
    }
    // |x - x*| . |w| <= |r| A^{-1} |w| <= max|w| |r| A^{-1} 1; nothing when w is 0
    // (weighted may be infinite, see solveAbsorption). The sum of the weights, all
    // of them not negative, is low by at most (terms + 1) u of itself.
    bound =
        (largest > 0.0 ? largest * weighted * (1.0 + (terms + 4.0) * kUnit) : 0.0) + sum.error();
    return sum.value();
}

std::string Absorption::method() const {
    if (iterative)
        return "BiCGSTAB+ILU(0), " + std::to_string(iterations) + " iterations, " +
               std::to_string(refinements) + " refinement" + (refinements == 1 ? "" : "s");
    if (byRounding)
        return "sparse elimination, bound from its rounding";
    return "sparse elimination, " + std::to_string(refinements) + " refinement" +
           (refinements == 1 ? "" : "s");
}

Absorption solveAbsorption(const RateMatrix& m, AbsorptionMethod method) {
    return solveAbsorption(m, {}, {}, true, AbsorptionBound::Times, method);
}

Absorption solveAbsorption(const RateMatrix& m, const std::vector<char>& absorbing,
                           EliminationBudget budget, bool reorder, AbsorptionBound boundFor,
                           AbsorptionMethod method) {
    const std::uint32_t n = m.states();
    const Sets s = findSets(m, absorbing);
    Absorption a;
    a.time.assign(n, 0.0);
    a.timeLow.assign(n, 0.0);
    a.weight_.assign(n, 0.0);
    for (const char b : s.absorbing)
        a.absorbing += b ? 1 : 0;
    a.transient = static_cast<std::uint32_t>(s.states.size());
    if (!s.startReaches) {
        a.outcome = Absorption::Outcome::Unreachable;
        return a;
    }
    a.outcome = s.certain ? Absorption::Outcome::Certain : Absorption::Outcome::NotCertain;
    a.probability = 1.0;
    if (s.states.empty())
        return a; // state 1 is absorbing

    // The solution and its bounds from one method's solves (s: T in the
    // method's numbering).
    auto solveBy = [&](const Sets& s, const SetSolver& solver, Absorption a) {
        double totalSlack = 0.0;
        for (const double a : solver.slack())
            totalSlack += a;
        totalSlack *= 1.0 + static_cast<double>(s.states.size()) * kUnit;
        std::vector<double> upper;
        if (boundFor == AbsorptionBound::Times) {
            // Mean times to absorption m from every state of T, with an upper bound:
            // for s = 1 - A m, m* = m + A^{-1} s <= m + max|s| m*, so m* <= m / (1 -
            // max|s|).
            const Refined mean = refine(m, s, solver, false, {});
            // Mean times or residuals that overflowed (intermediate values of the
            // solve beyond the range of a double, on chains whose mean times near it)
            // leave no finite bound.
            double delta = 0.0;
            for (std::size_t k = 0; k < mean.hi.size(); ++k) {
                const double b = mean.residualBound[k];
                if (!std::isfinite(b) || !std::isfinite(mean.hi[k]) || !std::isfinite(mean.lo[k]))
                    delta = std::numeric_limits<double>::infinity();
                else
                    delta = std::max(delta, b);
            }
            // The first solve's rounding counts give a second upper bound, which holds
            // however ill-conditioned the chain (a mean time of 1e23 behind rates of
            // 1e4, where the residual can no longer be summed finely enough); the
            // smaller one is kept.
            // Where the elimination went below the normal range, that second bound
            // is of the mean times of A + E (see below): m - m'' = A^{-1} E m'', so
            // they move by at most 2 S M'' M, M <= M'' / (1 - 2 S M''), with S the
            // slack summed and M'' the largest of them.
            double largest = 0.0;
            for (std::size_t k = 0; k < mean.first.size(); ++k)
                largest = std::max(largest, mean.first[k] + mean.firstError[k]);
            const double slack = totalSlack * 2.0 * largest * (1.0 + 4.0 * kUnit);
            const double shift =
                totalSlack == 0.0 ? 0.0
                : slack < 0.5 ? largest * slack / (1.0 - slack) * (1.0 + 4.0 * kUnit) + kTinyProduct
                              : std::numeric_limits<double>::infinity();
            upper.resize(s.states.size());
            for (std::size_t k = 0; k < upper.size(); ++k) {
                upper[k] = delta < 1.0 ? (mean.hi[k] + std::fabs(mean.lo[k])) / (1.0 - delta) *
                                             (1.0 + 4.0 * kUnit)
                                       : std::numeric_limits<double>::infinity();
                upper[k] = std::min(upper[k], (mean.first[k] + mean.firstError[k] + shift) *
                                                  (1.0 + 2.0 * kUnit));
                a.longestMean = std::max(a.longestMean, upper[k]);
            }
        }
        const Refined x = refine(m, s, solver, true, upper);
        // Where the elimination went below the normal range, its factors are those
        // of A + E (see SparseElimination::slack), and the first solve's bounds
        // those of x'' = x(A + E): x - x'' = x'' E A^{-1}. The probabilities move by
        // at most sum_k x''_k |E_k| (h = A^{-1} R <= 1: x'' E h for the rates, the
        // exit rates with them), and x . w by that times the longest mean time and
        // max|w|; each is taken twice over for the roundings that act on E
        // afterwards.
        double perturbation = 0.0;
        const std::vector<double>& slack = solver.slack();
        for (std::size_t k = 0; k < slack.size(); ++k)
            if (slack[k] > 0.0)
                perturbation +=
                    (x.first[k] + x.firstError[k]) * 4.0 * slack[k] * (1.0 + 4.0 * kUnit) +
                    kTinyProduct;
        if (perturbation > 0.0 && boundFor == AbsorptionBound::Times)
            a.perturbed_ = perturbation * a.longestMean * (1.0 + 2.0 * kUnit) + kTinyProduct;
        if (boundFor == AbsorptionBound::Times) {
            // x's error is bounded either by its residual, weighted by the mean times,
            // or by the first solve's rounding counts: the sum of the per-state bounds
            // decides.
            double residualWeight = 0.0;
            double roundingWeight = 0.0;
            for (std::size_t k = 0; k < s.states.size(); ++k) {
                // A residual of exactly 0 adds nothing, even where the mean times have
                // no finite upper bound.
                residualWeight += x.residualBound[k] > 0.0 ? x.residualBound[k] * upper[k] : 0.0;
                roundingWeight += x.firstError[k];
            }
            a.byRounding =
                solver.roundingBounds() && roundingWeight + a.perturbed_ < residualWeight;
            if (!a.byRounding)
                a.perturbed_ = 0.0;
        } else {
            // The probabilities' bounds themselves decide: the residual's sum, or the
            // rounding bounds times the rates into the absorbing states. On a chain
            // whose times are 1e140 the residual, summed in double-double, is still
            // 1e120 where the roundings bound the probabilities to 1e-12.
            double residualSum = 0.0;
            for (const double r : x.residualBound)
                residualSum += r;
            double rounding = 0.0;
            for (std::uint32_t j = 0; j < n; ++j) {
                if (!s.absorbing[j])
                    continue;
                for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
                    if (s.local[m.source[e]] != kOutside)
                        rounding += x.firstError[s.local[m.source[e]]] * m.rate[e];
            }
            a.byRounding = solver.roundingBounds() && !(residualSum <= rounding + perturbation);
        }
        a.refinements = a.byRounding ? 0 : x.steps;
        double residualSum = 0.0;
        for (std::size_t k = 0; k < s.states.size(); ++k) {
            const std::uint32_t j = s.states[k];
            if (a.byRounding) {
                a.time[j] = x.first[k];
                a.weight_[j] = x.firstError[k];
            } else {
                a.time[j] = x.hi[k];
                a.timeLow[j] = x.lo[k];
                a.weight_[j] = x.residualBound[k] > 0.0 && !upper.empty()
                                   ? x.residualBound[k] * upper[k]
                                   : 0.0;
            }
            residualSum += x.residualBound[k];
        }
        // The probability of absorption is x . (rates into absorbing states); its
        // error is at most |r| A^{-1} h with h <= 1 the absorption probabilities.
        // So is the sum of the errors of the probabilities of absorption into
        // each absorbing state, each x . (rates into it).
        Accumulator p;
        // With the roundings' bound, the error is at most the sum of x's bounds
        // times the rates into absorbing states.
        double b = 0.0;
        std::uint64_t terms = 0;
        for (std::uint32_t j = 0; j < n; ++j) {
            if (!s.absorbing[j])
                continue;
            for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e) {
                const std::uint32_t i = m.source[e];
                if (s.local[i] == kOutside)
                    continue;
                p.addProduct(a.time[i], a.timeLow[i], m.rate[e]);
                b += a.weight_[i] * m.rate[e];
                ++terms;
            }
        }
        // A sum of k terms that are not negative is low by at most (k + 1) u of itself.
        a.eachBound = (a.byRounding ? b * (1.0 + (terms + 4.0) * kUnit) + perturbation
                                    : residualSum * (1.0 + (n + 4.0) * kUnit));
        if (!s.certain) {
            a.probability = p.value();
            a.probabilityBound = a.eachBound + p.error();
        }
        return a;
    };
    // T in the elimination's order (the fill-reducing one within budget, with
    // reorder).
    auto ordered = [&](const EliminationBudget& budget) {
        Sets e = s;
        if (reorder) {
            std::size_t k = 0;
            for (const std::uint32_t j : fillReducingOrder(m, budget))
                if (e.local[j] != kOutside) {
                    e.states[k] = j;
                    e.local[j] = static_cast<std::uint32_t>(k++);
                }
        }
        return e;
    };
    auto eliminate = [&](const Sets& e, EliminationBudget budget) {
        const EliminationSolver lu(m, e, budget);
        Absorption out = a;
        out.factorSize = lu.entries();
        return solveBy(e, lu, std::move(out));
    };
    if (reorder && method != AbsorptionMethod::Iterative) {
        // The state order first, where it fills in no more than the set's own
        // transitions: a chain whose rates run forwards in its numbering fills
        // nothing there, where finding the fill-reducing order took 1.6 s at
        // 16,384 states. Giving up costs at most that little budget.
        try {
            return eliminate(s, stateOrderBudget(m, s, budget));
        } catch (const EliminationOverBudget&) {
        }
    }
    if (method == AbsorptionMethod::Elimination)
        return eliminate(ordered(budget), budget);
    if (method == AbsorptionMethod::Auto) {
        const EliminationBudget small = absorptionBudget(budget);
        const Sets e = ordered(small);
        if (likelyWithin(symmetricEliminationCost(m, e.states, e.local, expectedCap(small)),
                         small)) {
            try {
                return eliminate(e, small);
            } catch (const EliminationOverBudget&) {
                // Too much fill: the iterative solves come next.
            }
        }
    }
    {
        const IterativeSolver iterative(m, s);
        if (iterative.ok()) {
            Absorption out = a;
            out.iterative = true;
            out = solveBy(s, iterative, std::move(out));
            out.iterations = iterative.iterations();
            if (method == AbsorptionMethod::Iterative || accepted(out, boundFor))
                return out;
        } else if (method == AbsorptionMethod::Iterative) {
            throw std::runtime_error("values until absorption: the incomplete factorisation of "
                                     "the transient states' rates broke down");
        }
    }
    // The iterative solves missed what the elimination reaches: it is run
    // after all, within the caller's budget.
    return eliminate(ordered(budget), budget);
}

} // namespace gensolver
