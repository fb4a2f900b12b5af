#include "methods/RegenerativeAbsorption.h"

#include "methods/Absorption.h"
#include "methods/AbsorptionResults.h"
#include "methods/EmbeddedChain.h"
#include "methods/Regenerative.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

namespace gensolver {

namespace {

// Truncation of each row's uniformization: the errors it leaves are multiplied by
// the expected number of regenerations before absorption.
constexpr double kRowEpsilon = 1e-15;

double largest(const std::vector<double>& v) {
    double x = 0.0;
    for (const double e : v)
        x = std::max(x, std::fabs(e));
    return x;
}

constexpr double kUnit = std::numeric_limits<double>::epsilon() / 2; // unit roundoff

// Bound on the rounding of a row's mass: the list's uniformization, and the
// sums and divisions that form the row.
double rowRounding(const EmbeddedChain& chain) {
    return chain.stepRounding() + 8.0 * kUnit;
}

// The embedded chain as a Markov chain over the model's states and one more, the
// last, which absorbs the mass the truncated rows lose.
struct EmbeddedRows {
    std::vector<Transition> arcs;          // rate P_ij / h_i for j != i
    std::vector<double> hold;              // h_i: the expected length of a step from i
    std::vector<double> lost;              // per state, the mass its truncated row loses
    std::vector<char> closed;              // listed states whose row only returns to them
    std::vector<std::vector<double>> earn; // per variable, reward per step over h_i
};

EmbeddedRows embeddedRows(const RegenerativeModel& m, EmbeddedChain& chain,
                          const std::vector<std::vector<double>>& rate,
                          const std::vector<std::vector<double>>& firing) {
    const std::uint32_t n = m.states();
    const std::size_t nv = rate.size();
    EmbeddedRows r;
    r.hold.assign(n + 1, 1.0);
    r.lost.assign(n, 0.0);
    r.closed.assign(n, 0);
    r.earn.assign(nv, std::vector<double>(n + 1, 0.0));
    std::vector<double> next(n, 0.0), expired, occupied;
    std::vector<std::uint32_t> touched;
    const SparseRows& e = m.exponential;
    const SparseRows& d = m.deterministic;
    for (std::uint32_t i = 0; i < n; ++i) {
        if (m.group[i] == RegenerativeModel::kNoDelay) {
            // Exactly the exponential chain: a step lasts 1 / exit on average.
            if (m.exitRate[i] > 0.0)
                r.hold[i] = 1.0 / m.exitRate[i];
            for (std::uint64_t a = e.start[i]; a < e.start[i + 1]; ++a)
                r.arcs.push_back({i, e.target[a], e.value[a]});
            for (std::size_t p = 0; p < nv; ++p)
                r.earn[p][i] = rate[p][i];
            continue;
        }
        chain.fromListed(i, expired, occupied);
        const std::vector<std::uint32_t>& list = chain.listOf(i);
        auto add = [&](std::uint32_t j, double x) {
            if (next[j] == 0.0)
                touched.push_back(j);
            next[j] += x;
        };
        double hold = 0.0;
        std::vector<double> reward(nv, 0.0);
        for (std::size_t l = 0; l < list.size(); ++l) {
            const std::uint32_t s = list[l];
            hold += occupied[l];
            for (std::size_t p = 0; p < nv; ++p)
                reward[p] += occupied[l] * rate[p][s] + expired[l] * firing[p][s];
            if (expired[l] != 0.0)
                for (std::uint64_t a = d.start[s]; a < d.start[s + 1]; ++a)
                    add(d.target[a], expired[l] * d.value[a]);
            if (occupied[l] != 0.0)
                for (std::uint64_t a = e.start[s]; a < e.start[s + 1]; ++a)
                    if (m.group[e.target[a]] != m.group[i])
                        add(e.target[a], occupied[l] * e.value[a]);
        }
        r.hold[i] = hold;
        for (std::size_t p = 0; p < nv; ++p)
            r.earn[p][i] = reward[p] / hold;
        double kept = 0.0;
        bool leaves = false;
        for (const std::uint32_t j : touched) {
            kept += next[j];
            if (j != i && next[j] > 0.0) {
                r.arcs.push_back({i, j, next[j] / hold});
                leaves = true;
            }
            next[j] = 0.0;
        }
        touched.clear();
        // Within the rounding, the row is taken as it is: the chain below reads it
        // as rates, which scales it to 1. Only a real loss (the truncation's) goes
        // to the extra absorbing state; a rounding's would end a share of the
        // paths, a large one where absorption comes only after many regenerations.
        r.lost[i] = 1.0 - kept > rowRounding(chain) ? 1.0 - kept : 0.0;
        r.closed[i] = leaves ? 0 : 1;
    }
    return r;
}

// Per state, whether it is reached from `from` along arcs (forwards), or reaches
// one of `from` (backwards).
std::vector<char> reachable(std::uint32_t n, const std::vector<Transition>& arcs,
                            const std::vector<std::uint32_t>& from, bool forwards) {
    std::vector<std::uint64_t> start(std::size_t{n} + 1, 0);
    for (const Transition& t : arcs)
        ++start[(forwards ? t.from : t.to) + 1];
    for (std::uint32_t i = 0; i < n; ++i)
        start[i + 1] += start[i];
    std::vector<std::uint32_t> other(arcs.size());
    {
        std::vector<std::uint64_t> at(start.begin(), start.end() - 1);
        for (const Transition& t : arcs)
            other[at[forwards ? t.from : t.to]++] = forwards ? t.to : t.from;
    }
    std::vector<char> seen(n, 0);
    std::vector<std::uint32_t> queue(from);
    for (const std::uint32_t i : from)
        seen[i] = 1;
    for (std::size_t q = 0; q < queue.size(); ++q)
        for (std::uint64_t a = start[queue[q]]; a < start[queue[q] + 1]; ++a)
            if (!seen[other[a]]) {
                seen[other[a]] = 1;
                queue.push_back(other[a]);
            }
    return seen;
}

std::string number(double x) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g", x);
    return text;
}

} // namespace

void appendRegenerativeAbsorption(const RegenerativeModel& m, const SolveOptions& options,
                                  Solution& solution) {
    const std::uint32_t n = m.states();
    const std::size_t nv = m.variables.size();
    EmbeddedChain chain(m, kRowEpsilon, options.transient.maxSteps);
    {
        std::vector<std::uint64_t> listed(m.delays.size(), 0);
        for (const std::int32_t g : m.group)
            if (g != RegenerativeModel::kNoDelay)
                ++listed[static_cast<std::size_t>(g)];
        // Each listed state's row takes its delay's steps over its list: as much
        // work as (list / states) steps over the whole chain.
        double work = 0.0;
        for (std::size_t g = 0; g < listed.size(); ++g)
            work += static_cast<double>(listed[g]) *
                    static_cast<double>(chain.stepsPerRun(static_cast<std::uint32_t>(g))) *
                    static_cast<double>(listed[g]) / static_cast<double>(n);
        if (work > static_cast<double>(options.transient.maxSteps))
            throw SolveError("values until absorption: forming the embedded chain of the "
                             "deterministic delays takes the work of " +
                             number(work) +
                             " uniformization steps over the whole chain, more "
                             "than the " +
                             std::to_string(options.transient.maxSteps) +
                             " allowed (raise --max-steps)");
    }
    // Per variable: what it earns per unit time in each state, and per
    // deterministic firing from it.
    std::vector<std::vector<double>> rate(nv), firing(nv);
    for (std::size_t p = 0; p < nv; ++p) {
        const Rewards& rw = m.rewards[p];
        rate[p] = rw.rate;
        if (!rw.impulseRate.empty())
            for (std::uint32_t i = 0; i < n; ++i)
                rate[p][i] += rw.impulseRate[i];
        firing[p] = firingImpulses(m, p);
    }
    EmbeddedRows rows = embeddedRows(m, chain, rate, firing);

    std::vector<std::uint32_t> absorbing;
    for (std::uint32_t i = 0; i < n; ++i)
        if (m.group[i] == RegenerativeModel::kNoDelay && m.exitRate[i] == 0.0)
            absorbing.push_back(i);
    const std::vector<char> reached = reachable(n, rows.arcs, {0}, true);
    for (std::uint32_t i = 0; i < n; ++i)
        if (reached[i] && rows.closed[i])
            throw SolveError("state " + std::to_string(i + 1) +
                             " is never left: its deterministic activity only fires back into "
                             "it and no exponential activity leaves it; values until absorption "
                             "of a model with deterministic delays take absorbing states to be "
                             "states without any activity");
    // The mass a truncated row loses goes to the extra absorbing state, but only
    // from states that can reach a true one, so that no closed class is taken for
    // one that absorbs.
    const std::vector<char> reaches = reachable(n, rows.arcs, absorbing, false);
    for (std::uint32_t i = 0; i < n; ++i)
        if (reaches[i] && rows.lost[i] > 0.0)
            rows.arcs.push_back({i, n, rows.lost[i] / rows.hold[i]});

    Model embedded;
    embedded.stem = m.stem;
    embedded.variables = m.variables;
    embedded.untilAbsorption = m.untilAbsorption;
    embedded.matrix = buildRateMatrix(n + 1, rows.arcs);
    const Absorption a = solveAbsorption(embedded.matrix, options.absorptionMethod);

    // The rows computed, P~, h~ and R~, err from the exact P, h and R by at most
    // eP, eh and eR per row (1-norms of the truncations). With x~ the expected
    // visits from state 1 in the computed chain and t the exact expected reward
    // from each state until absorption, the exact value minus the computed one is
    //   x~ (R - R~) + x~ (P - P~) t,
    // at most X (eR + eP max t), X the sum of x~. The exact mean times t obey
    // t - t~ = N ((h - h~) + (P - P~) t~) with N the exact expected visits, at most
    // t / h_min, so max t <= max t~ / (1 - c), c = (eh + eP max t~) / h_min.
    double maxExit = 0.0, minDelay = m.delays.empty() ? 1.0 : m.delays[0];
    for (std::uint32_t i = 0; i < n; ++i)
        if (m.group[i] != RegenerativeModel::kNoDelay)
            maxExit = std::max(maxExit, m.exitRate[i]);
    for (const double d : m.delays)
        minDelay = std::min(minDelay, d);
    // Forming a row rounds too: its sums over the list and the divisions by h_i
    // (the rates P_ij / h_i and the rewards per unit time) add a few units of
    // roundoff of the row's mass, of h_i and of the reward.
    double holdMax = 0.0;
    for (std::uint32_t i = 0; i < n; ++i)
        if (m.group[i] != RegenerativeModel::kNoDelay)
            holdMax = std::max(holdMax, rows.hold[i]);
    // A row kept within its rounding is scaled to 1 by up to that much more.
    constexpr double kRowRounding = 8.0 * kUnit;
    const double eh = chain.occupancyBound() + kRowRounding * holdMax;
    const double eP = chain.expiryBound() + eh * maxExit + kRowRounding + rowRounding(chain);
    std::vector<double> perVisit(n + 1, 0.0);
    double hMin = HUGE_VAL;
    for (std::uint32_t i = 0; i < n; ++i)
        if (a.time[i] > 0.0) {
            perVisit[i] = 1.0 / rows.hold[i];
            hMin = std::min(hMin, rows.hold[i]);
        }
    double visitsBound = 0.0;
    const double visits = a.accumulated(perVisit, visitsBound) + visitsBound;

    AbsorptionMargins margins;
    margins.note = ", embedded chain of the deterministic delays";
    margins.variable.assign(nv, 0.0);
    margins.probability = 3.0 * visits * eP;
    if (a.outcome == Absorption::Outcome::Certain && a.transient > 0) {
        const double c = (eh + eP * a.longestMean) / (hMin - eh);
        if (!(hMin > eh) || !(c < 0.5))
            throw SolveError("values until absorption: the truncation and rounding of the delays' "
                             "uniformizations (" +
                             number(eP) + " per regeneration step) cannot be bounded over the " +
                             number(a.longestMean / hMin) +
                             " regenerations that absorption may take");
        const double tMax = a.longestMean / (1.0 - c);
        margins.time = visits * (eh + eP * tMax);
        for (std::size_t p = 0; p < nv; ++p) {
            const double perTime = largest(rate[p]) + largest(firing[p]) / minDelay;
            const double eR =
                eh * largest(rate[p]) + (chain.expiryBound() + kRowRounding) * largest(firing[p]);
            margins.variable[p] = visits * (eR + eP * perTime * tMax);
        }
    }
    std::vector<const std::vector<double>*> earning(nv);
    for (std::size_t p = 0; p < nv; ++p)
        earning[p] = &rows.earn[p];
    const std::size_t first = solution.results.size();
    appendAbsorptionResults(a, embedded, earning, margins, solution,
                            options.absorption || m.untilAbsorption.empty());
    for (std::size_t k = first; k < solution.results.size(); ++k) {
        Result& r = solution.results[k];
        for (std::size_t p = 0; p < nv; ++p)
            if (r.untilAbsorption && r.variable == m.variables[p].name)
                markImpulses(m, p, r, solution);
    }
}

} // namespace gensolver
