#include "methods/Measures.h"

#include "methods/AbsorptionResults.h"
#include "methods/ChainBackend.h"
#include "methods/CompensatedSum.h"
#include "methods/Components.h"
#include "methods/Extrapolation.h"
#include "methods/WindowedTransient.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <utility>

namespace gensolver {

namespace {

// The chain's limit, solved through the backend on first request and kept.
class BackendLimit : public LimitSource {
public:
    BackendLimit(ChainBackend& chain, const LimitOptions& options)
        : chain_(chain), options_(options) {}
    const Limit& limit() override {
        if (!limit_)
            limit_ = chain_.limit(options_);
        return *limit_;
    }
    // The limit for the long-run values of these rewards alone, once no
    // transient solve needs it: where they cannot tell the closed classes
    // apart, the probabilities of reaching them are not solved
    // (LimitOptions::rewardsAsked), which a distributed chain does not offer.
    const Limit& limitForValues(const std::vector<const std::vector<double>*>& rewards) {
        if (!limit_ && chain_.holdsWholeChain()) {
            LimitOptions options = options_;
            options.rewardsAsked = &rewards;
            limit_ = chain_.limit(options);
        }
        return limit();
    }
    bool computed() const { return limit_.has_value(); }
    const std::vector<char>* transientStates() override { return chain_.transientStates(); }

private:
    ChainBackend& chain_;
    LimitOptions options_;
    std::optional<Limit> limit_;
};

double localMaxAbs(const std::vector<double>& v) {
    double m = 0.0;
    for (const double x : v)
        m = std::max(m, std::fabs(x));
    return m;
}

// Auto's choice on a chain whose limit is solved directly when uniformization would
// take many steps: uniformization is tried first, allowed the steps auto accepts
// without extrapolating, since a chain that settles at its limit within them
// answers every later time at once, with a proven bound, for a fraction of the
// extrapolation's solves. Where an interval would need more steps, the solution
// starts again from time 0 by extrapolation; values already given stand.
class ProbingTransient : public TransientMethod {
public:
    ProbingTransient(const RateMatrix& m, std::vector<const std::vector<double>*> integrands,
                     LimitSource* limits, const TransientOptions& options)
        : m_(m), integrands_(integrands), options_(options) {
        TransientOptions probe = options;
        probe.maxSteps =
            std::min(options.maxSteps, static_cast<std::uint64_t>(options.extrapolateAbove));
        uniformization_ =
            std::make_unique<TransientSolver>(m, std::move(integrands), limits, probe);
        active_ = uniformization_.get();
        integrals_.assign(integrands_.size(), 0.0);
        x_ = active_->distribution();
    }
    double rate() const { return uniformization_ ? uniformization_->rate() : 0.0; }
    void advanceTo(double t) override {
        if (uniformization_) {
            try {
                uniformization_->advanceTo(t);
            } catch (const SolveError&) {
                probed_ = uniformization_->steps();
                uniformization_.reset();
                extrapolation_ = std::make_unique<ExtrapolationSolver>(m_, integrands_, options_);
                active_ = extrapolation_.get();
            }
        }
        if (extrapolation_)
            extrapolation_->advanceTo(t);
        copySolution(*active_);
    }
    std::uint64_t steps() const override { return active_->steps(); }
    bool steadyStateDetected() const override { return active_->steadyStateDetected(); }
    double steadyTime() const override { return active_->steadyTime(); }
    bool boundProven() const override { return active_->boundProven(); }
    std::string describe() const override {
        if (!extrapolation_)
            return active_->describe();
        return active_->describe() + " (uniformization did not reach the limit in " +
               std::to_string(probed_) + " steps)";
    }

private:
    const RateMatrix& m_;
    std::vector<const std::vector<double>*> integrands_;
    TransientOptions options_;
    std::unique_ptr<TransientSolver> uniformization_;
    std::unique_ptr<ExtrapolationSolver> extrapolation_;
    const TransientMethod* active_ = nullptr;
    std::uint64_t probed_ = 0;
};

// Whether state 1 lies in a closed class of more than one state: a chain that
// settles at its limit there is what the probe looks for. From a transient state 1
// (a reliability model, whose failed states absorb) the limit is reached only
// once failure is certain, which a time point seldom asks.
bool startsInClosedClass(const RateMatrix& m) {
    const Components c = findComponents(m);
    const std::uint32_t first = c.component[0];
    return c.bottom[first] != 0 && c.size(first) > 1;
}

} // namespace

void refuseUnlessFinite(const Result& r) {
    if (std::isfinite(r.value) && std::isfinite(r.bound))
        return;
    const bool longRun = r.longRun || r.type == RewardType::SteadyState;
    std::ostringstream msg;
    msg << "variable " << r.variable << ": its " << (longRun ? "long-run " : "")
        << (std::isfinite(r.value) ? "error bound" : "value");
    if (r.untilAbsorption)
        msg << " until absorption";
    else if (!longRun)
        msg << " at time " << r.stop;
    msg << " is not finite (the chain's rates or rewards span beyond the range of a double); no "
           "value is printed";
    throw SolveError(msg.str());
}

bool Solution::allConverged() const {
    return std::all_of(results.begin(), results.end(), [](const Result& r) { return r.converged; });
}

namespace {

// What auto lets the extrapolation's factors cost before it takes the methods
// of a larger chain instead: every sub-step's solve runs over the factors, where
// a uniformization step runs over the transitions, and a time point takes some
// thousands of solves; so the fill may reach the transitions times the steps
// uniformization would take, over 2,000 (within 2^16 to 2^25 entries, and 2^27
// rates folded: a second or two to find that it does not fit). On a random
// chain of 12,000 states, whose transitions reach far across its numbering, the
// factors had grown past a gigabyte after five minutes, where uniformization
// took two seconds.
EliminationBudget autoFactorBudget(const RateMatrix& m, double lastTime) {
    const double steps = uniformizationRate(m) * lastTime;
    const double fill = static_cast<double>(m.source.size()) * steps / 2000.0;
    EliminationBudget budget;
    budget.fill = static_cast<std::uint64_t>(std::clamp(fill, 0x1p16, 0x1p25));
    budget.folds = std::uint64_t{1} << 27;
    budget.scans = std::uint64_t{1} << 30;
    return budget;
}

} // namespace

std::unique_ptr<TransientMethod>
wholeChainTransient(const RateMatrix& m, std::vector<const std::vector<double>*> integrands,
                    LimitSource* limits, const TransientOptions& options, double lastTime,
                    double& rate, bool* factorsFit) {
    if (chooseExtrapolation(m, lastTime, options)) {
        if (options.method == TransientChoice::Auto && limits != nullptr &&
            m.states() <= options.probeStates && startsInClosedClass(m)) {
            auto p = std::make_unique<ProbingTransient>(m, std::move(integrands), limits, options);
            rate = p->rate();
            return p;
        }
        const bool forced = options.method != TransientChoice::Auto;
        if (forced || factorsFit == nullptr || *factorsFit) {
            auto e = std::make_unique<ExtrapolationSolver>(m, integrands, options);
            if (forced || e->factorsFit(autoFactorBudget(m, lastTime))) {
                rate = 0.0;
                return e;
            }
            if (factorsFit != nullptr)
                *factorsFit = false;
        }
        // The factors would fill in far beyond the chain (its transitions reach
        // across its numbering): the choice is made as on a larger chain.
        if (uniformizationRate(m) * lastTime > options.iterateAbove) {
            TransientOptions iterative = options;
            iterative.method = TransientChoice::Iterative;
            rate = 0.0;
            return std::make_unique<ExtrapolationSolver>(m, std::move(integrands), iterative);
        }
    }
    auto u = std::make_unique<TransientSolver>(m, std::move(integrands), limits, options);
    rate = u->rate();
    return u;
}

const std::vector<char>* LocalBackend::transientStates() {
    if (!transientFound_) {
        const Components c = findComponents(m_);
        transient_.resize(m_.states());
        for (std::uint32_t j = 0; j < m_.states(); ++j)
            transient_[j] = c.bottom[c.component[j]] ? 0 : 1;
        transientFound_ = true;
    }
    return &transient_;
}

std::unique_ptr<TransientMethod>
LocalBackend::transient(std::vector<const std::vector<double>*> integrands, LimitSource* limits,
                        const TransientOptions& options, double lastTime, double& rate) {
    if (chooseWindow(m_, lastTime, options)) {
        rate = 0.0;
        return std::make_unique<WindowedTransient>(m_, std::move(integrands), limits, options,
                                                   lastTime);
    }
    return wholeChainTransient(m_, std::move(integrands), limits, options, lastTime, rate);
}

Solution solve(const Model& model, const SolveOptions& options) {
    LocalBackend local(model.matrix);
    return solve(model, options, local);
}

Solution solve(const Model& model, const SolveOptions& options, ChainBackend& chain) {
    Solution sol;
    sol.stem = model.stem;
    sol.states = chain.states();
    sol.transitions = chain.transitions();
    // Over several processes the partial sums add up with roundings of their own.
    const double processes = chain.sum(1.0);
    auto dot = [&chain, processes](const std::vector<double>& a, const std::vector<double>& b) {
        const BoundedDot local = boundedDot(a.data(), b.data(), a.size());
        BoundedDot d;
        d.value = chain.sum(local.value);
        d.bound = chain.sum(local.bound);
        if (processes > 1.0)
            d.bound += processes * std::numeric_limits<double>::epsilon() *
                       chain.sum(std::fabs(local.value));
        return d;
    };
    auto maxAbs = [&chain](const std::vector<double>& v) { return chain.max(localMaxAbs(v)); };
    // The least and the largest entry of a per-state vector over the whole chain.
    auto range = [&chain](const std::vector<double>& v) {
        double low = -std::numeric_limits<double>::infinity(), high = low;
        for (const double x : v) {
            low = std::max(low, -x);
            high = std::max(high, x);
        }
        return std::make_pair(-chain.max(low), chain.max(high));
    };
    const std::size_t nv = model.variables.size();

    // What accumulated measures integrate: the rate reward plus the rate at which
    // impulses are earned.
    std::vector<std::vector<double>> combined(nv);
    std::vector<const std::vector<double>*> earning(nv);
    for (std::size_t p = 0; p < nv; ++p) {
        const Rewards& r = model.rewards[p];
        if (r.impulseRate.empty()) {
            earning[p] = &r.rate;
            continue;
        }
        combined[p].resize(r.rate.size());
        for (std::size_t j = 0; j < r.rate.size(); ++j)
            combined[p][j] = r.rate[j] + r.impulseRate[j];
        earning[p] = &combined[p];
    }

    // A variable named in the .abs file is reported until absorption only.
    auto untilAbsorptionOnly = [&](std::size_t p) {
        return !model.untilAbsorption.empty() && model.untilAbsorption[p];
    };

    // Time instants the transient solution must pass through.
    std::vector<double> instants;
    std::vector<std::size_t> integrandOf(nv, SIZE_MAX);
    std::vector<const std::vector<double>*> integrands;
    for (std::size_t p = 0; p < nv; ++p) {
        const Variable& v = model.variables[p];
        if (untilAbsorptionOnly(p))
            continue;
        if (v.type == RewardType::SteadyState)
            continue;
        for (const TimePoint& t : v.times) {
            instants.push_back(t.start);
            instants.push_back(t.stop);
        }
        if (v.type != RewardType::InstantOfTime) {
            integrandOf[p] = integrands.size();
            integrands.push_back(earning[p]);
        }
    }
    std::sort(instants.begin(), instants.end());
    instants.erase(std::unique(instants.begin(), instants.end()), instants.end());

    struct Snapshot {
        std::vector<BoundedDot> rateValue;    // per variable: distribution . rate reward
        std::vector<BoundedDot> earningValue; // per variable: distribution . earning
        std::vector<double> integral;     // per integrand
        double distBound = 0.0, intBound = 0.0;
        std::uint64_t steps = 0;
        bool steady = false;
        bool proven = true;
        std::string method;
    };
    std::map<double, Snapshot> snapshots;
    // The limit serves steady-state detection too, where its own error must stay
    // well below the detection threshold (a sixteenth of the transient bound).
    // A solve short of that but within the bound asked still gives the long-run
    // values (Limit::accepted), not detection.
    LimitOptions limitOptions = options.limit;
    limitOptions.tolerance = std::min(limitOptions.tolerance, options.transient.epsilon / 16.0);
    limitOptions.acceptable = std::max(limitOptions.acceptable, options.limit.tolerance);
    BackendLimit limits(chain, limitOptions);
    if (!instants.empty()) {
        TransientOptions transientOptions = options.transient;
        transientOptions.probeStates = limitOptions.denseLimit;
        std::unique_ptr<TransientMethod> method = chain.transient(
            integrands, &limits, transientOptions, instants.back(), sol.uniformizationRate);
        TransientMethod& ts = *method;
        for (const double t : instants) {
            ts.advanceTo(t);
            Snapshot s;
            for (std::size_t p = 0; p < nv; ++p) {
                s.rateValue.push_back(dot(ts.distribution(), model.rewards[p].rate));
                s.earningValue.push_back(dot(ts.distribution(), *earning[p]));
            }
            for (std::size_t r = 0; r < integrands.size(); ++r)
                s.integral.push_back(ts.integral(r));
            s.distBound = ts.distributionBound();
            s.intBound = ts.integralBound();
            s.steps = ts.steps();
            s.steady = ts.steadyStateDetected();
            s.proven = ts.boundProven();
            s.method = ts.describe();
            snapshots.emplace(t, std::move(s));
        }
    }

    // The rewards whose long-run values are printed: all the limit is asked
    // for from here on.
    std::vector<const std::vector<double>*> longRunRewards;
    for (std::size_t p = 0; p < nv; ++p) {
        const RewardType type = model.variables[p].type;
        if (untilAbsorptionOnly(p))
            continue;
        if (type == RewardType::SteadyState ||
            (options.longRun && type == RewardType::TimeAveragedInterval))
            longRunRewards.push_back(earning[p]);
        else if (options.longRun && type == RewardType::InstantOfTime)
            longRunRewards.push_back(&model.rewards[p].rate);
    }

    // Values from the limiting distribution carry the limit solver's error estimate.
    auto limitResult = [&](Result& r, const std::vector<double>& reward) {
        const Limit& l = limits.limitForValues(longRunRewards);
        r.longRun = true;
        const BoundedDot d = dot(l.distribution, reward);
        r.value = d.value;
        r.bound = l.errorEstimate * maxAbs(reward) + d.bound;
        r.boundProven = false;
        r.method = "limit, " + l.method();
        r.iterations = l.sweeps + l.krylovIterations + l.sweepsGivenUp;
        r.steadyState = true;
        r.converged = l.converged;
        // A reward the closed classes reached barely tell apart has an error of
        // its own, which the probabilities of reaching them hardly touch: a
        // value within the bound asked by it stands, whatever those did.
        const auto asked = std::find(longRunRewards.begin(), longRunRewards.end(), &reward);
        if (l.rewardErrors.size() == longRunRewards.size() && asked != longRunRewards.end()) {
            const double own =
                l.rewardErrors[static_cast<std::size_t>(asked - longRunRewards.begin())];
            if (own + d.bound < r.bound) {
                r.bound = own + d.bound;
                r.converged = r.converged || r.bound <= options.limit.tolerance;
                r.method = "limit, " + l.method(r.converged);
            }
        }
    };

    for (std::size_t p = 0; p < nv; ++p) {
        const Variable& v = model.variables[p];
        if (untilAbsorptionOnly(p))
            continue;
        // Without the .imp file, impulses are the first-entry ones of .var: the
        // values that earn them say so.
        const bool firstEntry = !model.exactImpulses && model.rewards[p].hasImpulses;
        // The true value is the reward weighed by a distribution (or, over an
        // interval, such values integrated), so it lies within the reward's
        // range: a value computed beyond it, by the roundings of a probability
        // near 0 or 1 or the truncations, is moved to its end, which only
        // brings it nearer (a reliability of 1.0000000000000002 or -5e-27
        // prints as 1 or 0, within the same bound).
        const std::pair<double, double> rateRange = range(model.rewards[p].rate);
        const std::pair<double, double> earningRange = range(*earning[p]);
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        auto within = [](double value, double low, double high) {
            return low <= high ? std::clamp(value, low, high) : value;
        };
        auto add = [&](Result& r) {
            if (r.type == RewardType::InstantOfTime)
                r.value = within(r.value, rateRange.first, rateRange.second);
            else if (r.type == RewardType::IntervalOfTime)
                // Integrated over the interval: only the sign is known exactly.
                r.value = within(r.value, earningRange.first >= 0.0 ? 0.0 : -kInfinity,
                                 earningRange.second <= 0.0 ? 0.0 : kInfinity);
            else
                r.value = within(r.value, earningRange.first, earningRange.second);
            refuseUnlessFinite(r);
            if (firstEntry && r.type != RewardType::InstantOfTime) {
                r.method += ", first-entry impulses";
                sol.firstEntryImpulses = true;
            }
            sol.results.push_back(r);
        };
        const double rMax = maxAbs(model.rewards[p].rate);
        const double eMax = maxAbs(*earning[p]);
        for (const TimePoint& t : v.times) {
            Result r;
            r.variable = v.name;
            r.type = v.type;
            r.start = t.start;
            r.stop = t.stop;
            if (v.type == RewardType::SteadyState) {
                limitResult(r, *earning[p]);
                r.longRun = false;
                add(r);
                continue;
            }
            const Snapshot& b = snapshots.at(t.stop);
            r.iterations = b.steps;
            r.steadyState = b.steady;
            r.method = b.method;
            r.boundProven =
                b.proven && (v.type == RewardType::InstantOfTime || snapshots.at(t.start).proven);
            if (v.type == RewardType::InstantOfTime) {
                r.value = b.rateValue[p].value;
                r.bound = b.distBound * rMax + b.rateValue[p].bound;
            } else {
                const Snapshot& a = snapshots.at(t.start);
                const std::size_t i = integrandOf[p];
                // The subtraction's rounding, recovered exactly.
                const ExactSum difference = twoSum(b.integral[i], -a.integral[i]);
                double value = difference.sum;
                double bound = (b.intBound + a.intBound) * eMax + std::fabs(difference.error);
                if (v.type == RewardType::TimeAveragedInterval) {
                    if (t.stop > t.start) {
                        // The length and the quotient each round by at most a unit.
                        value /= t.stop - t.start;
                        bound = bound / (t.stop - t.start) * (1.0 + 2.0 * Accumulator::kUnit) +
                                2.0 * Accumulator::kUnit * std::fabs(value);
                    } else {
                        // An empty interval averages to the earning rate at that time.
                        value = b.earningValue[p].value;
                        bound = b.distBound * eMax + b.earningValue[p].bound;
                    }
                }
                r.value = value;
                r.bound = bound;
            }
            add(r);
        }
        if (options.longRun &&
            (v.type == RewardType::InstantOfTime || v.type == RewardType::TimeAveragedInterval)) {
            Result r;
            r.variable = v.name;
            r.type = v.type;
            limitResult(r,
                        v.type == RewardType::InstantOfTime ? model.rewards[p].rate : *earning[p]);
            add(r);
        }
    }
    if (limits.computed() && limits.limit().power) {
        const Limit& l = limits.limit();
        std::ostringstream s;
        s << "limit from state 1: power iteration of the uniformized chain over " << chain.states()
          << " states, tolerance " << limitOptions.tolerance << "; estimated error "
          << l.errorEstimate;
        if (!l.fallback.empty())
            s << " (" << l.fallback << ")";
        sol.limitSummary = s.str();
    } else if (limits.computed() && limits.limit().distributed) {
        const Limit& l = limits.limit();
        std::ostringstream s;
        s << "limit from state 1: one closed class, holding state 1, over " << chain.states()
          << " states; " << l.method() << ", tolerance " << limitOptions.tolerance
          << "; relative residual " << l.residual << ", estimated error " << l.errorEstimate;
        sol.limitSummary = s.str();
    } else if (limits.computed()) {
        const Limit& l = limits.limit();
        std::ostringstream s;
        s << "limit from state 1: " << l.classesReached << " of " << l.classes
          << " closed class(es) reached, " << l.components << " strongly connected component(s); "
          << l.method();
        if (l.wavefrontLevels > 0 || l.extrapolations > 0) {
            s << " (";
            if (l.wavefrontLevels > 0)
                s << "swept by wavefront, " << l.wavefrontLevels << " levels"
                  << (l.extrapolations > 0 ? "; " : "");
            if (l.extrapolations > 0)
                s << "iterates extrapolated " << l.extrapolations << " times";
            s << ")";
        }
        s << ", tolerance " << limitOptions.tolerance << "; relative residual " << l.residual
          << ", estimated error " << l.errorEstimate;
        if (!l.fallback.empty())
            s << " (" << l.fallback << ")";
        sol.limitSummary = s.str();
    }
    if (options.absorption || !model.untilAbsorption.empty())
        appendAbsorptionResults(model, earning, sol, options.absorption, options.absorptionMethod);
    return sol;
}

} // namespace gensolver
