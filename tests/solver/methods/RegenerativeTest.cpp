// The regenerative solver on small processes whose values are known another way:
// an M/D/1 queue against the Pollaczek-Khinchine formulas, a delay against
// Erlang phase chains of growing order written out by hand as exponential
// chains, the clock kept or restarted across exponential firings against the
// renewal argument for each, and a value at a time point against its closed form.

#include "methods/Regenerative.h"
#include "RegenerativeTestSupport.h"
#include "methods/EmbeddedChain.h"
#include "methods/LimitSolver.h"
#include "methods/RateMatrix.h"
#include "methods/Transient.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

namespace {

using namespace gensolver;
using regentest::modelOf;
using regentest::Process;

double dot(const std::vector<double>& a, const std::vector<double>& b) {
    return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

// M/D/1 with arrival rate lambda and service time d, at most n customers: state k
// holds k customers; the service clock runs on across arrivals.
Process queue(double lambda, double d, std::uint32_t n) {
    Process p;
    p.states = n + 1;
    p.delays = {d};
    p.group.assign(n + 1, 0);
    p.group[0] = RegenerativeModel::kNoDelay;
    for (std::uint32_t k = 0; k < n; ++k)
        p.arcs.push_back({k, k + 1, lambda, false});
    for (std::uint32_t k = 1; k <= n; ++k)
        p.arcs.push_back({k, k - 1, 1.0, true});
    return p;
}

TEST(RegenerativeLimit, MD1QueueMatchesPollaczekKhinchine) {
    // Pollaczek-Khinchine for deterministic service (variance 0): the mean number
    // in the system L = rho + rho^2 / (2 (1 - rho)), the mean wait in the queue
    // W = rho d / (2 (1 - rho)). The truncated tail: P(k customers) falls at
    // least as fast as rho^k here, so 80 places leave less than 1e-20 of mass.
    for (const double rho : {0.3, 0.5, 0.7}) {
        const double d = 2.0, lambda = rho / d;
        const std::uint32_t n = rho < 0.6 ? 80 : 160;
        const Process p = queue(lambda, d, n);
        std::vector<double> count(n + 1), waiting(n + 1);
        for (std::uint32_t k = 0; k <= n; ++k) {
            count[k] = k;
            waiting[k] = k > 0 ? k - 1 : 0; // customers in the queue
        }
        const RegenerativeModel m = modelOf(p, {count, waiting});
        const RegenerativeLimit l = solveRegenerativeLimit(m, 1e-13, 100000, 100000000);
        ASSERT_TRUE(l.converged);
        EXPECT_EQ(l.classStates, n + 1);
        const double L = rho + rho * rho / (2.0 * (1.0 - rho));
        const double W = rho * d / (2.0 * (1.0 - rho));
        EXPECT_NEAR(dot(l.time, count), L, 1e-9 * L) << "rho " << rho;
        // Little's law: the mean wait is the mean queue over the arrival rate.
        EXPECT_NEAR(dot(l.time, waiting) / lambda, W, 1e-9 * W) << "rho " << rho;
        // Each departure is a firing: their rate is the arrival rate.
        double departures = 0.0;
        for (const double f : l.firingRate)
            departures += f;
        EXPECT_NEAR(departures, lambda, 1e-10);
    }
}

// A: exponential rate a to B. B (delay d): rate b to C, which stops the clock;
// when the delay expires, back to A. C: rate c back to A. With E = (1 - e^(-b d)) / b
// the expected time in B per cycle, the long-run fractions are (1/a, E,
// (1 - e^(-b d)) / c) over their sum.
constexpr double kA = 0.8, kB = 0.6, kC = 1.5, kD = 1.25;

Process cycle() {
    Process p;
    p.states = 3;
    p.delays = {kD};
    p.group = {RegenerativeModel::kNoDelay, 0, RegenerativeModel::kNoDelay};
    p.arcs = {{0, 1, kA, false}, {1, 2, kB, false}, {1, 0, 1.0, true}, {2, 0, kC, false}};
    return p;
}

double cycleFractionB() {
    const double escape = 1.0 - std::exp(-kB * kD);
    const double e = escape / kB;
    return e / (1.0 / kA + e + escape / kC);
}

// The same cycle with the delay as K exponential phases of rate K/d, written out.
double erlangFractionB(std::uint32_t k) {
    // States: 0 = A, 1 .. k = B's phases, k + 1 = C.
    std::vector<Transition> arcs{{0, 1, kA}, {k + 1, 0, kC}};
    for (std::uint32_t i = 1; i <= k; ++i) {
        arcs.push_back({i, k + 1, kB});
        arcs.push_back({i, i < k ? i + 1 : 0, k / kD});
    }
    const RateMatrix m = buildRateMatrix(k + 2, arcs);
    const Limit l = solveLimit(m, LimitOptions{});
    double b = 0.0;
    for (std::uint32_t i = 1; i <= k; ++i)
        b += l.distribution[i];
    return b;
}

TEST(RegenerativeLimit, ErlangChainsOfGrowingOrderConvergeToIt) {
    const RegenerativeModel m = modelOf(cycle(), {{0.0, 1.0, 0.0}});
    const RegenerativeLimit l = solveRegenerativeLimit(m, 1e-13, 100000, 100000000);
    const double value = l.time[1];
    EXPECT_NEAR(value, cycleFractionB(), 1e-12);
    double last = 1.0;
    for (const std::uint32_t k : {1u, 4u, 16u, 64u, 256u}) {
        const double error = std::fabs(erlangFractionB(k) - value);
        EXPECT_LT(error, last / 3.0) << "order " << k; // O(1/K)
        last = error;
    }
    EXPECT_LT(last, 1e-3);
}

// 0 (delay d) -> 1 at rate a; 1 is listed under a delay of the same length;
// both fire to 2, which returns to 0 at rate c. Kept clock (one list): 0 and 1
// last d together. Restarted clock (1 under its own group): 0 lasts min(Exp(a),
// d), and 1 a full d after a jump.
Process relay(bool keepClock, double a = 0.7, double c = 2.0, double d = 1.5) {
    Process p;
    p.states = 3;
    p.delays = keepClock ? std::vector<double>{d} : std::vector<double>{d, d};
    p.group = {0, keepClock ? 0 : 1, RegenerativeModel::kNoDelay};
    p.arcs = {{0, 1, a, false}, {0, 2, 1.0, true}, {1, 2, 1.0, true}, {2, 0, c, false}};
    return p;
}

// A delay long against its list's rates: the Poisson weights of about 120 steps
// start well above 0, so the expected times rest on the tail kept from there on.
// A delay needing more steps than allowed is refused before anything is formed.
TEST(RegenerativeLimit, LongDelaysAgainstFastRatesAreSolvedOrRefusedByTheirSteps) {
    constexpr double a = 40.0, c = 2.0, d = 3.0;
    const std::vector<double> inRelay{0.0, 0.0, 1.0};
    const RegenerativeLimit l =
        solveRegenerativeLimit(modelOf(relay(false, a, c, d), {inRelay}), 1e-13, 100000, 100000000);
    const double jump = 1.0 - std::exp(-a * d);
    EXPECT_NEAR(l.time[2], (1.0 / c) / (jump / a + jump * d + 1.0 / c), 1e-12);

    try {
        solveRegenerativeLimit(modelOf(relay(false, a, c, 1e12), {inRelay}), 1e-13, 100000,
                               100000000);
        FAIL() << "a delay of 1e12 at rate 40 was not refused";
    } catch (const SolveError& e) {
        EXPECT_NE(std::string(e.what()).find("deterministic delay 1e+12"), std::string::npos)
            << e.what();
        EXPECT_NE(std::string(e.what()).find("--max-steps"), std::string::npos) << e.what();
    }
}

TEST(RegenerativeLimit, ExponentialFiringsInsideTheListKeepTheClock) {
    constexpr double a = 0.7, c = 2.0, d = 1.5;
    const std::vector<double> inRelay{0.0, 0.0, 1.0};
    const RegenerativeLimit kept =
        solveRegenerativeLimit(modelOf(relay(true), {inRelay}), 1e-13, 100000, 100000000);
    EXPECT_NEAR(kept.time[2], (1.0 / c) / (d + 1.0 / c), 1e-12);
    const RegenerativeLimit restarted =
        solveRegenerativeLimit(modelOf(relay(false), {inRelay}), 1e-13, 100000, 100000000);
    const double jump = 1.0 - std::exp(-a * d);
    EXPECT_NEAR(restarted.time[2], (1.0 / c) / (jump / a + jump * d + 1.0 / c), 1e-12);
}

// Seven states under three clocks (two activities of delay 3.7, one of delay 1),
// whose embedded chain's slowest modes are complex: the power iteration's
// changes shrink by about 0.5 and 0.95 in turn. The fractions of time were
// computed in 50-digit arithmetic from the matrix exponentials of the
// subordinated chains and their integrals over the delays.
TEST(RegenerativeLimit, OscillatingChangesDoNotEndTheIterationBeforeItsEstimate) {
    constexpr auto none = RegenerativeModel::kNoDelay;
    Process p;
    p.states = 7;
    p.delays = {3.7, 3.7, 1.0};
    p.group = {1, 2, none, 0, 1, 0, 1};
    p.arcs = {{1, 5, 0.017106288077, false},
              {2, 1, 0.018186490507, false},
              {2, 3, 5.2754057117, false},
              {3, 5, 3.7861513912, false},
              {4, 3, 1.1008838146, false},
              {4, 5, 1.4434962963, false},
              {5, 6, 5.5844947524, false},
              {6, 1, 0.60761231977, false},
              {0, 1, 0.625, true},
              {0, 4, 0.25, true},
              {0, 6, 0.125, true},
              {1, 2, 1.0, true},
              {3, 3, 0.125, true},
              {3, 4, 0.875, true},
              {4, 0, 1.0, true},
              {5, 1, 1.0, true},
              {6, 0, 0.75, true},
              {6, 4, 0.125, true},
              {6, 5, 0.125, true}};
    const double exact[] = {0.08828697040664382540, 0.2829267396393557218,   0.05299118538463793715,
                            0.07497090771291250274, 0.003907232677368101142, 0.05341707449186569003,
                            0.4434998896872162217};
    for (const double tolerance : {1e-12, 1e-10}) {
        const RegenerativeLimit l = solveRegenerativeLimit(
            modelOf(p, {std::vector<double>(7, 0.0)}), tolerance, 100000, 100000000);
        EXPECT_TRUE(l.converged);
        // Below 1e-11 the steps' rounding bound (1,000-odd products) is what is left.
        if (tolerance >= 1e-10) {
            EXPECT_LE(l.errorEstimate, tolerance);
        }
        EXPECT_LE(l.errorEstimate, std::max(tolerance, 1e-11));
        double error = 0.0;
        for (std::uint32_t k = 0; k < 7; ++k)
            error += std::fabs(l.time[k] - exact[k]);
        EXPECT_LE(error, l.errorEstimate) << tolerance;
    }
}

// The 1-norm distance of the fractions of time from the exact ones.
double distance(const RegenerativeLimit& l, const double* exact) {
    double error = 0.0;
    for (std::size_t k = 0; k < l.time.size(); ++k)
        error += std::fabs(l.time[k] - exact[k]);
    return error;
}

// Six states, two clocks of delay 2: state 1 and state 0 exchange mass at
// rates 185 and 480 while the clock of state 1 runs, and the rest of the
// chain is reached at rates down to 2.6e-3. Its embedded chain is nearly
// decomposable: power iterations did not settle in 100,000 sweeps, and their
// last iterate was 4e-4 off. After 1,000 the chain is formed and solved
// directly. The fractions of time were computed in 50-digit arithmetic from
// the matrix exponentials of the subordinated chains.
TEST(RegenerativeLimit, EmbeddedChainsThePowerIterationsCannotSettleAreSolvedDirectly) {
    constexpr auto none = RegenerativeModel::kNoDelay;
    Process p;
    p.states = 6;
    p.delays = {2.0, 2.0};
    p.group = {none, 1, 0, none, none, 1};
    p.arcs = {{0, 1, 1.8482459913e+02, false},
              {1, 0, 4.8005061887e+02, false},
              {1, 5, 2.5751900322e-03, false},
              {2, 4, 9.3586508895e+00, false},
              {2, 5, 1.1118025709e+00, false},
              {3, 4, 3.3211441040e-01, false},
              {4, 2, 3.9135739100e-03, false},
              {4, 3, 4.5252129144e+00, false},
              {4, 5, 8.5087055272e-03, false},
              {5, 2, 1.8694645268e-01, false},
              {1, 1, 0.875, true},
              {1, 2, 0.125, true},
              {2, 0, 0.375, true},
              {2, 1, 0.5, true},
              {2, 3, 0.125, true},
              {5, 0, 0.125, true},
              {5, 3, 0.25, true},
              {5, 4, 0.625, true}};
    const double exact[] = {0.055395142602254203646,    0.021327605256867959471,
                            0.000042582416167357060491, 0.85913950977275927885,
                            0.063029689842779310066,    0.0010654701091718909011};
    const RegenerativeLimit l =
        solveRegenerativeLimit(modelOf(p, {std::vector<double>(6, 0.0)}), 1e-12, 100000, 100000000);
    EXPECT_TRUE(l.converged);
    EXPECT_TRUE(l.direct);
    EXPECT_EQ(l.sweeps, 1000u);
    EXPECT_LE(distance(l, exact), l.errorEstimate);
    EXPECT_LE(l.errorEstimate, 1e-8);
    // With fewer sweeps allowed than the direct solution waits for, it comes
    // when they run out.
    const RegenerativeLimit early =
        solveRegenerativeLimit(modelOf(p, {std::vector<double>(6, 0.0)}), 1e-12, 50, 100000000);
    EXPECT_TRUE(early.direct);
    EXPECT_EQ(early.sweeps, 50u);
    EXPECT_LE(distance(early, exact), early.errorEstimate);
}

// Two classes that the direct solution met only once the power iterations were
// cut short (20 sweeps allowed), with fractions of time in 50-digit
// arithmetic as above:
// - six states under one clock of delay 7, where states 1 and 5 are entered
//   only while the clock runs: no regeneration point, never entered by the
//   embedded chain, whose elimination divided 0 by 0 over them;
// - nine states under three clocks, where states 0 and 1 hold 5e-137 of the
//   time: their flows into the state the elimination kept to the end fell
//   below the range of a double, and it divided 0 by 0 again.
TEST(RegenerativeLimit, DirectSolutionsSkipStatesNoRegenerationEntersAndFoldTinyFlowsFirst) {
    constexpr auto none = RegenerativeModel::kNoDelay;
    Process entered;
    entered.states = 6;
    entered.delays = {7.0};
    entered.group = {0, 0, none, none, 0, 0};
    entered.arcs = {{1, 3, 3.8015273883e-01, false},
                    {2, 3, 3.0630742079e+00, false},
                    {2, 4, 1.8986579902e+00, false},
                    {3, 4, 1.4509459421e-01, false},
                    {4, 3, 1.4229441952e+00, false},
                    {5, 0, 1.9249300267e-01, false},
                    {0, 1, 0.875, true},
                    {0, 3, 0.125, true},
                    {1, 2, 1.0, true},
                    {4, 2, 0.125, true},
                    {4, 5, 0.875, true},
                    {5, 2, 1.0, true}};
    const std::vector<double> enteredExact = {
        0.000017165760050838871984, 8.6202151829021466627e-6, 4.9123513685630219986e-7,
        0.90742801407192451619,     0.092524791149143194753,  0.000020917568561691734218};
    Process tiny;
    tiny.states = 9;
    tiny.delays = {2.0, 7.0, 7.0};
    tiny.group = {2, none, none, 2, 0, 0, none, 2, 1};
    tiny.arcs = {{0, 1, 6.7123010588e-01, false},
                 {0, 4, 1.6749552487e-03, false},
                 {1, 2, 4.6026767508e-01, false},
                 {1, 4, 1.9162640560e-02, false},
                 {2, 3, 6.8348967166e-01, false},
                 {3, 8, 6.0167727833e-01, false},
                 {5, 2, 4.5124762893e+02, false},
                 {6, 2, 1.7352824845e+00, false},
                 {6, 4, 1.6349694720e-01, false},
                 {6, 7, 8.4826989988e+00, false},
                 {7, 8, 4.4609032817e+01, false},
                 {8, 4, 2.0882132099e+02, false},
                 {0, 0, 0.375, true},
                 {0, 6, 0.375, true},
                 {0, 8, 0.25, true},
                 {3, 4, 1.0, true},
                 {4, 5, 0.125, true},
                 {4, 6, 0.125, true},
                 {4, 7, 0.75, true},
                 {5, 6, 1.0, true},
                 {7, 0, 0.375, true},
                 {7, 3, 0.375, true},
                 {7, 4, 0.25, true},
                 {8, 0, 1.0, true}};
    const std::vector<double> tinyExact = {
        4.6130512833174738883e-137, 6.4585379779282282883e-137, 0.085775397320074246973,
        0.095994517575754058926,    0.80368774252558057433,     0.00011131467665980979847,
        0.0048384711526515736621,   0.0076761627909340849971,   0.0019163939583456513113};
    for (const auto& [process, exact] :
         {std::pair{entered, enteredExact}, std::pair{tiny, tinyExact}}) {
        SCOPED_TRACE(process.states);
        const RegenerativeLimit l = solveRegenerativeLimit(
            modelOf(process, {std::vector<double>(process.states, 0.0)}), 1e-12, 20, 100000000);
        EXPECT_TRUE(l.converged);
        EXPECT_TRUE(l.direct);
        EXPECT_LE(distance(l, exact.data()), l.errorEstimate);
        EXPECT_LE(l.errorEstimate, 1e-8);
    }
}

TEST(RegenerativeLimit, RefusesSeveralClosedClasses) {
    Process p;
    p.states = 3;
    p.delays = {1.0};
    p.group = {0, RegenerativeModel::kNoDelay, RegenerativeModel::kNoDelay};
    p.arcs = {{0, 1, 0.5, true}, {0, 2, 0.5, true}};
    EXPECT_THROW(solveRegenerativeLimit(modelOf(p, {{0.0, 1.0, 0.0}}), 1e-12, 1000, 100000000), SolveError);
}

// 0 holds for exactly d, then 1 returns to 0 at rate mu.
Process delayThenReturn(double d, double mu) {
    Process p;
    p.states = 2;
    p.delays = {d};
    p.group = {0, RegenerativeModel::kNoDelay};
    p.arcs = {{0, 1, 1.0, true}, {1, 0, mu, false}};
    return p;
}

TEST(RegenerativeTransient, ValuesAtTimePointsMatchTheirClosedFormWithinTheEstimate) {
    // 0 holds for exactly d, then 1 returns to 0 at rate mu. For d < t < 2d:
    // P(in 1 at t) = e^(-mu (t - d)); the time spent in 1 over [0, t] is
    // (1 - e^(-mu (t - d))) / mu; averaged over [d, t] it is that over t - d.
    constexpr double d = 2.0, mu = 0.9;
    const Process p = delayThenReturn(d, mu);
    const std::vector<double> inOne{0.0, 1.0};
    const double t = 3.1;
    RegenerativeModel m = modelOf(p, {inOne, inOne, inOne}, RewardType::InstantOfTime, {{t, t}});
    m.variables[1].type = RewardType::IntervalOfTime;
    m.variables[1].times = {{0.0, t}};
    m.variables[2].type = RewardType::TimeAveragedInterval;
    m.variables[2].times = {{d, t}};
    const double e = std::exp(-mu * (t - d));
    const double expected[] = {e, (1.0 - e) / mu, (1.0 - e) / mu / (t - d)};
    const Solution s = solveRegenerative(m, SolveOptions{});
    ASSERT_EQ(s.results.size(), 3u);
    for (std::size_t v = 0; v < 3; ++v) {
        const Result& r = s.results[v];
        EXPECT_FALSE(r.boundProven);
        EXPECT_LE(std::fabs(r.value - expected[v]), r.bound) << r.variable;
        EXPECT_LT(r.bound, 0.1) << r.variable;
    }
}

// At t = d the clock started at time 0 fires with probability 1: the process is
// in 0 just before and in 1 from then on. The phase expansions smooth the firing
// symmetrically about d and converge to neither side (0.47, where the estimate
// from the expansions alone was 0.04); the estimate must span both. Sums of
// delays reached by firings alone are such instants too: a clock that restarts
// itself with probability q fires at 2d with probability q.
TEST(RegenerativeTransient, AFiringAtTheTimePointItselfIsWithinTheEstimateFromBothSides) {
    constexpr double d = 2.0, mu = 0.9;
    const std::vector<double> inOne{0.0, 1.0};
    const Solution s = solveRegenerative(
        modelOf(delayThenReturn(d, mu), {inOne}, RewardType::InstantOfTime, {{d, d}}),
        SolveOptions{});
    ASSERT_EQ(s.results.size(), 1u);
    const Result& r = s.results[0];
    EXPECT_LE(std::fabs(r.value - 0.0), r.bound);
    EXPECT_LE(std::fabs(r.value - 1.0), r.bound);
    EXPECT_NE(r.method.find("deterministic firing at the time point"), std::string::npos);

    // 0 restarts its clock (q) or moves to 1 (1 - q), which returns at rate mu.
    // Just before 2d the process is in 1 with probability (1 - q) e^(-mu d), just
    // after with (1 - q) e^(-mu d) + q (1 - q).
    constexpr double q = 0.4;
    Process restart;
    restart.states = 2;
    restart.delays = {d};
    restart.group = {0, RegenerativeModel::kNoDelay};
    restart.arcs = {{0, 0, q, true}, {0, 1, 1.0 - q, true}, {1, 0, mu, false}};
    const Solution t = solveRegenerative(
        modelOf(restart, {inOne}, RewardType::InstantOfTime, {{2.0 * d, 2.0 * d}}), SolveOptions{});
    const Result& u = t.results[0];
    const double before = (1.0 - q) * std::exp(-mu * d);
    EXPECT_LE(std::fabs(u.value - before), u.bound);
    EXPECT_LE(std::fabs(u.value - (before + q * (1.0 - q))), u.bound);
    EXPECT_LT(u.bound, 2.0 * q * (1.0 - q) + 0.05);
}

TEST(RegenerativeTransient, LargeTimePointsStopAtTheLimitWithinTheBound) {
    // 0 holds for exactly d, then 1 returns to 0 at rate mu: in the long run the
    // process is in 1 a fraction (1/mu) / (d + 1/mu) of the time, for every
    // Erlang order alike (each keeps the mean d). At t = 1e4 the finest expansion
    // would take about 1.02 (128/d + mu) t = 6.6e5 steps.
    constexpr double d = 2.0, mu = 0.9;
    const Process p = delayThenReturn(d, mu);
    const std::vector<double> inOne{0.0, 1.0};
    RegenerativeModel m = modelOf(p, {inOne, inOne}, RewardType::InstantOfTime, {{1e4, 1e4}});
    m.variables[1].type = RewardType::TimeAveragedInterval;
    m.variables[1].times = {{5e3, 1e4}};
    const double exact = (1.0 / mu) / (d + 1.0 / mu);
    const Solution s = solveRegenerative(m, SolveOptions{});
    ASSERT_EQ(s.results.size(), 2u);
    for (const Result& r : s.results) {
        EXPECT_TRUE(r.steadyState) << r.variable;
        EXPECT_LE(std::fabs(r.value - exact), r.bound) << r.variable;
        EXPECT_LT(r.bound, 1e-9) << r.variable;
        EXPECT_LT(r.iterations, 50000u) << r.variable;
    }
}

} // namespace
