// Steady-state detection in uniformization fetches the limit only once the
// iterate's mass on transient states is below its threshold: a chain that is
// absorbed only slowly never pays for the limit (its mean times to absorption),
// and gives the same bits as without detection; a chain that drains into a
// closed class quickly still detects, at that class's closed-form distribution,
// unless its limit was kept short of its target; one that drains slowly into
// several classes detects once the distance stalls at the iterates' roundings.

#include "SolverTestSupport.h"
#include "methods/LimitSolver.h"
#include "methods/Transient.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

using gensolver::RateMatrix;
using gensolver::TransientOptions;
using gensolver::TransientSolver;

// The chain's limit on request, counting the requests; the transient states are
// given by the test, which knows them by construction.
class CountingLimit : public gensolver::LimitSource {
public:
    CountingLimit(const RateMatrix& m, std::vector<char> transient)
        : m_(m), transient_(std::move(transient)) {}
    const gensolver::Limit& limit() override {
        ++requests;
        if (!limit_) {
            limit_ = gensolver::solveLimit(m_, gensolver::LimitOptions{});
            limit_->accepted = accepted;
        }
        return *limit_;
    }
    const std::vector<char>* transientStates() override { return &transient_; }
    int requests = 0;
    bool accepted = false; // the limit as kept short of its target

private:
    const RateMatrix& m_;
    std::vector<char> transient_;
    std::optional<gensolver::Limit> limit_;
};

TransientOptions uniformization() {
    TransientOptions o;
    o.method = gensolver::TransientChoice::Uniformization;
    return o;
}

TEST(SteadyDetectionTest, SlowAbsorptionNeverAsksForTheLimit) {
    // States 0 and 1 swap at rate 1000; 0 is absorbed in 2 at rate 1e-9. At t = 50
    // uniformization takes 1e5 steps and the mass is all on transient states.
    const RateMatrix m =
        gensolver::buildRateMatrix(3, {{0, 1, 1000.0}, {1, 0, 1000.0}, {0, 2, 1e-9}});
    const std::vector<double> up{1.0, 1.0, 0.0};
    CountingLimit limits(m, {1, 1, 0});
    TransientSolver detecting(m, {&up}, &limits, uniformization());
    TransientSolver plain(m, {&up}, nullptr, uniformization());
    for (const double t : {10.0, 50.0}) {
        detecting.advanceTo(t);
        plain.advanceTo(t);
        EXPECT_EQ(detecting.distribution(), plain.distribution()) << "t = " << t;
        EXPECT_EQ(detecting.integral(0), plain.integral(0)) << "t = " << t;
        EXPECT_EQ(detecting.distributionBound(), plain.distributionBound()) << "t = " << t;
    }
    EXPECT_EQ(limits.requests, 0);
    EXPECT_FALSE(detecting.steadyStateDetected());
}

TEST(SteadyDetectionTest, QuickDrainStillDetects) {
    // State 0 leaves at rate 50 for the class {1, 2} (1 -> 2 at 1000, 2 -> 1 at
    // 500), whose distribution is (1/3, 2/3). By t = 100 the transient mass is
    // e^{-5000}.
    const RateMatrix m =
        gensolver::buildRateMatrix(3, {{0, 1, 50.0}, {1, 2, 1000.0}, {2, 1, 500.0}});
    const std::vector<double> atTwo{0.0, 0.0, 1.0};
    CountingLimit limits(m, {1, 0, 0});
    TransientSolver s(m, {&atTwo}, &limits, uniformization());
    s.advanceTo(100.0);
    EXPECT_TRUE(s.steadyStateDetected());
    EXPECT_EQ(limits.requests, 1);
    EXPECT_NEAR(s.distribution()[1], 1.0 / 3.0, s.distributionBound());
    EXPECT_NEAR(s.distribution()[2], 2.0 / 3.0, s.distributionBound());
    EXPECT_LT(s.distributionBound(), 1e-11);
    // Before 0 drains (t = 0.2: e^{-10} left) the limit is not asked for.
    CountingLimit early(m, {1, 0, 0});
    TransientOptions o = uniformization();
    o.detectAfter = 16;
    TransientSolver e(m, {&atTwo}, &early, o);
    e.advanceTo(0.2);
    EXPECT_EQ(early.requests, 0);
    EXPECT_FALSE(e.steadyStateDetected());
}

TEST(SteadyDetectionTest, ALimitKeptShortOfItsTargetIsNotUsed) {
    // The chain of QuickDrainStillDetects, its limit marked as kept above its
    // target: it is fetched, but the steps run to the end as without one.
    const RateMatrix m =
        gensolver::buildRateMatrix(3, {{0, 1, 50.0}, {1, 2, 1000.0}, {2, 1, 500.0}});
    const std::vector<double> atTwo{0.0, 0.0, 1.0};
    CountingLimit limits(m, {1, 0, 0});
    limits.accepted = true;
    TransientSolver detecting(m, {&atTwo}, &limits, uniformization());
    TransientSolver plain(m, {&atTwo}, nullptr, uniformization());
    detecting.advanceTo(100.0);
    plain.advanceTo(100.0);
    EXPECT_FALSE(detecting.steadyStateDetected());
    EXPECT_EQ(limits.requests, 1);
    EXPECT_EQ(detecting.distribution(), plain.distribution());
    EXPECT_EQ(detecting.distributionBound(), plain.distributionBound());
}

TEST(SteadyDetectionTest, SlowDrainIntoSeveralClassesDetectsOnceTheDistanceStalls) {
    // A ring of 40 transient states leaks at 1e-3, from its even states into the
    // class {40, 41} and from its odd ones into the absorbing state 42. Over the
    // 1e5 steps of the drain the iterates' roundings split the mass between the
    // classes by more than a sixteenth of the bound asked, and the distance to
    // the limit stalls above it; the remaining 5e5 steps would add far more
    // rounding than that distance, so the iterate is taken as settled.
    std::vector<gensolver::Transition> ts;
    for (std::uint32_t i = 0; i < 40; ++i) {
        ts.push_back({i, (i + 1) % 40, 1.0});
        ts.push_back({i, i % 2 == 0 ? 40u : 42u, 1e-3});
    }
    ts.push_back({40, 41, 1.0});
    ts.push_back({41, 40, 3.0});
    const RateMatrix m = gensolver::buildRateMatrix(43, ts);
    std::vector<double> inClass(43, 0.0);
    inClass[40] = inClass[41] = 1.0;
    std::vector<char> transient(43, 0);
    std::fill(transient.begin(), transient.begin() + 40, 1);
    CountingLimit limits(m, transient);
    TransientSolver detecting(m, {&inClass}, &limits, uniformization());
    TransientSolver plain(m, {&inClass}, nullptr, uniformization());
    detecting.advanceTo(2e5);
    plain.advanceTo(2e5);
    ASSERT_TRUE(detecting.steadyStateDetected());
    EXPECT_LT(detecting.steps(), plain.steps() / 4);
    EXPECT_LT(detecting.distributionBound(), plain.distributionBound());
    const std::vector<long double> exact = solvertest::foldedLimit(43, ts, 40, {{40, 41}, {42}});
    const double reached = static_cast<double>(exact[40] + exact[41]);
    const double value = detecting.distribution()[40] + detecting.distribution()[41];
    EXPECT_NEAR(value, reached, detecting.distributionBound());
    EXPECT_NEAR(value, plain.distribution()[40] + plain.distribution()[41],
                detecting.distributionBound() + plain.distributionBound());
}

} // namespace
