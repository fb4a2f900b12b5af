// Climbing the two-state balances: on reversible chains it ends on the mode of
// the stationary distribution, known in closed form, with parallel transitions
// counted as one; on a chain without rates back it stays where it starts.

#include "methods/LikelyState.h"
#include "methods/Components.h"
#include "methods/RateMatrix.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using gensolver::Transition;

// A chain and its components.
struct Closed {
    Closed(std::uint32_t n, const std::vector<Transition>& ts)
        : m(gensolver::buildRateMatrix(n, ts)), comps(gensolver::findComponents(m)) {}
    gensolver::Climb climb(std::uint32_t from) const {
        return gensolver::climbToLikelyState(m, comps, from);
    }
    gensolver::RateMatrix m;
    gensolver::Components comps;
};

// n units failing at rate a and repaired at rate b each, states by the number
// failed k (index k): pi is binomial(n, a / (a + b)), whose mode is
// floor((n + 1) a / (a + b)).
std::vector<Transition> unitsFailing(std::uint32_t n, double a, double b) {
    std::vector<Transition> ts;
    for (std::uint32_t k = 0; k < n; ++k) {
        ts.push_back({k, k + 1, a * (n - k)});
        ts.push_back({k + 1, k, b * (k + 1)});
    }
    return ts;
}

TEST(LikelyState, ClimbsReversibleChainsToTheirMode) {
    // One dimension: mode floor(61 * 0.1) = 6 from both ends; the reference
    // (row 0) is on the way from neither.
    {
        const Closed c(61, unitsFailing(60, 1.0, 9.0));
        const gensolver::Climb down = c.climb(60);
        EXPECT_EQ(down.state, 6u);
        // log(pi_6 / pi_60) = log(C(60, 6) / C(60, 60)) + 54 log(9 / 1): the gain.
        EXPECT_NEAR(down.logGain,
                    std::lgamma(61.0) - std::lgamma(7.0) - std::lgamma(55.0) + 54 * std::log(9.0),
                    1e-9);
        EXPECT_EQ(c.climb(1).state, 6u);
        EXPECT_EQ(c.climb(6).state, 6u);
    }
    // Two independent groups (state i * 41 + j): modes floor(41 * 0.2) = 8 and
    // floor(41 * 0.05) = 2, reached from every corner but the reference's.
    const std::uint32_t side = 41;
    std::vector<Transition> ts;
    for (std::uint32_t i = 0; i < side; ++i)
        for (std::uint32_t j = 0; j < side; ++j) {
            const std::uint32_t s = i * side + j;
            if (i + 1 < side) {
                ts.push_back({s, s + side, 1.0 * (40 - i)});
                ts.push_back({s + side, s, 4.0 * (i + 1)});
            }
            if (j + 1 < side) {
                ts.push_back({s, s + 1, 1.0 * (40 - j)});
                ts.push_back({s + 1, s, 19.0 * (j + 1)});
            }
        }
    const Closed c(side * side, ts);
    for (const std::uint32_t from : {side - 1, (side - 1) * side, side * side - 1})
        EXPECT_EQ(c.climb(from).state, 8 * side + 2) << from;
}

TEST(LikelyState, SumsParallelRatesAndNeedsRatesBack) {
    // The units chain with every rate split in two parallel transitions climbs
    // as the unsplit one; from the mode it does not move.
    std::vector<Transition> split;
    for (const Transition& t : unitsFailing(60, 1.0, 9.0)) {
        split.push_back({t.from, t.to, 0.25 * t.rate});
        split.push_back({t.from, t.to, 0.75 * t.rate});
    }
    const Closed halves(61, split);
    EXPECT_EQ(halves.climb(60).state, 6u);
    EXPECT_EQ(halves.climb(0).state, 6u);
    EXPECT_EQ(halves.climb(6).logGain, 0.0);
    // A one-way ring: no neighbour has a rate back, so no ratio is known.
    std::vector<Transition> ring;
    for (std::uint32_t k = 0; k < 10; ++k)
        ring.push_back({k, (k + 1) % 10, 1.0 + k});
    const Closed c(10, ring);
    EXPECT_EQ(c.climb(4).state, 4u);
}

} // namespace
