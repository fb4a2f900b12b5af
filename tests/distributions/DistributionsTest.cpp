#include "distributions/UserDistributions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>
#include <stdexcept>
#include <vector>

namespace {

// Returns the scripted numbers in order, repeating the last; throws after 1000
// draws so that a rejection loop that never accepts ends the test.
class ScriptedGenerator : public RandomNumberGenerator {
public:
    explicit ScriptedGenerator(std::vector<double> values) : values(std::move(values)) {}
    double rnd() override {
        if (draws == 1000)
            throw std::runtime_error("endless rejection loop");
        return values[std::min<std::size_t>(draws++, values.size() - 1)];
    }
    std::vector<double> values;
    int draws = 0;
};

const double ln2 = std::numbers::ln2, e = std::numbers::e;
double phases[] = {1, 1, 10, 3};         // rate 1 with weight 1, rate 10 with weight 3
double tenths[] = {1, .1, 2, .1, 4, .1}; // weights summing to 0.30000000000000004
double rates[] = {1, 4};

// A call with its expected value, and either the number of draws it takes from
// the scripted uniforms (0.5 when none are given) or the variance of its samples.
struct Case {
    const char* call;
    std::function<double(Distributions&)> sample;
    double expected, variance;
    int draws;
    std::vector<double> uniforms;
};
#define CASE(call, expected, draws, ...)                                                           \
    Case(#call, [](Distributions& d) { return d.call; }, expected, 0, draws, {__VA_ARGS__})
#define MOMENTS(call, mean, variance)                                                              \
    Case(#call, [](Distributions& d) { return d.call; }, mean, variance, 0, {})

} // namespace

TEST(DistributionsTest, ClosedFormsAndDrawCounts) {
    const double b = (e + 0.5) / e;                         // GS constant for shape 0.5
    const double y = std::sqrt(-2 * std::log(0.25) / 0.25); // polar factor at W = 1/4
    const Case cases[] = {
        CASE(Exponential(2), ln2 / 2, 1), CASE(Deterministic(7), 7, 0), CASE(Uniform(1, 3), 2, 1),
        CASE(Geometric(0.25), 2, 1), CASE(Weibull(2, 3), 3 * std::sqrt(ln2), 1),
        CASE(Pareto(2, 1), 4, 1), CASE(ConditionalWeibull(2, 1, 1), std::sqrt(1 + ln2) - 1, 1),
        CASE(Erlang(2, 4), 4 * ln2, 2), CASE(Erlang(2.7, 5.4), 4 * ln2, 2),
        CASE(Erlang(0.5, 3), 0, 0), CASE(Gamma(1, 3), 3 * ln2, 1), CASE(Gamma(NAN, 1), NAN, 0),
        CASE(HypoExponential(2, rates), 1.25 * ln2, 2), CASE(HypoExponential(0, rates), 0, 0),
        CASE(Triangular(3, 3, 3), 3, 0), CASE(Triangular(2, 6, 3), 2.5, 1, 0.0625),
        CASE(Triangular(2, 6, 3), 2 + 4 * (1 - std::sqrt(0.1875)), 1, 0.75),
        CASE(Binomial(3, 0.3), 2, 3, 0.2, 0.5, 0.3), CASE(Binomial(0, 0.5), 0, 0),
        CASE(NegativeBinomial(3, 0.5), 1 + 2 + 3, 3, 0.5, 0.2, 0.1),
        // Phase 0 while U1 < 1/4; the last pair is never passed, whatever the rounding.
        CASE(HyperExponential(2, phases), ln2, 2, 0.2, 0.5),
        CASE(HyperExponential(2, phases), ln2 / 10, 2, 0.25, 0.5),
        CASE(HyperExponential(3, tenths), ln2 / 4, 2, std::nextafter(1.0, 0.0), 0.5),
        CASE(HyperExponential(0, phases), 0, 0),
        // (0, 0) lies outside the disc; (0.25, 0.5) gives V1 = -0.5 and W = 1/4, a
        // negative normal that is drawn again unless the mean lifts it.
        CASE(Normal(0, 4), y, 6, 0, 0, 0.25, 0.5, 0.75, 0.5),
        CASE(Normal(5, 4), 5 - y, 4, 0, 0, 0.25, 0.5),
        CASE(Lognormal(1, 4), std::exp(1 - y), 4, 0, 0, 0.25, 0.5),
        // Shape 0.5: (0.5, 0.9) is rejected with P <= 1, (0.9, 0.5) accepted with P > 1.
        CASE(Gamma(0.5, 3), 3 * 0.25 * b * b, 2),
        CASE(Gamma(0.5, 3), -3 * std::log(0.2 * b), 4, 0.5, 0.9, 0.9, 0.5),
        // Shape 2: (0.9, 0.5) fails both tests, (0.5, 0.999) passes only W >= ln Z.
        CASE(Gamma(2, 3), 6, 4, 0.9, 0.5, 0.5, 0.999),
        CASE(Beta(1, 1), 1.0 / 3, 2, 0.5, 0.25), // ln 2 / (ln 2 + ln 4): G1 drawn first
    };
    for (const Case& c : cases) {
        Distributions d;
        delete d.generator;
        auto* generator = new ScriptedGenerator(c.uniforms.empty() ? std::vector{0.5} : c.uniforms);
        d.generator = generator;
        const double value = c.sample(d);
        if (std::isnan(c.expected))
            EXPECT_TRUE(std::isnan(value)) << c.call;
        else
            EXPECT_NEAR(value, c.expected, 1e-12 * std::max(1.0, std::fabs(c.expected))) << c.call;
        EXPECT_EQ(generator->draws, c.draws) << c.call;
    }
}

TEST(DistributionsTest, SampleMomentsOnALongStream) {
    const Case cases[] = {
        MOMENTS(Normal(10, 4), 10, 4),
        MOMENTS(Lognormal(0, 0.25), std::exp(0.125), (std::exp(0.25) - 1) * std::exp(0.25)),
        MOMENTS(Gamma(0.5, 2), 1, 2),
        MOMENTS(Gamma(3, 2), 6, 12),
        MOMENTS(Beta(2, 3), 0.4, 0.04),
    };
    constexpr int n = 200000;
    for (const Case& c : cases) {
        UserDistributions d(1, 12345); // Tausworthe: a stream of its own, fixed by the seed
        double sum = 0, squares = 0, least = 0;
        for (int i = 0; i < n; ++i) {
            const double x = c.sample(d);
            sum += x, squares += x * x, least = std::min(least, x);
        }
        const double mean = sum / n, variance = squares / n - mean * mean;
        // Six standard errors; at this fixed seed the deviations stay below two, so
        // a failure means a wrong formula, not bad luck.
        EXPECT_NEAR(mean, c.expected, 6 * std::sqrt(c.variance / n)) << c.call;
        EXPECT_NEAR(variance, c.variance, 0.1 * c.variance) << c.call;
        EXPECT_GE(least, 0.0) << c.call; // delays, the normal included, are never negative
    }
}
