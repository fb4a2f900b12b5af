// The simulator on sampled delays (lifetimes.san): a component whose lifetime is
// Weibull of shape 2 and scale 10, and a renewal process whose gaps are
// lognormal with log-mean 0 and log-variance 0.25. With a fixed seed the exact
// values lie within the 99 % intervals:
//   - the reliability R(t) = exp(-(t / scale)^shape) at t = 5, 10, 15;
//   - the mean number of renewals M(3), the solution of the renewal equation
//     M(t) = F(t) + integral over [0, t] of M(t - x) dF(x), integrated here on a
//     fine grid from the lognormal distribution function F.
// A scale that turns negative during the run is refused with one message.

#include "Simulator.h"
#include "Trajectory.h"
#include "firing/ActionTable.h"
#include "pv/PVModel.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

extern double scale; // the model's global, which the Weibull activity reads at each draw

namespace {

constexpr double shape = 2.0, scale0 = 10.0;
constexpr double logMean = 0.0, logVariance = 0.25;

// The lognormal distribution function: Phi((ln t - mu) / sigma).
double lognormalCdf(double t) {
    if (t <= 0.0)
        return 0.0;
    return 0.5 * std::erfc(-(std::log(t) - logMean) / std::sqrt(2.0 * logVariance));
}

// M(t) from the renewal equation by the trapezoid rule in the Stieltjes integral
// on n steps: M_j = F_j + sum_k (M_{j-k} + M_{j-k+1}) / 2 (F_k - F_{k-1}), where
// the k = 1 term holds M_j itself and is moved to the left.
double renewalMean(double t, int n) {
    const double h = t / n;
    std::vector<double> F(static_cast<std::size_t>(n) + 1), M(F.size(), 0.0);
    for (int j = 0; j <= n; ++j)
        F[static_cast<std::size_t>(j)] = lognormalCdf(j * h);
    const double dF1 = F[1] - F[0];
    for (int j = 1; j <= n; ++j) {
        double sum =
            F[static_cast<std::size_t>(j)] + 0.5 * M[static_cast<std::size_t>(j - 1)] * dF1;
        for (int k = 2; k <= j; ++k) {
            const auto a = static_cast<std::size_t>(j - k), b = static_cast<std::size_t>(k);
            sum += 0.5 * (M[a] + M[a + 1]) * (F[b] - F[b - 1]);
        }
        M[static_cast<std::size_t>(j)] = sum / (1.0 - 0.5 * dF1);
    }
    return M[static_cast<std::size_t>(n)];
}

// A run of the model's first experiment; the study and the action table are
// built at the first call.
SimResult simulateLifetimes(const SimSettings& settings) {
    static PVModel* const model = [] {
        BaseStudyClass* study = GenerateStudy();
        study->SetGVs(0);
        return study->GetPVModel(false);
    }();
    static const ActionTable actions(model);
    return simulate(model, actions, settings);
}

TEST(Lifetimes, ReliabilityAndRenewalCountLieInThe99PercentIntervals) {
    // The trapezoid rule's error falls as the grid's step squared: two grids
    // agreeing to 1e-4 put the integration's error far below the intervals.
    const double renewals = renewalMean(3.0, 1200);
    ASSERT_NEAR(renewals, renewalMean(3.0, 600), 1e-4);
    const double exact[] = {std::exp(-std::pow(5.0 / scale0, shape)),
                            std::exp(-std::pow(10.0 / scale0, shape)),
                            std::exp(-std::pow(15.0 / scale0, shape)), renewals};
    SimSettings settings;
    settings.level = 0.99;
    settings.replications = 4000;
    settings.seed = 7;
    SimResult result = simulateLifetimes(settings);
    ASSERT_EQ(result.estimates.size(), 4u);
    for (int m = 0; m < 4; ++m) {
        const Estimate& e = result.estimates[static_cast<std::size_t>(m)];
        EXPECT_NEAR(e.value, exact[m], e.halfWidth) << e.measure.name << " at " << e.measure.start;
        // Intervals wide enough to hide a wrong parameterisation are no test.
        EXPECT_LT(e.halfWidth, 0.05) << e.measure.name;
    }
}

TEST(Lifetimes, AParameterOutOfRangeAtRunTimeIsRefusedNamingTheActivity) {
    // The first run builds the study, whose experiment sets the scale.
    SimSettings few;
    few.replications = 2;
    simulateLifetimes(few);
    for (double bad : {-1.0, 0.0, std::nan("")}) {
        scale = bad;
        SimSettings settings;
        settings.replications = 10;
        try {
            simulateLifetimes(settings);
            ADD_FAILURE() << "scale " << bad << " accepted";
        } catch (const SimulationError& e) {
            const std::string text = e.what();
            EXPECT_NE(text.find("activity wearout"), std::string::npos) << text;
            EXPECT_NE(text.find("weibull scale"), std::string::npos) << text;
            EXPECT_EQ(text.find('\n'), std::string::npos) << text;
        }
    }
    scale = scale0;
}

} // namespace
