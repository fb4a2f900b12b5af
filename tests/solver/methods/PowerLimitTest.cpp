// The power iteration's limit against closed forms: an irreducible two-state
// chain, a chain that splits between two absorbing states, and one that ends in
// a closed pair of states or an absorbing state. Its error estimate must cover
// the true distance, and an iteration cut short must say so.

#include "methods/PowerLimit.h"
#include "methods/RateMatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using namespace gensolver;

double distance(const std::vector<double>& a, const std::vector<double>& b) {
    double d = 0.0;
    for (std::size_t j = 0; j < a.size(); ++j)
        d += std::fabs(a[j] - b[j]);
    return d;
}

struct Case {
    const char* name;
    std::uint32_t states;
    std::vector<Transition> transitions;
    std::vector<double> limit; // by hand
};

TEST(PowerLimitTest, ReachesTheClosedFormsWithinItsEstimate) {
    const Case cases[] = {
        // 1 <-> 2 at rates 1 and 3: pi = (3/4, 1/4).
        {"two states", 2, {{0, 1, 1.0}, {1, 0, 3.0}}, {0.75, 0.25}},
        // 1 -> 2 at 1, 1 -> 3 at 3, both absorbing: 1/4 and 3/4.
        {"two absorbing", 3, {{0, 1, 1.0}, {0, 2, 3.0}}, {0.0, 0.25, 0.75}},
        // 1 -> 2 at 2, 1 -> 4 at 1 (absorbing); 2 <-> 3 at 1 and 4: the pair is
        // reached with 2/3 and shares it 4/5, 1/5.
        {"closed pair",
         4,
         {{0, 1, 2.0}, {0, 3, 1.0}, {1, 2, 1.0}, {2, 1, 4.0}},
         {0.0, 8.0 / 15.0, 2.0 / 15.0, 1.0 / 3.0}},
    };
    for (const Case& c : cases) {
        const RateMatrix m = buildRateMatrix(c.states, c.transitions);
        LocalSteps steps(m);
        LimitOptions options;
        options.tolerance = 1e-12;
        const Limit l = powerLimit(steps, options);
        EXPECT_TRUE(l.converged) << c.name;
        EXPECT_TRUE(l.power) << c.name;
        const double error = distance(l.distribution, c.limit);
        EXPECT_LE(error, std::max(l.errorEstimate, 1e-15)) << c.name;
        EXPECT_LE(l.errorEstimate, 1e-11) << c.name;
    }
}

TEST(PowerLimitTest, SaysSoWhenItStopsShort) {
    // A slow pair: 1 <-> 2 at 1e-6 both ways, uniformized at about 1e-6, mixes in
    // a few steps; add a fast third state so that q is large and mixing is slow.
    const RateMatrix m = buildRateMatrix(3, {{0, 1, 1e-6}, {1, 0, 1e-6}, {1, 2, 1e3}, {2, 1, 1e3}});
    LocalSteps steps(m);
    LimitOptions options;
    options.tolerance = 1e-12;
    options.maxSweeps = 200;
    const Limit l = powerLimit(steps, options);
    EXPECT_FALSE(l.converged);
    EXPECT_EQ(l.sweeps, 200u);
    EXPECT_NE(l.method().find("NOT CONVERGED"), std::string::npos);
    // Its estimate does not claim what it has not reached: the true limit is
    // (1/3, 1/3, 1/3) and the iterate is still near state 1 (distance 4/3).
    const double error = distance(l.distribution, {1.0 / 3, 1.0 / 3, 1.0 / 3});
    EXPECT_GE(l.errorEstimate, error);
}

} // namespace
