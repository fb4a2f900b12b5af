// Balanced failure biasing and the regeneration cycles of biased long-run
// values, on two kinds of independent units (balanced.san: two units of kind a
// failing at la each, one of kind b at lb, every down unit repaired at mu; the
// system is down when both a units or the b unit are down). Each unit is a
// two-state chain: down at t with probability l / (l + mu) (1 - exp(-(l + mu) t))
// from up at 0, and l / (l + mu) in the long run; the units are independent, so
// P(system down) = 1 - (1 - ua^2) (1 - ub).

#include "SimCommandLine.h"
#include "Simulator.h"
#include "Trajectory.h"
#include "firing/ActionTable.h"
#include "pv/PVModel.h"
#include "simulator/ModelUnderTest.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr double la = 1e-3, lb = 1e-5, mu = 1.0;

// P(a unit that is up at 0 is down at t); t infinite: the long-run value.
double unitDown(double lambda, double t) {
    double share = lambda / (lambda + mu);
    return std::isinf(t) ? share : share * (1.0 - std::exp(-(lambda + mu) * t));
}

double systemDown(double t) {
    double a = unitDown(la, t), b = unitDown(lb, t);
    return 1.0 - (1.0 - a * a) * (1.0 - b);
}

bool underValgrind() {
    const char* preload = std::getenv("LD_PRELOAD");
    return preload != nullptr && std::strstr(preload, "vgpreload") != nullptr;
}

class BalancedBias : public ModelUnderTest {
protected:
    // Runs `settings` for seeds 1 .. seeds and counts the runs whose
    // interval of measure m (0: down at 1, 1: unavailability) holds the exact value.
    static int covered(SimSettings settings, int seeds, std::size_t m) {
        const double exact = m == 0 ? systemDown(1.0) : systemDown(INFINITY);
        int count = 0;
        for (int seed = 1; seed <= seeds; ++seed) {
            settings.seed = static_cast<std::uint64_t>(seed);
            SimResult result = simulate(Model, *Actions, settings);
            EXPECT_FALSE(result.likelihoodWarning()) << "seed " << seed;
            const Estimate& e = result.estimates.at(m);
            if (std::fabs(e.value - exact) <= e.halfWidth)
                ++count;
        }
        return count;
    }
};

TEST_F(BalancedBias, ExactValuesLieInTheBiasedIntervals) {
    // About lb (1 - 1/e) + (la (1 - 1/e))^2 and lb + la^2.
    ASSERT_NEAR(systemDown(1.0), 6.72e-6, 0.01e-6);
    ASSERT_NEAR(systemDown(INFINITY), 1.1e-5, 0.01e-5);
    SimSettings settings;
    settings.level = 0.99;
    settings.replications = 2000;
    settings.batches = 2;
    settings.batchEvents = 10;
    int seeds = underValgrind() ? 2 : 10;
    // The unavailability from balanced regeneration cycles.
    settings.balanced = {"failA", "failB"};
    settings.balancedShare = 0.5;
    EXPECT_GE(covered(settings, seeds, 1), seeds - 1);
    // The probability down at 1 from replications biased by factors.
    settings.balanced.clear();
    settings.bias = {{"failA", 100.0}, {"failB", 1000.0}};
    EXPECT_GE(covered(settings, seeds, 0), seeds - 1);
}

// Plain batch means of the unavailability, with batches so short that each
// sees about one outage: the batch means are few large values among many
// zeros, and the Student interval alone put the exact value above its upper
// end for 37 of 400 seeds (8 now). The interval must keep that side near its share.
TEST_F(BalancedBias, ShortBatchesThatSeeFewOutagesStillBoundTheUnavailabilityFromAbove) {
    const double exact = systemDown(INFINITY);
    SimSettings settings;
    settings.replications = 2;
    settings.batches = 30;
    settings.batchEvents = 200;
    const int seeds = 400; // 15 s under memcheck
    int above = 0, below = 0, spread = 0;
    for (int seed = 1; seed <= seeds; ++seed) {
        settings.seed = static_cast<std::uint64_t>(seed);
        SimResult result = simulate(Model, *Actions, settings);
        const Estimate& e = result.estimates.at(1);
        ASSERT_EQ(e.method, "batch means");
        if (e.halfWidth == 0.0)
            continue; // no outage at all: reported as NO SPREAD
        ++spread;
        above += exact > e.high;
        below += exact < e.low;
    }
    EXPECT_GE(spread, seeds * 9 / 10);
    EXPECT_LE(above, spread / 20);
    EXPECT_LE(above + below, spread / 14);
}

TEST_F(BalancedBias, TheBiasedValuesAreNamedAndTight) {
    SimSettings settings;
    settings.replications = 2000;
    settings.balanced = {"failA", "failB"};
    settings.balancedShare = 0.5;
    SimResult result = simulate(Model, *Actions, settings);
    ASSERT_EQ(result.estimates.size(), 2u);
    EXPECT_EQ(result.estimates[0].method,
              "importance sampling, balanced failure biasing 0.5: failA failB");
    EXPECT_EQ(result.estimates[1].method,
              "importance sampling, balanced failure biasing 0.5: failA failB, regeneration "
              "cycles");
    // Plain cycles would see the down state in about one in 90,000.
    const Estimate& unavailability = result.estimates[1];
    EXPECT_GT(unavailability.halfWidth, 0.0);
    EXPECT_LT(unavailability.halfWidth, 0.3 * unavailability.value);
    EXPECT_TRUE(result.weighted);
    // Factors leave the long run to batch means.
    settings.balanced.clear();
    settings.bias = {{"failB", 10.0}};
    settings.replications = 10;
    settings.batches = 2;
    settings.batchEvents = 10;
    EXPECT_EQ(simulate(Model, *Actions, settings).estimates[1].method, "batch means");
}

TEST_F(BalancedBias, BadBalancedBiasingIsRefusedWithOneLine) {
    auto refusal = [](const SimSettings& settings) {
        try {
            simulate(Model, *Actions, settings);
        } catch (const SimulationError& e) {
            return std::string(e.what());
        }
        return std::string();
    };
    SimSettings settings;
    settings.replications = 10;
    settings.balanced = {"failA", "failC"};
    EXPECT_EQ(refusal(settings), "--balanced failC: the model has no timed activity of that name");
    settings.balanced = {"failA", "failA"};
    EXPECT_EQ(refusal(settings), "--balanced failA: the activity is named twice");
    settings.balanced = {"failA"};
    settings.bias = {{"failB", 10.0}};
    EXPECT_EQ(refusal(settings),
              "--balanced: biasing by factors (--bias) is set too; choose one of the two");

    // The command line: the share, the list and the option's repetition.
    const char* bad[][3] = {{"sim", "--balanced", "failA=1"},
                            {"sim", "--balanced", "failA=0"},
                            {"sim", "--balanced", "failA,,failB=0.5"},
                            {"sim", "--balanced", "=0.5"}};
    for (const auto& words : bad) {
        SimCommandLine line;
        std::string error = parseSimCommandLine(3, const_cast<char**>(words), line);
        EXPECT_EQ(error.rfind("--balanced ", 0), 0u) << words[2] << ": " << error;
    }
    const char* good[] = {"sim", "--balanced", "failA,failB=0.8"};
    SimCommandLine line;
    EXPECT_EQ(parseSimCommandLine(3, const_cast<char**>(good), line), "");
    EXPECT_EQ(line.settings.balanced, (std::vector<std::string>{"failA", "failB"}));
    EXPECT_EQ(line.settings.balancedShare, 0.8);
}

} // namespace
