#include "methods/Extrapolation.h"

#include "methods/EliminationOrder.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <numeric>
#include <sstream>

namespace gensolver {

namespace {

// Rows of the extrapolation table (order Rows) and their sub-step counts. With
// step lengths that are powers of two, the sub-step lengths H/n are powers of two
// or a third of one, so most factorisations serve the next step length as well.
constexpr int Rows = 7;
constexpr int SubSteps[Rows] = {1, 2, 3, 4, 6, 8, 12};
// Factorisations kept: the sub-step lengths of three consecutive step lengths.
constexpr std::size_t CachedFactors = 12;

// |c_j|, c_j the weight of row j's result T_{j,1} in the final extrapolation
// (c_j = prod over i != j of n_i / (n_i - n_j)).
double extrapolationWeight(int j) {
    double c = 1.0;
    for (int i = 0; i < Rows; ++i)
        if (i != j)
            c *= static_cast<double>(SubSteps[i]) / (SubSteps[i] - SubSteps[j]);
    return std::fabs(c);
}

// Sum of |c_j|: how much the extrapolation magnifies errors in the sub-step
// results (48.3).
double extrapolationMagnification() {
    double total = 0.0;
    for (int j = 0; j < Rows; ++j)
        total += extrapolationWeight(j);
    return total;
}

// The largest power of two not above x (x > 0).
double powerOfTwoBelow(double x) {
    return std::ldexp(1.0, static_cast<int>(std::floor(std::log2(x))));
}

} // namespace

ExtrapolationSolver::ExtrapolationSolver(const RateMatrix& m,
                                         std::vector<const std::vector<double>*> integrands,
                                         const TransientOptions& options)
    : m_(m), integrands_(std::move(integrands)), options_(options), factors_(CachedFactors) {
    integrals_.assign(integrands_.size(), 0.0);
    const std::uint32_t n = m.states();
    for (const std::vector<double>* r : integrands_) {
        double mx = 0.0;
        for (const double v : *r)
            mx = std::max(mx, std::fabs(v));
        // (2^1023 at the most: a largest |r| below the normal range then lands
        // near 2^-20, still far from underflow.)
        const double scale = mx > 0.0 && (mx < 0x1p-500 || mx > 0x1p500)
                                 ? std::ldexp(1.0, std::min(1023, -std::ilogb(mx)))
                                 : 1.0;
        integrandScale_.push_back(scale);
        integrandMax_.push_back(mx * scale);
    }
    std::uint64_t maxIn = 0;
    for (std::uint32_t j = 0; j < n; ++j)
        maxIn = std::max(maxIn, m.start[std::size_t{j} + 1] - m.start[j]);
    // An elimination without subtraction keeps each entry's relative error to a
    // few units per rate folded in; taken as the uniformization step's figure.
    roundingPerSolve_ = static_cast<double>(maxIn + 5) * std::numeric_limits<double>::epsilon();
    table_.assign(Rows, std::vector<double>(n, 0.0));
    tableIntegrals_.assign(Rows, std::vector<double>(integrands_.size(), 0.0));
    x_.assign(n, 0.0);
    if (n > 0)
        x_[0] = 1.0;
    if (chooseIterativeSolves(m, options)) {
        iterative_ = std::make_unique<ImplicitStepSolver>(m, CachedFactors);
        return;
    }
    // (1/g) I - Q is the generator of the chain restricted to its own states when
    // every state also leaves, at rate 1/g, to one extra state: the elimination of
    // the chain's states in that augmented chain factors it. The extra state's
    // rates are set per g.
    augmented_.start = m.start;
    augmented_.start.push_back(m.start.back() + n);
    augmented_.source = m.source;
    augmented_.rate = m.rate;
    augmented_.exitRate = m.exitRate;
    augmented_.exitRate.push_back(0.0);
    for (std::uint32_t i = 0; i < n; ++i) {
        augmented_.source.push_back(i);
        augmented_.rate.push_back(0.0);
    }
    // Eliminated in the state order where that fills in no more than the
    // chain's transitions (a chain whose rates run forwards in its numbering
    // fills nothing: 16,384 states of units failing without repair took 1.6 s
    // for the fill-reducing order alone, and every solve ran over its fill),
    // else in a fill-reducing order: on the stiff model's 5,200 states the
    // generator's breadth-first order fills the factors to 700,754 entries,
    // minimum degree to 287,974, and every sub-step's solve runs over all of them.
    states_.resize(n);
    local_.assign(std::size_t{n} + 1, UINT32_MAX);
    for (std::uint32_t k = 0; k < n; ++k)
        states_[k] = local_[k] = k;
    if (!fitsIn(stateOrderBudget(m.source.size(), n))) {
        states_ = fillReducingOrder(m);
        for (std::uint32_t k = 0; k < n; ++k)
            local_[states_[k]] = k;
    }
    permuted_.resize(n);
}

std::string ExtrapolationSolver::describe() const {
    std::ostringstream s;
    // No commas: the text is one field of the CSV output.
    s << "implicit extrapolation in " << accepted_ << " steps";
    if (rejected_ > 0)
        s << " (" << rejected_ << " rejected)";
    if (iterative_)
        s << " with " << iterative_->iterations() << " BiCGSTAB+ILU(0) iterations";
    return s.str();
}

std::uint64_t ExtrapolationSolver::factorisations() const {
    return iterative_ ? iterative_->factorisations() : factors_.made();
}

std::uint64_t ExtrapolationSolver::iterations() const {
    return iterative_ ? iterative_->iterations() : 0;
}

double ExtrapolationSolver::subStep(double g, std::vector<double>& y, double target) {
    ++solves_;
    if (iterative_)
        return iterative_->solve(g, y, target);
    const SparseElimination& f = factor(g);
    const std::size_t n = y.size();
    for (std::size_t k = 0; k < n; ++k)
        permuted_[k] = y[states_[k]] / g;
    f.solveLeft(permuted_);
    for (std::size_t k = 0; k < n; ++k)
        y[states_[k]] = permuted_[k];
    return 0.0;
}

bool ExtrapolationSolver::factorsFit(EliminationBudget budget) {
    if (iterative_ || m_.states() == 0)
        return true;
    return fitsIn(budget);
}

bool ExtrapolationSolver::fitsIn(EliminationBudget budget) {
    for (std::uint64_t e = m_.start.back(); e < augmented_.rate.size(); ++e)
        augmented_.rate[e] = 1.0;
    try {
        const SparseElimination trial(augmented_, states_, local_, budget);
        return true;
    } catch (const EliminationOverBudget&) {
    } catch (const std::bad_alloc&) {
    }
    return false;
}

const SparseElimination& ExtrapolationSolver::factor(double g) {
    return factors_.get(g, [&] {
        const double leave = 1.0 / g;
        for (std::uint64_t e = m_.start.back(); e < augmented_.rate.size(); ++e)
            augmented_.rate[e] = leave;
        return std::make_unique<SparseElimination>(augmented_, states_, local_);
    });
}

bool ExtrapolationSolver::tryStep(double h, double tolerance, double& err, double& intErr) {
    const std::size_t nr = integrands_.size();
    // Each iterative solve aims at a share of the tolerance small enough that the
    // extrapolation, which magnifies the errors of row j's results by |c_j|, keeps
    // their sum within a quarter of it.
    const double target = tolerance / (4.0 * extrapolationMagnification() * SubSteps[Rows - 1]);
    solveError_ = 0.0;
    for (int j = 0; j < Rows; ++j) {
        const int substeps = SubSteps[j];
        const double g = h / substeps;
        std::vector<double>& y = table_[j];
        std::vector<double>& s = tableIntegrals_[j];
        y = x_;
        std::fill(s.begin(), s.end(), 0.0);
        // x (I - g Q) = b is x ((1/g) I - Q) = b / g; the integral over the
        // sub-step is g times the value at its end (implicit Euler on the
        // integral as well). The sub-steps' maps are stochastic, so the errors
        // of a row's solves add up without growing.
        double rowError = 0.0;
        for (int k = 0; k < substeps; ++k) {
            rowError += subStep(g, y, target);
            for (std::size_t r = 0; r < nr; ++r) {
                const std::vector<double>& f = *integrands_[r];
                const double scale = integrandScale_[r];
                double dot = 0.0;
                for (std::size_t i = 0; i < y.size(); ++i)
                    dot += y[i] * (scale * f[i]);
                s[r] += g * dot;
            }
        }
        solveError_ += extrapolationWeight(j) * rowError;
        // Aitken-Neville: table_[k] holds T_{j, j-k}, the extrapolation of order
        // j - k + 1 from the rows j-k .. j.
        for (int k = j - 1; k >= 0; --k) {
            const double c = 1.0 / (static_cast<double>(substeps) / SubSteps[k] - 1.0);
            std::vector<double>& lo = table_[k];
            const std::vector<double>& hi = table_[k + 1];
            for (std::size_t i = 0; i < lo.size(); ++i)
                lo[i] = hi[i] + (hi[i] - lo[i]) * c;
            std::vector<double>& slo = tableIntegrals_[k];
            const std::vector<double>& shi = tableIntegrals_[k + 1];
            for (std::size_t r = 0; r < nr; ++r)
                slo[r] = shi[r] + (shi[r] - slo[r]) * c;
        }
    }
    err = 0.0;
    for (std::size_t i = 0; i < x_.size(); ++i)
        err += std::fabs(table_[0][i] - table_[1][i]);
    intErr = 0.0;
    for (std::size_t r = 0; r < nr; ++r)
        if (integrandMax_[r] > 0.0)
            intErr = std::max(intErr, std::fabs(tableIntegrals_[0][r] - tableIntegrals_[1][r]) /
                                          integrandMax_[r]);
    if (!(std::max(err, intErr) <= tolerance))
        return false;
    x_.swap(table_[0]);
    // The exact step keeps a total of 1, and so does each sub-step result up to
    // rounding; the extrapolation magnifies their rounding, which shows as drift
    // of the total, step after step in the same direction. Rescaling removes it,
    // so the small entries (a failure probability) keep their relative accuracy.
    double total = 0.0, compensation = 0.0;
    for (const double v : x_) {
        const double next = total + v;
        compensation += std::fabs(total) >= std::fabs(v) ? (total - next) + v : (v - next) + total;
        total = next;
    }
    total += compensation;
    if (total > 0.0)
        for (double& v : x_)
            v /= total;
    for (std::size_t r = 0; r < nr; ++r)
        integrals_[r] += tableIntegrals_[0][r] / integrandScale_[r];
    return true;
}

void ExtrapolationSolver::advanceTo(double t) {
    const double delta = t - now_;
    if (!(delta > 0.0) || x_.empty())
        return;
    const double magnification = extrapolationMagnification();
    // Rounding in one step: every sub-step result carries the solves' rounding,
    // magnified by the extrapolation.
    const double rounding = magnification * SubSteps[Rows - 1] * roundingPerSolve_;
    double maxExit = 0.0;
    for (const double e : m_.exitRate)
        maxExit = std::max(maxExit, e);
    if (h_ == 0.0)
        h_ = powerOfTwoBelow(maxExit > 0.0 ? std::min(delta, 0.1 / maxExit) : delta);
    const double end = t;
    double distError = 0.0, intError = 0.0;
    std::uint64_t taken = 0;
    while (now_ < end) {
        if (++taken > options_.maxSteps) {
            std::ostringstream msg;
            msg << "time " << t << ": the extrapolation took more than " << options_.maxSteps
                << " steps over the interval (raise --max-steps)";
            throw SolveError(msg.str());
        }
        const double remaining = end - now_;
        const bool last = h_ >= remaining;
        const double h = last ? remaining : h_;
        // The error asked of a step is its share of epsilon over the interval,
        // but not less than epsilon / 64 (so short steps at the start do not
        // demand the impossible) and never below what rounding allows.
        const double tolerance =
            std::max(options_.epsilon * std::max(h / delta, 1.0 / 64.0), 4.0 * rounding);
        double err = 0.0, intErr = 0.0;
        const double startBound = distBound_ + distError;
        if (tryStep(h, tolerance, err, intErr)) {
            ++accepted_;
            distError += err + rounding + solveError_;
            intError += h * startBound + intErr + h * (rounding + solveError_);
            now_ = last ? end : now_ + h;
            const double grow =
                err > 0.0 ? std::min(4.0, 0.9 * std::pow(tolerance / err, 1.0 / Rows)) : 4.0;
            // To the nearest power of two: steps grow by doubling once the
            // estimate allows 1.5 times the length.
            if (grow >= 1.5)
                h_ = powerOfTwoBelow(h_ * grow * std::sqrt(2.0));
        } else {
            ++rejected_;
            const double shrink =
                std::max(0.125, std::min(0.5, 0.9 * std::pow(tolerance / err, 1.0 / Rows)));
            h_ = powerOfTwoBelow(h * shrink);
            if (!(h_ > delta * 1e-15) || !std::isfinite(err)) {
                std::ostringstream msg;
                msg << "time " << t << ": the extrapolation's step length fell to " << h_
                    << " without reaching the error bound " << tolerance << " (estimated error "
                    << err << "); use --transient uniformization";
                throw SolveError(msg.str());
            }
        }
    }
    distBound_ += distError;
    intBound_ += intError;
    now_ = end;
}

} // namespace gensolver
