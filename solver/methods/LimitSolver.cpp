#include "methods/LimitSolver.h"

#include "methods/Absorption.h"
#include "methods/AggregationMultigrid.h"
#include "methods/BoundedKrylov.h"
#include "methods/CompensatedSum.h"
#include "methods/Components.h"
#include "methods/EliminationOrder.h"
#include "methods/GaussSeidel.h"
#include "methods/IluPreconditioner.h"
#include "methods/LikelyState.h"
#include "methods/Parallel.h"
#include "methods/SparseElimination.h"
#include "methods/SparseSystem.h"
#include "methods/Transient.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <limits>
#include <memory>
#include <new>

#include <unistd.h>

namespace gensolver {

namespace {

// Solves x A = b on one component by elimination without subtraction: A holds
// the component's exit rates on the diagonal and minus its internal rates off it.
// Each eliminated state's rates are folded into the remaining ones (the censored
// chain), and every remaining exit rate is recomputed as the sum of its internal
// rates plus the rate of leaving the component, so no cancellation occurs. With
// closed = true (no leaving, b = 0) x is the stationary distribution, normalised
// to sum 1.
class DenseSolve {
public:
    DenseSolve(const RateMatrix& m, const Components& comps, std::uint32_t c, bool closed,
               std::vector<std::uint32_t>& local, const std::vector<double>& x)
        : size_(comps.size(c)), a_(std::size_t{size_} * size_, 0.0), leak_(size_), b_(size_, 0.0),
          exit_(size_, 0.0) {
        const std::uint32_t* members = comps.order.data() + comps.first[c];
        for (std::uint32_t k = 0; k < size_; ++k)
            local[members[k]] = k;
        for (std::uint32_t k = 0; k < size_; ++k) {
            const std::uint32_t j = members[k];
            leak_[k] = comps.leaving[j];
            if (j == 0 && !closed)
                b_[k] += 1.0;
            for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e) {
                const std::uint32_t i = m.source[e];
                if (comps.component[i] == c)
                    a_[std::size_t{local[i]} * size_ + k] += m.rate[e];
                else if (!closed)
                    b_[k] += x[i] * m.rate[e];
            }
        }
    }

    // Fills x for the component's states. Throws a SolveError where the rates
    // leave the range in which the elimination keeps its relative precision: a
    // quotient of two rates that overflows or underflows, or an exit rate so small
    // (below 2^-960) that products rounded to zero beside it would matter.
    void solve(const Components& comps, std::uint32_t c, bool closed, std::vector<double>& x) {
        const std::uint32_t n = size_;
        auto a = [&](std::uint32_t i, std::uint32_t j) -> double& {
            return a_[std::size_t{i} * n + j];
        };
        constexpr double kSmallestExit = 0x1p-960;
        bool inRange = true;
        for (std::uint32_t k = n - 1; k >= 1; --k) {
            double e = leak_[k];
            for (std::uint32_t j = 0; j < k; ++j)
                e += a(k, j);
            exit_[k] = e;
            if (!(e >= kSmallestExit && e <= std::numeric_limits<double>::max()))
                inRange = false;
            for (std::uint32_t i = 0; i < k; ++i) {
                const double f = a(i, k) / e;
                if (f == 0.0) {
                    inRange = inRange && a(i, k) == 0.0;
                    continue;
                }
                if (!(f >= std::numeric_limits<double>::min() &&
                      f <= std::numeric_limits<double>::max()))
                    inRange = false;
                for (std::uint32_t j = 0; j < k; ++j)
                    if (j != i)
                        a(i, j) += f * a(k, j);
                leak_[i] += f * leak_[k];
            }
            if (b_[k] != 0.0)
                for (std::uint32_t j = 0; j < k; ++j)
                    b_[j] += b_[k] * a(k, j) / e;
        }
        if (!closed && !(leak_[0] >= kSmallestExit))
            inRange = false;
        // Back-substitution. Values that are tiny beside others are harmless (their
        // share of the total is below any bound); a closed class whose values span
        // beyond a double's range is rescaled as it goes, the earlier values scaled
        // down (towards zero, their share) before a later one would overflow.
        constexpr double kLarge = 0x1p600;
        std::vector<double> y(n);
        y[0] = closed ? 1.0 : b_[0] / leak_[0];
        for (std::uint32_t k = 1; k < n; ++k) {
            double s = b_[k];
            for (std::uint32_t i = 0; i < k; ++i)
                s += y[i] * a(i, k);
            double v = s / exit_[k];
            while (closed && !(v <= kLarge) && std::isfinite(s) && s > 0.0) {
                for (std::uint32_t i = 0; i < k; ++i)
                    y[i] *= 1.0 / kLarge;
                s *= 1.0 / kLarge;
                v = s / exit_[k];
            }
            y[k] = v;
        }
        double total = 1.0;
        if (closed) {
            total = 0.0;
            for (const double v : y)
                total += v;
        }
        for (const double v : y)
            if (!std::isfinite(v / total))
                inRange = false;
        const std::uint32_t* members = comps.order.data() + comps.first[c];
        if (!inRange)
            throw SolveError(
                "long-run values: the rates of the " +
                std::string(closed ? "closed class" : "transient states") + " of state " +
                std::to_string(members[0] + 1) + " (" + std::to_string(n) +
                " states) span beyond the range of a double (a ratio of rates overflows or "
                "underflows); no value can be given with a bound");
        for (std::uint32_t k = 0; k < n; ++k)
            x[members[k]] = y[k] / total;
    }

private:
    std::uint32_t size_;
    std::vector<double> a_;    // a(i, j): rate from i to j inside the component
    std::vector<double> leak_; // rate of leaving the component
    std::vector<double> b_;    // right-hand side
    std::vector<double> exit_; // exit rate of state k when it was eliminated
};

// The gain in likelihood (the product of two-state balance ratios) above which
// the multigrid's reference moves from the first cycle's largest entry to where
// the balances lead: a state about as likely as the cycle's choice is no better
// a reference, and the cycle's tends to give the smaller bound.
constexpr double kClimbGain = 1e3;

struct KrylovSolve {
    std::uint64_t iterations = 0;
    double bound = std::numeric_limits<double>::infinity(); // relative 1-norm error of the
                                                            // component's part of x
    bool converged = false;                                 // bound <= tolerance
    Limit::Refusal refused = Limit::Refusal::None;          // not run, and why
};

// BiCGSTAB, preconditioned by ILU(0) or by aggregation multigrid, on the
// component's SparseSystem B y = b, with the error bound of boundedBicgstab: w =
// B^-T 1 is, for a closed class, the expected times to reach the reference state,
// for a transient component those to leave it. swept: x holds the component's
// values from sweeps given up, which point to its likely states. On return x
// holds the solution, normalised to sum 1 for a closed class, whatever the outcome.
KrylovSolve krylov(const RateMatrix& m, const Components& comps, std::uint32_t c, bool closed,
                   const LimitOptions& options, std::vector<std::uint32_t>& local,
                   std::vector<double>& x, bool swept) {
    Parallel& pool = sharedPool();
    // A closed class swept before names its reference from the sweeps' values,
    // so its system is built once, around that reference; otherwise the system
    // around the first state comes first.
    std::unique_ptr<SparseSystem> built;
    if (!(closed && swept && options.multigrid))
        built = std::make_unique<SparseSystem>(m, comps, c, closed, x, local, 0, options.multigrid);
    KrylovSolve out;
    std::unique_ptr<Preconditioner> preconditioner;
    if (options.multigrid) {
        std::unique_ptr<AggregationMultigrid> multigrid;
        // The threaded levels sweep the transposed system along its rows; the
        // finest level's are the system's, whose transposed products then run
        // on the threads too.
        auto transposeSystem = [&] {
            if (built->size() >= options.multigridThreadedFrom)
                built->transpose();
        };
        auto levels = [&] {
            transposeSystem();
            return std::make_unique<AggregationMultigrid>(*built, options.multigridCoarsest,
                                                          options.multigridThreadedFrom);
        };
        if (closed) {
            // The reference is best a likely state: the expected times to reach it
            // (w below) weigh the residual in the bound, and a rarely visited
            // reference makes them, and the range of y, huge. The sweeps given up
            // for the multigrid, or else one cycle from the first state as the
            // reference, tell roughly where the likely states are. Where the
            // guess's largest entry is far off (on chains whose probabilities
            // span more than the range of a double a cycle's far entries are
            // rounding noise), climbing the two-state balances from there finds
            // a likely state: the climb is taken when it gains more than a
            // factor kClimbGain, and the guess's choice kept otherwise.
            const std::uint32_t* members = comps.order.data() + comps.first[c];
            const std::uint32_t size = comps.size(c);
            std::uint32_t top = 0; // a state, numbered as in m
            if (swept) {
                // The largest value, the lowest-numbered state among equals.
                top = members[0];
                for (std::uint32_t k = 1; k < size; ++k) {
                    const std::uint32_t j = members[k];
                    if (x[j] > x[top] || (x[j] == x[top] && j < top))
                        top = j;
                }
            } else {
                std::vector<double> guess(built->size());
                multigrid = std::make_unique<AggregationMultigrid>(
                    *built, options.multigridCoarsest, options.multigridThreadedFrom, false);
                if (!multigrid->ok()) {
                    out.refused = Limit::Refusal::NoLevels;
                    return out;
                }
                multigrid->apply(pool, built->b, guess);
                top = built->member[static_cast<std::uint32_t>(
                    std::max_element(guess.begin(), guess.end()) - guess.begin())];
            }
            const Climb climb = climbToLikelyState(m, comps, top);
            if (climb.logGain > std::log(kClimbGain))
                top = climb.state;
            // The system numbers the members in ascending order.
            std::uint32_t reference = 0;
            for (std::uint32_t k = 0; k < size; ++k)
                reference += members[k] < top ? 1 : 0;
            if (built == nullptr || reference != 0) {
                // The old system and levels go before the new ones are built.
                multigrid.reset();
                built.reset();
                built = std::make_unique<SparseSystem>(m, comps, c, closed, x, local, reference,
                                                       true);
                multigrid = levels();
            } else {
                transposeSystem();
                multigrid->transposeLevels();
            }
        } else {
            multigrid = levels();
        }
        if (!multigrid->ok()) {
            out.refused = Limit::Refusal::NoLevels;
            return out;
        }
        multigrid->checkCycle();
        if (!multigrid->ok()) {
            out.refused = Limit::Refusal::NotContracting;
            return out;
        }
        // Built and checked, the levels no longer need the plain rows where the
        // packed ones serve: 12 bytes an entry less while BiCGSTAB runs.
        if (!multigrid->readsPlainRows())
            built->dropPlainRows();
        preconditioner = std::move(multigrid);
    } else {
        auto ilu = std::make_unique<IluPreconditioner>(pool, *built);
        if (!ilu->ok()) {
            out.refused = Limit::Refusal::IluPivot;
            return out;
        }
        preconditioner = std::move(ilu);
    }
    const SparseSystem& system = *built;
    std::vector<double> y;
    const BoundedSolve solved =
        boundedBicgstab(pool, system, *preconditioner, system.b, closed ? 0.5 : 1.0, options, y);
    out.iterations = solved.iterations;
    out.bound = solved.bound;
    out.converged = solved.converged;
    const double scale = closed && solved.total > 0.0 ? 1.0 / solved.total : 1.0;
    for (std::uint32_t k = 0; k < system.size(); ++k)
        x[system.member[k]] = y[k] * scale;
    return out;
}

// Bytes of memory the system can give without swapping: the kernel's
// MemAvailable, which counts the page cache it can drop (after reading a large
// .arm most of the memory is cache, not free), else the free pages; 0 when
// neither is known.
double availableMemory() {
    if (std::FILE* info = std::fopen("/proc/meminfo", "r")) {
        char line[256];
        unsigned long long kib = 0;
        bool found = false;
        while (!found && std::fgets(line, sizeof line, info) != nullptr)
            found = std::sscanf(line, "MemAvailable: %llu kB", &kib) == 1;
        std::fclose(info);
        if (found)
            return 1024.0 * static_cast<double>(kib);
    }
    const long pages = sysconf(_SC_AVPHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    return pages > 0 && pageSize > 0 ? static_cast<double>(pages) * static_cast<double>(pageSize)
                                     : 0.0;
}

// Whether the multigrid's solve of component c, on top of what the sweeps
// hold, fits the memory the system has free. It measured 1.5 GB more than
// Gauss-Seidel on the scaled multiprocessor of 3.8 million states and 24
// million transitions (the system and its transpose, the coarse levels, the
// larger levels' transposes and single-precision rates, BiCGSTAB's vectors); 48
// bytes per transition and 160 per state cover that with a margin.
bool multigridFits(const RateMatrix& m, const Components& comps, std::uint32_t c) {
    std::uint64_t transitions = 0;
    for (std::uint32_t at = comps.first[c]; at < comps.first[c + 1]; ++at) {
        const std::uint32_t j = comps.order[at];
        transitions += m.start[std::size_t{j} + 1] - m.start[j];
    }
    const double need = 48.0 * static_cast<double>(transitions) + 160.0 * comps.size(c);
    const double available = availableMemory();
    return available <= 0.0 || need <= available;
}

// Relative residual of a closed class: sum |(x Q)_j| / sum x_j exit_j.
double classResidual(const RateMatrix& m, const Components& comps, std::uint32_t c,
                     const std::vector<double>& x) {
    const std::uint32_t* members = comps.order.data() + comps.first[c];
    double residual = 0.0;
    double scale = 0.0;
    for (std::uint32_t k = 0; k < comps.size(c); ++k) {
        const std::uint32_t j = members[k];
        double s = 0.0;
        for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
            s += x[m.source[e]] * m.rate[e];
        residual += std::fabs(s - x[j] * m.exitRate[j]);
        scale += x[j] * m.exitRate[j];
    }
    return scale > 0.0 ? residual / scale : 0.0;
}

// What such an elimination may cost: some seconds and some hundreds of
// megabytes. A closed class's is tried before the sweeps where BiCGSTAB left no
// answer, which on polling N = 16 solve the class in 2 s: its budget is the
// smaller. The times before a class are eliminated only once the iterations
// have missed: on the stiff model at N = 200 (80,800 states) they take 0.5e9 to
// 1e9 folds and 2e9 to 4e9 scans in nested dissection order, 2.5 s, after 27 s
// of sweeps; at N = 706 (a million states) 200 s, beyond the budget.
EliminationBudget classBudget() {
    EliminationBudget budget;
    budget.folds = std::uint64_t{1} << 27;
    budget.fill = std::uint64_t{1} << 25;
    budget.scans = std::uint64_t{1} << 30;
    return budget;
}

EliminationBudget transientBudget() {
    EliminationBudget budget = classBudget();
    budget.folds = std::uint64_t{1} << 31;
    budget.scans = std::uint64_t{1} << 33;
    return budget;
}

// The stationary distribution of closed component c by sparse elimination
// without subtraction, where the iterative methods missed their bound (on a
// nearly decomposable class the residual's rounding, weighted by the long
// times between its blocks, bounds nothing useful). With r the member x holds
// most mass in, and T the other members, x' (-Q_TT) = R(r, T) gives the time
// spent in each state of T between visits to r, per unit of time in r: pi is
// proportional to 1 at r and x' on T. Every x'_j has a relative error bound
// of its own from the roundings, however ill-conditioned the class (see
// SparseElimination.h), and so has their normalisation. values receives pi in
// the component's order, bound its 1-norm error; false where the elimination
// exceeds its budget or leaves no bound.
bool eliminateClass(const RateMatrix& m, const Components& comps, std::uint32_t c,
                    const std::vector<double>& x, std::vector<double>& values, double& bound) {
    const std::uint32_t* members = comps.order.data() + comps.first[c];
    const std::uint32_t size = comps.size(c);
    std::uint32_t r = members[0];
    for (std::uint32_t k = 1; k < size; ++k)
        if (x[members[k]] > x[r])
            r = members[k];
    try {
        // In a fill-reducing order: on a nearly decomposable class of 50,000
        // states in blocks of 50 the state order's fill exceeded the budget.
        std::vector<std::uint32_t> states;
        states.reserve(size - 1);
        const std::vector<std::uint32_t> order = fillReducingOrder(m, classBudget());
        for (const std::uint32_t j : order)
            if (comps.component[j] == c && j != r)
                states.push_back(j);
        std::vector<std::uint32_t> local(m.states(), UINT32_MAX);
        for (std::uint32_t k = 0; k < states.size(); ++k)
            local[states[k]] = k;
        const SparseElimination lu(m, states, local, classBudget());
        std::vector<double> time(states.size(), 0.0);
        for (std::uint32_t k = 0; k < states.size(); ++k) {
            const std::uint32_t j = states[k];
            for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
                if (m.source[e] == r)
                    time[k] += m.rate[e];
        }
        std::vector<std::uint32_t> counts(states.size(), 0);
        lu.solveLeft(time, counts);
        double worst = 0.0;
        double total = 1.0;
        for (std::uint32_t k = 0; k < states.size(); ++k) {
            worst = std::max(worst, lu.relativeError(counts[k]));
            total += time[k];
        }
        if (!(worst < 0.5) || !std::isfinite(total))
            return false;
        // Each pi_j = x'_j / (1 + sum x') is within (1 + w) / (1 - w) of its
        // exact value, w the worst relative error of the x'; the sum and the
        // quotients add their roundings.
        const double eps = std::numeric_limits<double>::epsilon();
        bound = 2.0 * worst / (1.0 - worst) + (static_cast<double>(size) + 4.0) * eps;
        values.assign(size, 0.0);
        for (std::uint32_t k = 0; k < size; ++k) {
            const std::uint32_t j = members[k];
            values[k] = j == r ? 1.0 / total : time[local[j]] / total;
        }
        return true;
    } catch (const std::bad_alloc&) {
    } catch (const EliminationOverBudget&) {
    }
    return false;
}

// Where the iterative solves of the time spent in the transient states missed
// their bound (on stiff chains these times can be 1e80 and more), the sparse
// elimination of the values until absorption, with the closed classes taken as
// absorbing, gives them with a proven bound. Its probabilities of reaching
// each class replace reach where that bound is the smaller. It is tried within
// a budget of time and memory: beyond it, the iterative answer stands.
void eliminateTransient(const RateMatrix& m, const Components& comps, const LimitOptions& options,
                        Limit& limit, std::vector<double>& reach) {
    const std::uint32_t n = m.states();
    double reached = 0.0;
    for (const double r : reach)
        reached += r;
    const double iterative = limit.errorEstimate + std::fabs(1.0 - reached);
    try {
        std::vector<char> closed(n);
        for (std::uint32_t j = 0; j < n; ++j)
            closed[j] = comps.bottom[comps.component[j]];
        const Absorption a =
            solveAbsorption(m, closed, transientBudget(), true, AbsorptionBound::Probabilities);
        // The classes' probabilities, x . (the rates into each), are sums of
        // terms not negative: low by at most (terms + 1) u of themselves, and
        // as much again for the products and the two parts of x.
        std::vector<double> eliminated(reach.size(), 0.0);
        std::uint64_t terms = 0;
        double total = 0.0;
        for (std::uint32_t j = 0; j < n; ++j) {
            const std::uint32_t c = comps.component[j];
            if (!comps.bottom[c])
                continue;
            for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e) {
                const std::uint32_t i = m.source[e];
                if (closed[i])
                    continue;
                const double term = (a.time[i] + a.timeLow[i]) * m.rate[e];
                eliminated[c] += term;
                total += term;
                ++terms;
            }
        }
        // Products rounded below the normal range add at most the smallest
        // double each.
        const double bound = a.eachBound +
                             (2.0 * static_cast<double>(terms) + 8.0) *
                                 std::numeric_limits<double>::epsilon() * total +
                             static_cast<double>(terms) * 0x1p-1074;
        // Taken where its bound is finite and the iterative one is larger or
        // not a number.
        if (!std::isfinite(bound) || iterative <= bound)
            return;
        reach = std::move(eliminated);
        limit.errorEstimate = bound;
        // As for a BiCGSTAB result: a bound above the solve's target but
        // within the one asked stands, and keeps the limit from detection.
        limit.converged = bound <= std::max(options.tolerance, options.acceptable);
        limit.accepted = limit.accepted || (limit.converged && bound > options.tolerance);
        limit.transientEliminated = true;
    } catch (const std::bad_alloc&) {
    } catch (const EliminationOverBudget&) {
    }
}

// The residual r = e_1 - z (-Q_TT) of the times z spent in the transient
// states, summed in twice the precision (each state's outflow as the sum of
// its rates times its time, so that nothing is lost before the terms cancel).
// The errors of the probabilities of reaching the closed classes, r A^{-1} R,
// sum to at most |r|_1, since A^{-1} R 1 <= 1 (from any state a class is
// reached with probability at most 1). visits is sum z_i exit_i, the expected
// number of moves before a class is entered: a z of doubles leaves a residual
// of some units of roundoff times it however well it was solved.
struct TransientResidual {
    double bound = 0.0;
    double visits = 0.0;
};

TransientResidual transientResidual(const RateMatrix& m, const Components& comps,
                                    const std::vector<double>& z) {
    const std::uint32_t n = m.states();
    std::vector<Accumulator> balance(n);
    balance[0].add(1.0);
    TransientResidual t;
    for (std::uint32_t j = 0; j < n; ++j) {
        const bool into = !comps.bottom[comps.component[j]];
        for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e) {
            const std::uint32_t i = m.source[e];
            if (z[i] == 0.0)
                continue;
            balance[i].addProduct(-z[i], 0.0, m.rate[e]);
            t.visits += z[i] * m.rate[e];
            if (into)
                balance[j].addProduct(z[i], 0.0, m.rate[e]);
        }
    }
    for (std::uint32_t j = 0; j < n; ++j)
        if (!comps.bottom[comps.component[j]])
            t.bound += std::fabs(balance[j].value()) + balance[j].error();
    t.bound *= 1.0 + (static_cast<double>(n) + 2.0) * std::numeric_limits<double>::epsilon();
    return t;
}

// Per component, 1 for the closed classes state 1 can reach, by the
// transitions alone: the components come in topological order, so a
// component is reachable when it holds state 1 or a transition into it comes
// from a reachable one.
std::vector<char> reachableClasses(const Components& comps, const RateMatrix& m) {
    std::vector<char> reachable(comps.count(), 0);
    reachable[comps.component[0]] = 1;
    for (std::uint32_t c = 0; c < comps.count(); ++c) {
        for (std::uint32_t k = comps.first[c]; k < comps.first[c + 1] && !reachable[c]; ++k) {
            const std::uint32_t j = comps.order[k];
            for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
                if (m.rate[e] > 0.0 && reachable[comps.component[m.source[e]]]) {
                    reachable[c] = 1;
                    break;
                }
        }
    }
    for (std::uint32_t c = 0; c < comps.count(); ++c)
        reachable[c] = reachable[c] && comps.bottom[c];
    return reachable;
}

// A reward's values on a set of closed classes (each class's distribution in
// x, summing to 1): the lowest and highest, each widened by its rounding
// bound, and the reward's largest magnitude over all states.
struct ValueRange {
    double low = std::numeric_limits<double>::infinity();
    double high = -std::numeric_limits<double>::infinity();
    double largest = 0.0;
};

std::vector<ValueRange> classValueRanges(const Components& comps, const std::vector<char>& classes,
                                         const std::vector<double>& x,
                                         const std::vector<const std::vector<double>*>& rewards) {
    std::vector<ValueRange> ranges(rewards.size());
    for (std::size_t i = 0; i < rewards.size(); ++i) {
        const std::vector<double>& reward = *rewards[i];
        ValueRange& range = ranges[i];
        for (const double r : reward)
            range.largest = std::max(range.largest, std::fabs(r));
        for (std::uint32_t c = 0; c < comps.count(); ++c) {
            if (!classes[c])
                continue;
            Accumulator value;
            for (std::uint32_t k = comps.first[c]; k < comps.first[c + 1]; ++k) {
                const std::uint32_t j = comps.order[k];
                value.addProduct(x[j], 0.0, reward[j]);
            }
            range.low = std::min(range.low, value.value() - value.error());
            range.high = std::max(range.high, value.value() + value.error());
        }
    }
    return ranges;
}

// The largest, over the rewards, of how far apart their values on the classes
// can lie, relative to the reward's largest magnitude.
double valueSpread(const std::vector<ValueRange>& ranges) {
    double worst = 0.0;
    for (const ValueRange& range : ranges)
        if (range.largest > 0.0)
            worst = std::max(worst, (range.high - range.low) / range.largest);
    return worst;
}

// Where the rewards asked have the same value on every closed class reached
// (count of them, marked in classes, each solved in x to sum 1, the rewards'
// values on them in ranges, at most spread apart relative to their largest
// magnitudes), the probabilities of reaching the classes cannot change the
// values: every class gets the same weight. The values' error is that of the
// classes' own distributions, plus how far their values lie apart, plus the
// weights' roundings.
void weighClassesEqually(const RateMatrix& m, const Components& comps,
                         const std::vector<char>& classes, std::uint32_t count,
                         const std::vector<ValueRange>& ranges, double spread,
                         std::vector<double>& x, Limit& limit) {
    const double weight = 1.0 / count;
    for (std::uint32_t c = 0; c < comps.count(); ++c) {
        if (!classes[c])
            continue;
        limit.residual = std::max(limit.residual, classResidual(m, comps, c, x));
        for (std::uint32_t k = comps.first[c]; k < comps.first[c + 1]; ++k)
            x[comps.order[k]] *= weight;
    }
    limit.classesReached = count;
    limit.reachNotNeeded = true;
    const double eps = std::numeric_limits<double>::epsilon();
    // Per reward: the true value and the weighed one both lie within the
    // values' range widened by the classes' error, the weights' sum off 1 by
    // their roundings.
    for (const ValueRange& range : ranges) {
        const double own = limit.errorEstimate * range.largest;
        limit.rewardErrors.push_back(range.high - range.low + 2.0 * own +
                                     (count + 2.0) * eps *
                                         std::max(std::fabs(range.low), std::fabs(range.high)));
    }
    limit.errorEstimate += spread + (count + 2.0) * eps;
}

} // namespace

std::string Limit::method(bool settled) const {
    if (power)
        return "power iteration, " + std::to_string(sweeps) + " steps" +
               (settled ? "" : ", NOT CONVERGED");
    const char* reach = reachNotNeeded ? ", the probabilities of reaching the closed classes not "
                                         "needed (the same values on each)"
                                       : "";
    if (!iterative && !krylov)
        return std::string("direct elimination") +
               (transientEliminated ? ", then the times before a closed class by sparse elimination"
                                    : "") +
               reach + (settled ? "" : ", NOT CONVERGED");
    std::string text;
    if (sweepsGivenUp > 0)
        text = "Gauss-Seidel, " + std::to_string(sweepsGivenUp) + " sweeps (" +
               (sweepsExpected > 0 ? "about " + std::to_string(sweepsExpected) + " more expected"
                                   : std::string("its changes did not shrink")) +
               "), then ";
    if (krylov) {
        const char* why = krylovRefused == Refusal::NoLevels ? "its levels could not be built"
                          : krylovRefused == Refusal::NotContracting ? "its cycles do not contract"
                          : krylovRefused == Refusal::IluPivot       ? "a pivot is not positive"
                                                                     : nullptr;
        text += multigrid     ? "BiCGSTAB+aggregation multigrid"
                : distributed ? "BiCGSTAB+ILU(0) per process"
                              : "BiCGSTAB+ILU(0)";
        if (why != nullptr && krylovIterations == 0)
            text += std::string(" not run (") + why + ")";
        else
            text += ", " + std::to_string(krylovIterations) + " iterations" +
                    (why != nullptr ? std::string(" (not run on a component: ") + why + ")"
                                    : std::string());
    }
    if (iterative)
        text +=
            std::string(krylov ? ", then " : "") + "Gauss-Seidel, " + std::to_string(sweeps) +
            " sweeps" +
            (!sweepsStopped ? std::string()
             : sweepsStoppedExpected > 0
                 ? " (stopped: about " + std::to_string(sweepsStoppedExpected) + " more expected)"
                 : std::string(" (stopped: its changes did not shrink)"));
    if (classEliminated)
        text += ", then sparse elimination of the class";
    if (transientEliminated)
        text += ", then the times before a closed class by sparse elimination";
    return text + reach + (settled ? "" : ", NOT CONVERGED");
}

Limit solveLimit(const RateMatrix& m, const LimitOptions& options) {
    const std::uint32_t n = m.states();
    const Components comps = findComponents(m);
    Limit limit;
    limit.components = comps.count();
    for (const char b : comps.bottom)
        limit.classes += b ? 1 : 0;

    std::vector<std::uint32_t> local;
    bool openIterative = false; // a transient component was solved iteratively
    std::exception_ptr outOfRange; // a transient component's dense elimination refused
    auto record = [&](const SweepResult& r) {
        limit.iterative = true;
        limit.sweeps += r.sweeps;
        limit.wavefrontLevels = std::max(limit.wavefrontLevels, r.levels);
        limit.extrapolations += r.extrapolations;
        limit.converged = limit.converged && r.converged;
        limit.errorEstimate = std::max(limit.errorEstimate, r.change);
    };
    auto solveComponentAnyway = [&](std::uint32_t c, bool closed, std::vector<double>& x) {
        const std::uint32_t size = comps.size(c);
        if (size == 1 && closed) {
            x[comps.order[comps.first[c]]] = 1.0;
            return;
        }
        if (size <= options.denseLimit) {
            if (local.empty())
                local.assign(n, 0);
            DenseSolve solve(m, comps, c, closed, local, x);
            if (closed) {
                solve.solve(comps, c, closed, x);
            } else {
                // Rates of transient states beyond a double's range for the
                // dense elimination: the sparse elimination of the times before
                // a class, which carries results below the normal range, is
                // tried after the transient phase; where it gives no answer
                // either, this refusal stands.
                try {
                    solve.solve(comps, c, closed, x);
                } catch (const SolveError&) {
                    if (!outOfRange)
                        outOfRange = std::current_exception();
                    limit.converged = false;
                    limit.errorEstimate = std::numeric_limits<double>::infinity();
                    return;
                }
            }
            // Elimination without subtraction keeps small relative errors; size
            // times the rounding unit is the estimate used.
            limit.errorEstimate =
                std::max(limit.errorEstimate, size * std::numeric_limits<double>::epsilon());
            return;
        }
        if (local.empty())
            local.assign(n, 0);
        openIterative = openIterative || !closed;
        // Gauss-Seidel after a BiCGSTAB solve k that missed its bound. It starts
        // afresh: its estimate of the distance rests on the rate at which its
        // changes shrink, which a start near the solution hides. Should it miss
        // too, the better of the two answers is kept; with an answer in hand,
        // sweeps that expect to need more than they have left stop (a cycle
        // against the state numbering never settles).
        // A closed class is also solved by sparse elimination (within a
        // budget), whose bound comes from its roundings alone: after the
        // sweeps where BiCGSTAB left an answer in hand (the sweeps often
        // settle soon, and the elimination of a class with much fill takes
        // seconds to give up), before them where it left none.
        auto gaussSeidelAfter = [&](const KrylovSolve& k) {
            std::vector<double> kept;
            kept.reserve(size);
            for (std::uint32_t at = comps.first[c]; at < comps.first[c + 1]; ++at)
                kept.push_back(x[comps.order[at]]);
            double keptBound = k.bound;
            bool eliminated = false;
            auto eliminate = [&] {
                std::vector<double> values;
                double bound = 0.0;
                if (eliminateClass(m, comps, c, x, values, bound) && std::isfinite(bound) &&
                    !(keptBound <= bound)) {
                    kept = std::move(values);
                    keptBound = bound;
                    eliminated = true;
                }
            };
            auto keep = [&] {
                for (std::uint32_t at = comps.first[c]; at < comps.first[c + 1]; ++at)
                    x[comps.order[at]] = kept[at - comps.first[c]];
                limit.classEliminated = limit.classEliminated || eliminated;
            };
            if (closed && !std::isfinite(keptBound)) {
                eliminate();
                if (eliminated && keptBound <= options.tolerance) {
                    keep();
                    limit.errorEstimate = std::max(limit.errorEstimate, keptBound);
                    return;
                }
            }
            if (!closed)
                for (std::uint32_t at = comps.first[c]; at < comps.first[c + 1]; ++at)
                    x[comps.order[at]] = 0.0;
            LimitOptions toTheEnd = options;
            toTheEnd.switchSweeps = 0;
            // An open component's times are eliminated after the transient
            // phase where its sweeps miss: those sweeps stop once hopeless too.
            toTheEnd.stopWhenHopeless = std::isfinite(keptBound) || !closed;
            SweepResult r = gaussSeidel(m, comps, c, closed, toTheEnd, x);
            if (r.gaveUp) {
                limit.sweepsStopped = true;
                limit.sweepsStoppedExpected = std::max(limit.sweepsStoppedExpected, r.expected);
            }
            if (closed && !r.converged && !eliminated && std::isfinite(k.bound))
                eliminate();
            if (!r.converged && (keptBound < r.change || (eliminated && std::isnan(r.change)))) {
                keep();
                r.change = keptBound;
                // The elimination's answer counts as a BiCGSTAB one would: kept
                // within the bound asked, it stands, but not for detection.
                r.converged = eliminated && keptBound <= options.acceptable;
                limit.accepted = limit.accepted || r.converged;
            }
            record(r);
        };
        // swept: x holds the component's values after the sweeps given up.
        auto byKrylov = [&](const LimitOptions& krylovOptions, bool swept) {
            const KrylovSolve k = krylov(m, comps, c, closed, krylovOptions, local, x, swept);
            limit.krylov = true;
            limit.multigrid = krylovOptions.multigrid;
            limit.krylovIterations += k.iterations;
            if (k.refused != Limit::Refusal::None)
                limit.krylovRefused = k.refused;
            // A bound short of the tighter target but within the bound asked
            // is kept too: the sweeps afresh would take long to do no better
            // (on a cycle against the numbering they never settle).
            if (k.converged || k.bound <= krylovOptions.acceptable) {
                limit.errorEstimate = std::max(limit.errorEstimate, k.bound);
                limit.accepted = limit.accepted || !k.converged;
            } else {
                gaussSeidelAfter(k);
            }
        };
        if (size >= options.krylovFrom) {
            byKrylov(options, false);
            return;
        }
        LimitOptions sweeping = options;
        if (size >= options.switchFrom && !multigridFits(m, comps, c))
            sweeping.switchSweeps = 0;
        const SweepResult r = gaussSeidel(m, comps, c, closed, sweeping, x);
        if (!r.gaveUp) {
            record(r);
            return;
        }
        limit.sweepsGivenUp += r.sweeps;
        limit.sweepsExpected = std::max(limit.sweepsExpected, r.expected);
        if (size < options.switchFrom) {
            // The sweeps stalled: BiCGSTAB+ILU(0) solves the component, and
            // the sweeps afresh only where it misses its bound.
            LimitOptions ilu = options;
            ilu.multigrid = false;
            byKrylov(ilu, true);
            return;
        }
        // Gauss-Seidel would take long: the multigrid, whose iterations grow far
        // more slowly with the chain, is tried, for at most about as much work as
        // the sweeps expected (an iteration costs some twenty sweeps), and at
        // least 100 iterations.
        LimitOptions multigrid = options;
        multigrid.multigrid = true;
        if (r.expected > 0)
            multigrid.maxSweeps = std::min(options.maxSweeps, std::max<std::uint64_t>(
                                                                  100, r.expected / 20));
        try {
            byKrylov(multigrid, true);
        } catch (const std::bad_alloc&) {
            // The estimate of multigridFits fell short: the sweeps take it.
            gaussSeidelAfter(KrylovSolve{});
        }
    };

    // A closed class solved by iterations is no closer than the roundings of its
    // entries, each a sum over the rates into its state, and of their
    // normalisation: the iterations' estimates, from their changes, do not see
    // those, which the probabilities of reaching the classes used to hide
    // where they were solved.
    auto solveComponent = [&](std::uint32_t c, bool closed, std::vector<double>& x) {
        solveComponentAnyway(c, closed, x);
        if (!closed || comps.size(c) <= options.denseLimit)
            return;
        std::uint64_t into = 0;
        for (std::uint32_t k = comps.first[c]; k < comps.first[c + 1]; ++k) {
            const std::uint32_t j = comps.order[k];
            into = std::max<std::uint64_t>(into, m.start[std::size_t{j} + 1] - m.start[j]);
        }
        limit.errorEstimate =
            std::max(limit.errorEstimate,
                     (static_cast<double>(into) + 4.0) * std::numeric_limits<double>::epsilon());
    };

    std::vector<double> pi(n, 0.0);
    const std::uint32_t startComponent = comps.component[0];
    std::vector<double> reach(comps.count(), 0.0);
    // Closed classes solved before the times spent ahead of them, the values
    // of the rewards asked on them, and the error estimates of the classes'
    // distributions and of the probabilities of reaching them.
    std::vector<char> solvedAhead;
    std::vector<ValueRange> ranges;
    double classError = 0.0;
    double reachError = 0.0;
    if (comps.bottom[startComponent]) {
        reach[startComponent] = 1.0;
    } else {
        // The closed classes state 1 can reach by its transitions: where there
        // is one, it is reached with probability 1, and the times before it
        // need no solve.
        const std::vector<char> reachable = reachableClasses(comps, m);
        const auto classes =
            static_cast<std::uint32_t>(std::count(reachable.begin(), reachable.end(), 1));
        if (classes == 1) {
            reach[static_cast<std::uint32_t>(std::find(reachable.begin(), reachable.end(), 1) -
                                             reachable.begin())] = 1.0;
        } else {
            if (options.rewardsAsked != nullptr) {
                solvedAhead = reachable;
                for (std::uint32_t c = 0; c < comps.count(); ++c)
                    if (solvedAhead[c])
                        solveComponent(c, true, pi);
                ranges = classValueRanges(comps, solvedAhead, pi, *options.rewardsAsked);
                const double spread = valueSpread(ranges);
                if (spread <= options.tolerance) {
                    weighClassesEqually(m, comps, solvedAhead, classes, ranges, spread, pi, limit);
                    limit.distribution = std::move(pi);
                    return limit;
                }
            }
            // The classes' solves are merged with the transient phase's below,
            // which sets its own estimate and convergence.
            const double classEstimate = limit.errorEstimate;
            const bool classConverged = limit.converged;
            const bool classAccepted = limit.accepted;
            limit.errorEstimate = 0.0;
            limit.converged = true;
            limit.accepted = false;
            // Expected time spent in each transient state before a closed class is
            // entered, component by component in topological order.
            std::vector<double> z(n, 0.0);
            for (std::uint32_t c = 0; c < comps.count(); ++c) {
                if (comps.bottom[c])
                    continue;
                bool entered = false;
                for (std::uint32_t k = comps.first[c]; k < comps.first[c + 1] && !entered; ++k) {
                    const std::uint32_t j = comps.order[k];
                    if (j == 0)
                        entered = true;
                    for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
                        if (z[m.source[e]] != 0.0)
                            entered = true;
                }
                if (entered)
                    solveComponent(c, false, z);
            }
            for (std::uint32_t j = 0; j < n; ++j) {
                const std::uint32_t c = comps.component[j];
                if (!comps.bottom[c])
                    continue;
                for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
                    reach[c] += z[m.source[e]] * m.rate[e];
            }
            // The iterations' estimates of the times are relative to their total,
            // which a few states of long times can dwarf, while the states of
            // short times carry the flow to the classes. Where any transient
            // component was solved iteratively, the residual decides: its bound on
            // the probabilities of reaching the classes where that is within the
            // tolerance (proven), else the residual relative to the moves made,
            // taken as an estimate where it exceeds the iterations' own (a residual
            // at the rounding level of many moves proves little, but says the
            // times are as good as doubles hold them).
            if (openIterative) {
                const TransientResidual t = transientResidual(m, comps, z);
                const double asked = std::max(options.tolerance, options.acceptable);
                if (t.bound <= asked) {
                    limit.errorEstimate = t.bound;
                    limit.converged = true;
                    limit.accepted = t.bound > options.tolerance;
                } else if (t.bound > limit.errorEstimate * t.visits) {
                    limit.errorEstimate = t.bound / t.visits;
                    limit.converged = limit.converged && limit.errorEstimate <= asked;
                    limit.accepted = limit.accepted ||
                                     (limit.converged && limit.errorEstimate > options.tolerance);
                }
            }
            if (!limit.converged)
                eliminateTransient(m, comps, options, limit, reach);
            if (outOfRange && !limit.transientEliminated)
                std::rethrow_exception(outOfRange);
            classError = classEstimate;
            reachError = limit.errorEstimate;
            limit.errorEstimate = std::max(limit.errorEstimate, classEstimate);
            limit.converged = limit.converged && classConverged;
            limit.accepted = limit.accepted || classAccepted;
        }
    }
    double reached = 0.0;
    for (std::uint32_t c = 0; c < comps.count(); ++c) {
        const bool ahead = !solvedAhead.empty() && solvedAhead[c];
        if (!comps.bottom[c] || reach[c] <= 0.0) {
            // A class solved ahead that the times before it leave unreached
            // (their products underflowed) keeps no mass, as unsolved ones.
            if (ahead)
                for (std::uint32_t k = comps.first[c]; k < comps.first[c + 1]; ++k)
                    pi[comps.order[k]] = 0.0;
            continue;
        }
        ++limit.classesReached;
        reached += reach[c];
        if (!ahead)
            solveComponent(c, true, pi);
        limit.residual = std::max(limit.residual, classResidual(m, comps, c, pi));
        for (std::uint32_t k = comps.first[c]; k < comps.first[c + 1]; ++k)
            pi[comps.order[k]] *= reach[c];
    }
    limit.errorEstimate += std::fabs(1.0 - reached);
    if (!ranges.empty()) {
        // The value is sum_c p'_c v'_c against sum_c p_c v_c: the classes'
        // errors weighed by p', plus sum_c (p'_c - p_c) v_c, which is the
        // probabilities' surplus (sum p' - 1) times the middle m of the values
        // plus at most half their 1-norm error times the values' span (the
        // terms (p'_c - p_c) (v_c - m)). The span and the middle are those of
        // the computed values, widened by the classes' errors.
        // The surplus counts the rounding of the sum of the probabilities too.
        const double surplus =
            std::fabs(1.0 - reached) +
            (limit.classesReached + 1.0) * std::numeric_limits<double>::epsilon();
        const double probabilities = reachError + surplus;
        for (const ValueRange& range : ranges) {
            const double own = classError * range.largest;
            const double span = range.high - range.low + 2.0 * own;
            const double middle = 0.5 * (range.high + range.low);
            limit.rewardErrors.push_back(reached * own + surplus * std::fabs(middle) +
                                         0.5 * probabilities * span);
        }
    }
    limit.distribution = std::move(pi);
    return limit;
}

} // namespace gensolver
