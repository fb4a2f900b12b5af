#include "methods/Regenerative.h"

#include "methods/CachedLimit.h"
#include "methods/EmbeddedChain.h"
#include "methods/ErlangExpansion.h"
#include "methods/RegenerativeAbsorption.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <sstream>

namespace gensolver {

namespace {

constexpr int kOrders = 3; // phases K, 2K and 4K

// The largest magnitude of a vector's entries.
double maxAbs(const std::vector<double>& v) {
    return std::accumulate(v.begin(), v.end(), 0.0,
                           [](double m, double x) { return std::max(m, std::fabs(x)); });
}

double dotProduct(const std::vector<double>& a, const std::vector<double>& b) {
    return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

// One variable's values at one instant of the expansion of one order.
struct Snapshot {
    std::vector<double> rateValue;     // per variable: distribution . rate reward
    std::vector<double> earningValue;  // per variable: distribution . earning
    std::vector<double> integral;      // per variable: integral of earning over [0, t]
    std::vector<double> rateBound;     // per variable: bound of rateValue
    std::vector<double> earningBound;  // per variable: bound of earningValue
    std::vector<double> integralBound; // per variable: bound of integral
    std::uint64_t steps = 0;
    bool steady = false; // the expansion settled at its limit before this instant
};

// Solves the expansion of `phases` phases at every instant.
std::map<double, Snapshot> solveExpansion(const RegenerativeModel& m, std::uint32_t phases,
                                          const std::vector<double>& instants,
                                          const SolveOptions& options, double& rate) {
    const ErlangExpansion x = expandDelays(m, phases);
    // Steady-state detection against the expansion's own limit: once an iterate
    // lies within d of it, every later one does, so a large time point stops
    // early with the bound of the Poisson weights so far plus 2d.
    CachedLimit limits(x.matrix, options.limit);
    const std::size_t nv = m.variables.size();
    std::vector<const std::vector<double>*> integrands;
    for (std::size_t p = 0; p < nv; ++p)
        integrands.push_back(&x.earning[p]);
    TransientSolver ts(x.matrix, integrands, &limits, options.transient);
    rate = ts.rate();
    std::map<double, Snapshot> snapshots;
    for (const double t : instants) {
        ts.advanceTo(t);
        Snapshot s;
        for (std::size_t p = 0; p < nv; ++p) {
            s.rateValue.push_back(dotProduct(ts.distribution(), x.rate[p]));
            s.earningValue.push_back(dotProduct(ts.distribution(), x.earning[p]));
            s.integral.push_back(ts.integral(p));
            s.rateBound.push_back(ts.distributionBound() * maxAbs(x.rate[p]));
            s.earningBound.push_back(ts.distributionBound() * maxAbs(x.earning[p]));
            s.integralBound.push_back(ts.integralBound() * maxAbs(x.earning[p]));
        }
        s.steps = ts.steps();
        s.steady = ts.steadyStateDetected();
        snapshots.emplace(t, std::move(s));
    }
    return snapshots;
}

// The value of variable p over `t` in one expansion, and its uniformization bound.
std::pair<double, double> valueAt(const std::map<double, Snapshot>& snapshots, std::size_t p,
                                  RewardType type, const TimePoint& t) {
    const Snapshot& b = snapshots.at(t.stop);
    if (type == RewardType::InstantOfTime)
        return {b.rateValue[p], b.rateBound[p]};
    const Snapshot& a = snapshots.at(t.start);
    if (type == RewardType::TimeAveragedInterval && !(t.stop > t.start))
        return {b.earningValue[p], b.earningBound[p]};
    double value = b.integral[p] - a.integral[p];
    double bound = b.integralBound[p] + a.integralBound[p];
    if (type == RewardType::TimeAveragedInterval) {
        value /= t.stop - t.start;
        bound /= t.stop - t.start;
    }
    return {value, bound};
}

// Deterministic firings that happen at one instant with positive probability.
// A clock started at time 0 in state 1 expires at its delay; a firing that
// starts a fresh clock passes the instant on, so every firing reached from time 0
// by firings alone (exponential firings inside an activity keep its clock)
// happens at a sum of delays. At such an instant the value jumps, and the phase
// expansions, which smooth each delay over a few standard deviations of its
// phases, converge to a point between the two sides of the jump. Gives, per
// instant asked, the probability of a firing within three standard deviations
// of the finest expansion's phases (of 128 per delay, 2.1 of the order before
// it, which the extrapolation leans on too: a firing nearer than that is not yet
// resolved); 1 where the firings were too many to follow.
std::map<double, double> firingAtoms(const RegenerativeModel& m,
                                     const std::vector<double>& instants,
                                     std::uint32_t finestPhases, std::uint64_t maxSteps) {
    std::map<double, double> atoms;
    for (const double t : instants)
        atoms[t] = 0.0;
    const std::uint32_t n = m.states();
    if (instants.empty() || m.group[0] == RegenerativeModel::kNoDelay)
        return atoms;
    const double last = *std::max_element(instants.begin(), instants.end());
    EmbeddedChain chain(m, 1e-15, maxSteps);
    // Fresh clocks by the instant they started: where, and the variance of the
    // phases' sum that leads there.
    struct Front {
        std::vector<std::pair<std::uint32_t, double>> mass;
        double variance = 0.0;
    };
    std::map<double, Front> fronts;
    fronts[0.0].mass.push_back({0, 1.0});
    // Each run costs a pass over the states: beyond this work the instants are
    // taken to hold a firing.
    constexpr double kWork = 2e9;
    double work = 0.0;
    std::vector<double> part(n, 0.0);
    EmbeddedStep step;
    while (!fronts.empty()) {
        const double start = fronts.begin()->first;
        const Front front = std::move(fronts.begin()->second);
        fronts.erase(fronts.begin());
        for (std::size_t g = 0; g < m.delays.size(); ++g) {
            bool any = false;
            for (const auto& [i, x] : front.mass)
                if (m.group[i] == static_cast<std::int32_t>(g)) {
                    part[i] += x;
                    any = true;
                }
            if (!any)
                continue;
            const double at = start + m.delays[g];
            const double variance =
                front.variance + m.delays[g] * m.delays[g] / static_cast<double>(finestPhases);
            const double reach = 3.0 * std::sqrt(variance);
            if (at <= last + reach) {
                work += static_cast<double>(n);
                if (work > kWork) {
                    for (auto& [t, a] : atoms)
                        a = 1.0;
                    return atoms;
                }
                chain.apply(part, step);
                double fired = 0.0;
                for (const double f : step.fired)
                    fired += f;
                for (auto& [t, a] : atoms)
                    if (std::fabs(at - t) <= reach)
                        a += fired;
                // The firings that start fresh clocks, at `at`.
                std::vector<std::pair<std::uint32_t, double>> next;
                double kept = 0.0;
                for (std::uint32_t i = 0; i < n; ++i)
                    if (step.fired[i] > 0.0)
                        for (std::uint64_t a = m.deterministic.start[i];
                             a < m.deterministic.start[i + 1]; ++a)
                            if (m.group[m.deterministic.target[a]] != RegenerativeModel::kNoDelay) {
                                next.push_back({m.deterministic.target[a],
                                                step.fired[i] * m.deterministic.value[a]});
                                kept += next.back().second;
                            }
                if (kept > 1e-17) {
                    // Sums of the same delays in another order meet at one instant.
                    auto near = fronts.lower_bound(at - 1e-9 * std::max(1.0, at));
                    if (near == fronts.end() || near->first > at + 1e-9 * std::max(1.0, at))
                        near = fronts.emplace(at, Front{}).first;
                    Front& f = near->second;
                    f.mass.insert(f.mass.end(), next.begin(), next.end());
                    f.variance = std::max(f.variance, variance);
                }
            }
            for (const auto& e : front.mass)
                part[e.first] = 0.0;
        }
    }
    return atoms;
}

} // namespace

std::vector<double> firingImpulses(const RegenerativeModel& m, std::size_t p) {
    if (p < m.firingImpulse.size() && !m.firingImpulse[p].empty())
        return m.firingImpulse[p];
    return std::vector<double>(m.states(), 0.0);
}

bool approximateFiringImpulses(const RegenerativeModel& m, std::size_t p) {
    // With the .imp file the model has impulse rewards, and any variable may
    // earn some on deterministic firings only: neither .var nor .imp tells.
    const bool mayEarn = m.exactImpulses ||
                         (p < m.entryImpulse.size() && !m.entryImpulse[p].empty()) ||
                         !m.rewards[p].impulseRate.empty();
    return mayEarn && !m.exactFiringImpulses;
}

void markImpulses(const RegenerativeModel& m, std::size_t p, Result& r, Solution& sol) {
    if (r.type == RewardType::InstantOfTime && !r.untilAbsorption)
        return;
    if (approximateFiringImpulses(m, p)) {
        r.method += ", approximate, no bound: deterministic firings earn first-entry impulses";
        r.bound = std::numeric_limits<double>::infinity();
        r.boundProven = false;
        sol.approximateFiringImpulses = true;
    } else if (!m.exactImpulses && p < m.entryImpulse.size() && !m.entryImpulse[p].empty()) {
        r.method += ", first-entry impulses";
        sol.firstEntryImpulses = true;
    }
}

Solution solveRegenerative(const RegenerativeModel& m, const SolveOptions& options,
                           std::uint32_t phases) {
    Solution sol;
    sol.stem = m.stem;
    sol.states = m.states();
    sol.transitions = m.exponential.target.size() + m.deterministic.target.size();
    const std::size_t nv = m.variables.size();

    // A variable named in the .abs file is reported until absorption only.
    auto untilAbsorptionOnly = [&](std::size_t p) {
        return !m.untilAbsorption.empty() && m.untilAbsorption[p];
    };
    std::vector<double> instants;
    for (std::size_t p = 0; p < nv; ++p)
        if (m.variables[p].type != RewardType::SteadyState && !untilAbsorptionOnly(p))
            for (const TimePoint& t : m.variables[p].times) {
                instants.push_back(t.start);
                instants.push_back(t.stop);
            }
    std::sort(instants.begin(), instants.end());
    instants.erase(std::unique(instants.begin(), instants.end()), instants.end());
    std::map<double, Snapshot> orders[kOrders];
    if (!instants.empty())
        for (int o = 0; o < kOrders; ++o)
            orders[o] = solveExpansion(m, phases << o, instants, options, sol.uniformizationRate);

    const std::map<double, double> atoms =
        firingAtoms(m, instants, phases << (kOrders - 1), options.transient.maxSteps);

    std::optional<RegenerativeLimit> limit;
    auto limitResult = [&](Result& r, std::size_t p, bool earning) {
        if (!limit)
            limit = solveRegenerativeLimit(m, options.limit.tolerance, options.limit.maxSweeps,
                                          options.transient.maxSteps);
        const Rewards& rw = m.rewards[p];
        double value = dotProduct(limit->time, rw.rate);
        double scale = maxAbs(rw.rate);
        if (earning) {
            if (!rw.impulseRate.empty()) {
                value += dotProduct(limit->time, rw.impulseRate);
                scale += maxAbs(rw.impulseRate);
            }
            const std::vector<double> f = firingImpulses(m, p);
            value += dotProduct(limit->firingRate, f);
            // A state fires at most once per delay of its list.
            scale += maxAbs(f) / *std::min_element(m.delays.begin(), m.delays.end());
        }
        r.value = value;
        r.bound = limit->errorEstimate * scale;
        r.boundProven = false;
        r.method = "regenerative limit, embedded chain, " + std::to_string(limit->sweeps) +
                   " power iterations";
        if (limit->direct)
            r.method += ", then formed and solved directly";
        if (!limit->converged)
            r.method += ", NOT CONVERGED";
        r.iterations = limit->sweeps;
        r.steadyState = true;
        r.converged = limit->converged;
    };
    const std::string expansion = "Erlang phases " + std::to_string(phases) + ", " +
                                  std::to_string(phases * 2) + ", " + std::to_string(phases * 4) +
                                  " with Richardson extrapolation, uniformization";

    auto resultOf = [](const Variable& v) {
        Result r;
        r.variable = v.name;
        r.type = v.type;
        return r;
    };
    for (std::size_t p = 0; p < nv; ++p) {
        if (untilAbsorptionOnly(p))
            continue;
        const Variable& v = m.variables[p];
        // A value at a time point weighs a distribution with the rate reward: one
        // extrapolated beyond the reward's range is moved to its end, nearer the
        // true value.
        const std::vector<double>& rate = m.rewards[p].rate;
        auto add = [&](Result& r) {
            if (r.type == RewardType::InstantOfTime && !rate.empty()) {
                const auto [low, high] = std::minmax_element(rate.begin(), rate.end());
                if (*low <= *high)
                    r.value = std::clamp(r.value, *low, *high);
            }
            refuseUnlessFinite(r);
            markImpulses(m, p, r, sol);
            sol.results.push_back(r);
        };
        for (const TimePoint& t : v.times) {
            Result r = resultOf(v);
            r.start = t.start;
            r.stop = t.stop;
            if (v.type == RewardType::SteadyState) {
                limitResult(r, p, true);
                add(r);
                continue;
            }
            std::pair<double, double> at[kOrders];
            for (int o = 0; o < kOrders; ++o)
                at[o] = valueAt(orders[o], p, v.type, t);
            const double coarse = 2.0 * at[1].first - at[0].first;
            const double fine = 2.0 * at[2].first - at[1].first;
            r.value = fine;
            // Where the value depends on the instant of a firing (a firing that can
            // happen at the time point itself, or a delay ending at an interval's
            // end) the expansion converges only as 1/sqrt(K), and successive changes
            // shrink by sqrt 2 rather than 2: the error of V(4K) is then up to
            // 1/(sqrt 2 - 1) times its last change, which the estimate covers.
            const double first = std::fabs(at[1].first - at[0].first);
            const double change = std::fabs(at[2].first - at[1].first);
            const bool linear = first >= 1.8 * change;
            const double estimate = linear ? std::fabs(fine - coarse)
                                           : std::max(std::fabs(fine - coarse), 2.5 * change);
            r.bound = estimate + 2.0 * at[2].second + at[1].second;
            // A firing at the time point itself: the value lies between the two
            // sides of its jump, which the estimate now spans. An instant's rate
            // reward jumps by at most its range; an interval's impulses by the
            // largest a firing earns, at either end.
            const Rewards& rw = m.rewards[p];
            double jump = 0.0, mass = 0.0;
            if (v.type == RewardType::InstantOfTime) {
                mass = atoms.at(t.stop);
                jump = mass * (*std::max_element(rw.rate.begin(), rw.rate.end()) -
                               *std::min_element(rw.rate.begin(), rw.rate.end()));
            } else {
                const double firing = maxAbs(firingImpulses(m, p));
                mass = atoms.at(t.stop) + (t.start > 0.0 ? atoms.at(t.start) : 0.0);
                jump = mass * firing;
                if (v.type == RewardType::TimeAveragedInterval) {
                    if (t.stop > t.start)
                        jump /= t.stop - t.start;
                    else
                        jump = mass * 2.0 *
                               (maxAbs(rw.rate) + maxAbs(rw.impulseRate) +
                                firing / *std::min_element(m.delays.begin(), m.delays.end()));
                }
            }
            r.bound += jump;
            r.boundProven = false;
            r.iterations = orders[kOrders - 1].at(t.stop).steps;
            r.method = expansion;
            if (mass > 0.0) {
                std::ostringstream note;
                note << ", a deterministic firing at the time point with probability "
                     << std::setprecision(3) << std::min(mass, 1.0);
                r.method += note.str();
            }
            r.steadyState = orders[kOrders - 1].at(t.stop).steady;
            if (r.steadyState)
                r.method += ", steady state detected";
            add(r);
        }
        // --steady: the long run of the values at instants and of the averages.
        const bool averaged = v.type == RewardType::TimeAveragedInterval;
        if (options.longRun && (averaged || v.type == RewardType::InstantOfTime)) {
            Result r = resultOf(v);
            r.longRun = true;
            limitResult(r, p, averaged);
            add(r);
        }
    }
    if (limit) {
        std::ostringstream s;
        s << "regenerative limit from state 1: a closed class of " << limit->classStates
          << " state(s); embedded chain by power iteration, " << limit->sweeps << " sweeps, "
          << (limit->direct ? "then formed over the class and solved directly, " : "")
          << limit->steps << " uniformization steps over the delays' subordinated chains, "
          << "tolerance " << options.limit.tolerance << "; estimated error "
          << limit->errorEstimate;
        sol.limitSummary = s.str();
    }
    if (options.absorption || !m.untilAbsorption.empty())
        appendRegenerativeAbsorption(m, options, sol);
    return sol;
}

} // namespace gensolver
