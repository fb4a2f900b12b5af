// The simulator on the discrete and phase-type delay kinds (kinds.san): the time
// a component stays up over [0, 100] is the mean of its one delay, since every
// delay here exceeds 100 with a probability below 1e-12. With a fixed seed the
// closed-form means lie within the 99 % intervals:
//   - geometric, p = 1/4, failures before the first success: (1 - p) / p = 3;
//   - conditional weibull, shape 2, scale 10, age 5: the mean residual life
//     e^(1/4) * 10 * (sqrt(pi) / 2) * erfc(1/2);
//   - binomial, 10 trials of 0.3: 3;
//   - negative binomial, 3 successes of 0.5, failures before them: 3 * 0.5 / 0.5 = 3;
//   - hyperexponential, 0.3 of rate 0.5 and 0.7 of rate 4: 0.3 / 0.5 + 0.7 / 4;
//   - hypoexponential, rates 1 and 2: 1 / 1 + 1 / 2.
// Parameters out of range during the run are refused with one message naming
// the activity, the hyperexponential's probabilities included when their sum is
// not 1.

#include "Simulator.h"
#include "Trajectory.h"
#include "simulator/ModelUnderTest.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

extern double split; // the first hyperexponential probability, read at each draw

namespace {

using Kinds = ModelUnderTest;

TEST_F(Kinds, EachDelaysMeanLiesInThe99PercentInterval) {
    const double pi = std::acos(-1.0);
    const double exact[] = {3.0,
                            std::exp(0.25) * 10.0 * std::sqrt(pi) / 2.0 * std::erfc(0.5),
                            3.0,
                            3.0,
                            0.3 / 0.5 + 0.7 / 4.0,
                            1.0 + 0.5};
    SimSettings settings;
    settings.level = 0.99;
    settings.replications = 6000;
    settings.seed = 11;
    SimResult result = simulate(Model, *Actions, settings);
    ASSERT_EQ(result.estimates.size(), 6u);
    for (int m = 0; m < 6; ++m) {
        const Estimate& e = result.estimates[static_cast<std::size_t>(m)];
        EXPECT_NEAR(e.value, exact[m], e.halfWidth) << e.measure.name;
        // An interval wide enough to hide a wrong parameter order is no test:
        // swapping a rate and its probability moves each mean by far more.
        EXPECT_LT(e.halfWidth, 0.1 * exact[m]) << e.measure.name;
    }
}

TEST_F(Kinds, AProbabilityOutOfRangeAtRunTimeIsRefusedNamingTheActivity) {
    // 1.5 and not-a-number fail the probability's own range; 0.5 passes it but
    // makes the probabilities sum to 1.2.
    const char* const reasons[] = {"hyperexponential probability", "hyperexponential probability",
                                   "sum of the hyperexponential probabilities"};
    const double bad[] = {1.5, std::nan(""), 0.5};
    for (int k = 0; k < 3; ++k) {
        split = bad[k];
        SimSettings settings;
        settings.replications = 10;
        try {
            simulate(Model, *Actions, settings);
            ADD_FAILURE() << "probability " << bad[k] << " accepted";
        } catch (const SimulationError& e) {
            const std::string text = e.what();
            EXPECT_NE(text.find("activity hyper"), std::string::npos) << text;
            EXPECT_NE(text.find(reasons[k]), std::string::npos) << text;
            EXPECT_EQ(text.find('\n'), std::string::npos) << text;
        }
    }
    split = 0.3;
}

} // namespace
