#include "methods/Transient.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <sstream>

namespace gensolver {

double uniformizationRate(const RateMatrix& m) {
    double maxExit = 0.0;
    for (const double e : m.exitRate)
        maxExit = std::max(maxExit, e);
    return uniformizationRate(maxExit);
}

double uniformizationRate(double maxExit) {
    // A rate a little above the largest exit rate keeps every state's stay
    // probability positive, so the uniformized chain is aperiodic and its powers
    // settle (needed for steady-state detection).
    return maxExit > 0.0 ? maxExit * 1.02 : 1.0;
}

bool chooseExtrapolation(const RateMatrix& m, double lastTime, const TransientOptions& options) {
    switch (options.method) {
    case TransientChoice::Uniformization:
        return false;
    case TransientChoice::Extrapolation:
    case TransientChoice::Iterative:
        return true;
    case TransientChoice::Auto:
        break;
    }
    const double steps = uniformizationRate(m) * lastTime;
    return m.states() <= options.extrapolateStates ? steps > options.extrapolateAbove
                                                   : steps > options.iterateAbove;
}

bool chooseIterativeSolves(const RateMatrix& m, const TransientOptions& options) {
    return options.method == TransientChoice::Iterative ||
           (options.method == TransientChoice::Auto && m.states() > options.extrapolateStates);
}

std::string TransientSolver::describe() const {
    std::string text = "uniformization";
    if (steady_) {
        std::ostringstream s;
        s.precision(6);
        s << ", steady state detected at t=" << steadyTime_;
        text += s.str();
    }
    return text;
}

LocalSteps::LocalSteps(const RateMatrix& m) : m_(m), packed_(m), pool_(&sharedPool()) {
    const std::uint32_t n = m.states();
    q_ = uniformizationRate(m);
    // Rounding in one step: each y[j] sums in-degree + 1 products of entries that
    // are themselves rounded (rate / q, 1 - exit / q), and the rescaling adds one
    // more rounding; over all j the terms add up to the 1-norm of the iterate.
    std::uint64_t maxIn = 0;
    for (std::uint32_t j = 0; j < n; ++j)
        maxIn = std::max(maxIn, m.start[std::size_t{j} + 1] - m.start[j]);
    roundingPerStep_ = static_cast<double>(maxIn + 5) * std::numeric_limits<double>::epsilon();
    for (const double r : packed_.distinct())
        scaledRate_.push_back(r / q_);
    // A step reads every row start and stay probability once: 16 bytes a state
    // against about 35 for a polling state's transitions. Row starts fit 32 bits
    // below 2^32 transitions, and models have few distinct exit rates, so the
    // stay probabilities usually go through a one-byte index into a table.
    if (m.start[n] <= 0xFFFFFFFFu) {
        start32_.resize(std::size_t{n} + 1);
        for (std::size_t j = 0; j <= n; ++j)
            start32_[j] = static_cast<std::uint32_t>(m.start[j]);
    }
    auto stay = [&](std::uint32_t j) { return 1.0 - m.exitRate[j] / q_; };
    RateTable stays;
    stayIndex_.resize(n);
    bool few = true;
    for (std::uint32_t j = 0; j < n && few; ++j) {
        const int k = stays.indexOf(stay(j));
        few = k >= 0 && k < 256;
        stayIndex_[j] = static_cast<std::uint8_t>(k);
    }
    if (few) {
        stayTable_ = stays.rates();
    } else {
        std::vector<std::uint8_t>().swap(stayIndex_);
        stay_.resize(n);
        for (std::uint32_t j = 0; j < n; ++j)
            stay_[j] = stay(j);
    }
}

namespace {

// The stay probability of state j through its one-byte index.
struct StayByIndex {
    const std::uint8_t* index;
    const double* table;
    double operator[](std::uint64_t j) const { return table[index[j]]; }
};

// Gathers one step over the states [begin, end): y[j] = f (v[j] stay[j] + sum over
// the transitions into j of v[source] p), p the transition's rate divided by q,
// `term(e, v)` giving v[source] p for transition e; with acc, also acc[j] += w y[j].
// Returns the sum of y. The sum over a row runs in four parts (terms 4k, 4k + 1,
// ...), so that four gathers are under way at a time rather than one behind
// each addition.
template <class Term, class Start, class Stay>
double gather(std::uint64_t begin, std::uint64_t end, const Start* start, Term term, Stay stay,
              const double* v, double f, double* y, double w, double* acc) {
    double total = 0.0;
    for (std::uint64_t j = begin; j < end; ++j) {
        double s = 0.0, s2 = 0.0, s3 = 0.0, s4 = 0.0;
        std::uint64_t e = start[j];
        const std::uint64_t last = start[j + 1];
        for (; e + 3 < last; e += 4) {
            s += term(e, v);
            s2 += term(e + 1, v);
            s3 += term(e + 2, v);
            s4 += term(e + 3, v);
        }
        for (; e < last; ++e)
            s += term(e, v);
        const double yj = (v[j] * stay[j] + ((s + s2) + (s3 + s4))) * f;
        y[j] = yj;
        total += yj;
        if (acc != nullptr)
            acc[j] += w * yj;
    }
    return total;
}

} // namespace

template <class Term>
double LocalSteps::sweep(Term term, const double* v, double f, double* y, double w, double* acc) {
    auto over = [&](const auto* start, auto stay) {
        return pool_->sum(m_.states(), [&](std::uint64_t b, std::uint64_t e) {
            return gather(b, e, start, term, stay, v, f, y, w, acc);
        });
    };
    if (!stayIndex_.empty()) {
        const StayByIndex stay{stayIndex_.data(), stayTable_.data()};
        return start32_.empty() ? over(m_.start.data(), stay) : over(start32_.data(), stay);
    }
    return start32_.empty() ? over(m_.start.data(), stay_.data())
                            : over(start32_.data(), stay_.data());
}

double LocalSteps::step(const double* v, double f, double* y, double w, double* acc) {
    return packed_.dispatch(scaledRate_.data(), 1.0 / q_,
                            [&](const auto& term) { return sweep(term, v, f, y, w, acc); });
}

double LocalSteps::dot(const double* a, const double* b) {
    return pool_->sum(m_.states(), [&](std::uint64_t begin, std::uint64_t end) {
        double s = 0.0;
        for (std::uint64_t j = begin; j < end; ++j)
            s += a[j] * b[j];
        return s;
    });
}

double LocalSteps::distance(const double* a, const double* b) {
    double d = 0.0;
    for (std::size_t j = 0; j < m_.states(); ++j)
        d += std::fabs(a[j] - b[j]);
    return d;
}

TransientSolver::TransientSolver(const RateMatrix& m,
                                 std::vector<const std::vector<double>*> integrands,
                                 LimitSource* limits, const TransientOptions& options)
    : owned_(std::make_unique<LocalSteps>(m)), chain_(*owned_), integrands_(std::move(integrands)),
      limits_(limits), options_(options) {
    start();
}

TransientSolver::TransientSolver(UniformizedSteps& steps,
                                 std::vector<const std::vector<double>*> integrands,
                                 LimitSource* limits, const TransientOptions& options)
    : chain_(steps), integrands_(std::move(integrands)), limits_(limits), options_(options) {
    start();
}

void TransientSolver::start() {
    integrals_.assign(integrands_.size(), 0.0);
    q_ = chain_.rate();
    x_.assign(chain_.size(), 0.0);
    if (chain_.firstState() >= 0)
        x_[static_cast<std::size_t>(chain_.firstState())] = 1.0;
}

void TransientSolver::step(double w, double* acc) {
    // The exact iterate keeps a total of 1; rounding lets it drift by an ulp or so
    // per step, in the same direction step after step. Each step divides by the
    // total of the vector it starts from, which removes the drift without a pass
    // of its own.
    const double f = total_ > 0.0 ? 1.0 / total_ : 1.0;
    total_ = chain_.step(v_.data(), f, y_.data(), w, acc);
    v_.swap(y_);
    ++steps_;
}

double TransientSolver::dot(const std::vector<double>& a, std::size_t r) const {
    return chain_.dot(a.data(), integrands_[r]->data());
}

double TransientSolver::distanceToLimit(std::uint64_t k, std::uint64_t remaining, double within) {
    if (limits_ == nullptr)
        return -1.0;
    if (limit_ == nullptr) {
        // The limit costs about as much as some thousands of steps: fetch it only
        // when many steps remain.
        if (k < options_.detectAfter || remaining < 5 * options_.detectAfter)
            return -1.0;
        if (const std::vector<char>* transient = limits_->transientStates()) {
            double mass = 0.0;
            for (std::size_t j = 0; j < v_.size(); ++j)
                if ((*transient)[j] != 0)
                    mass += v_[j];
            if (mass > options_.epsilon / 16.0)
                return -1.0;
        }
        limit_ = &limits_->limit();
    }
    // A limit kept short of its target (Limit::accepted) is too far off for
    // detection, which compares the iterate with it to a sixteenth of the bound.
    if (!limit_->converged || limit_->accepted)
        return -1.0;
    const double d = chain_.distance(v_.data(), limit_->distribution.data());
    if (d <= 0.5 * halvedDistance_) {
        halvedDistance_ = d;
        checksSinceHalved_ = 0;
    } else {
        ++checksSinceHalved_;
    }
    // Detected once the iterate agrees with the computed limit to a sixteenth of the
    // bound asked, or within what the caller allows once the distance has
    // stalled at the iterates' roundings; the distance to the true limit adds the
    // limit's own error.
    const bool stalled = checksSinceHalved_ >= kStalledChecks;
    return d <= options_.epsilon / 16.0 || (stalled && d <= within) ? d + limit_->errorEstimate
                                                                    : -1.0;
}

void TransientSolver::advanceTo(double t) {
    const double delta = t - now_;
    if (!(delta > 0.0))
        return;
    const std::size_t nr = integrands_.size();
    if (steady_) {
        // Once the distribution lies within d of the limit it stays within d, so
        // it is kept as it is.
        for (std::size_t r = 0; r < nr; ++r)
            integrals_[r] += delta * dot(x_, r);
        intBound_ += delta * distBound_;
        now_ = t;
        return;
    }
    const double lambda = q_ * delta;
    if (!std::isfinite(lambda)) {
        std::ostringstream msg;
        msg << "time " << t << ": the uniformization rate " << q_ << " times the interval " << delta
            << " is beyond the range of a double";
        throw SolveError(msg.str());
    }
    const double startBound = distBound_;
    const std::uint64_t stepsBefore = steps_;
    // The iterates start from the distribution; its storage is reused for the
    // weighted sum, which becomes the next distribution.
    v_.swap(x_);
    y_.assign(v_.size(), 0.0);
    total_ = 1.0;
    std::vector<double> acc(std::move(x_));
    acc.assign(v_.size(), 0.0);

    if (poissonStepsNeeded(lambda) <= static_cast<double>(options_.maxSteps)) {
        const PoissonWeights pw = poissonWeights(lambda, options_.epsilon);
        // tail[i] = sum of the weights of left + i .. right, so P(N > k) is
        // tail[k + 1 - left] (1 below left).
        std::vector<double> tail(pw.weight.size() + 1, 0.0);
        for (std::size_t i = pw.weight.size(); i-- > 0;)
            tail[i] = tail[i + 1] + pw.weight[i];
        auto above = [&](std::uint64_t k) {
            return k + 1 <= pw.left
                       ? 1.0
                       : tail[std::min<std::uint64_t>(k + 1 - pw.left, pw.weight.size())];
        };
        if (pw.at(0) != 0.0)
            for (std::size_t j = 0; j < acc.size(); ++j)
                acc[j] += pw.at(0) * v_[j];
        // acc holds the weighted sum of the iterates up to k; each step adds its
        // own iterate as it computes it.
        for (std::uint64_t k = 0;; ++k) {
            if (k == pw.right)
                break;
            const double g = above(k);
            for (std::size_t r = 0; r < nr; ++r)
                integrals_[r] += g * dot(v_, r) / q_;
            if (k % 16 == 0) {
                // The steps left would add their roundings to the bound: an
                // iterate within a quarter of that of the limit is the better
                // answer. After a slow absorption into several closed classes
                // the iterates' roundings split the mass between them by more
                // than a sixteenth of the bound asked, and the distance stays
                // above it to the last step.
                const double d = distanceToLimit(k, pw.right - k,
                                                 0.25 * static_cast<double>(pw.right - k) *
                                                     chain_.roundingPerStep());
                if (d >= 0.0) {
                    // Every later iterate lies within d of the limit, so within 2d
                    // of this one: the remaining weight goes to it.
                    double rest = 0.0; // sum over j > k of P(N > j)
                    for (std::uint64_t j = k + 1; j < pw.right; ++j)
                        rest += above(j);
                    const double mass = above(k);
                    for (std::size_t j = 0; j < acc.size(); ++j)
                        acc[j] += mass * v_[j];
                    for (std::size_t r = 0; r < nr; ++r)
                        integrals_[r] += rest * dot(v_, r) / q_;
                    distBound_ += 2.0 * d * mass;
                    intBound_ += 2.0 * d * rest / q_;
                    steady_ = true;
                    steadyTime_ = now_ + static_cast<double>(k) / q_;
                    break;
                }
            }
            const double next = pw.at(k + 1);
            step(next, next != 0.0 ? acc.data() : nullptr);
        }
        const double rounding =
            static_cast<double>(steps_ - stepsBefore) * chain_.roundingPerStep();
        distBound_ += pw.bound + rounding;
        intBound_ += delta * (startBound + rounding) +
                     (static_cast<double>(pw.right) * pw.bound + pw.integralTail) / q_;
        x_.swap(acc);
    } else {
        // Too many steps to reach the bulk of the Poisson weights: the answer is
        // only reachable if the iterates settle at the limit first.
        bool settled = false;
        for (std::uint64_t k = 0; k <= options_.maxSteps; ++k) {
            if (k % 16 == 0) {
                const double d =
                    distanceToLimit(std::max(k, options_.detectAfter), options_.maxSteps);
                if (d >= 0.0) {
                    const double kk = static_cast<double>(k);
                    const double early = poissonLowerTailBound(lambda, k);
                    for (std::size_t r = 0; r < nr; ++r)
                        integrals_[r] += (lambda - kk) * dot(v_, r) / q_;
                    const double rounding = kk * chain_.roundingPerStep();
                    distBound_ += 2.0 * early + 2.0 * d + rounding;
                    intBound_ += delta * (startBound + rounding) +
                                 (2.0 * kk * early + 2.0 * d * lambda) / q_;
                    steady_ = true;
                    steadyTime_ = now_ + kk / q_;
                    settled = true;
                    break;
                }
            }
            for (std::size_t r = 0; r < nr; ++r)
                integrals_[r] += dot(v_, r) / q_;
            step(0.0, nullptr);
        }
        if (!settled) {
            std::ostringstream msg;
            msg << "time " << t << " needs about " << lambda
                << " uniformization steps (uniformization rate " << q_ << " times the interval "
                << delta << ") and the chain did not settle at its limit within the allowed "
                << options_.maxSteps << " steps (raise --max-steps)";
            throw SolveError(msg.str());
        }
        x_.swap(v_);
    }
    now_ = t;
}

} // namespace gensolver
