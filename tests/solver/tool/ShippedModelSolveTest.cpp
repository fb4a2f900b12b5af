// The shipped model end to end: gen writes the files of each of the study's ten
// experiments, gen-solve computes the reliability at t = 24, and the answer is
// compared with the closed form of the two transient states.
//
// States idle (1), busy (2), failed (3, absorbing); idle -> busy at alpha,
// busy -> idle at beta, idle -> failed at lambda_i, busy -> failed at lambda_w.
// With a = alpha + lambda_i and b = beta + lambda_w the transient block is
// A = [[-a, alpha], [beta, -b]] and the reliability R(t) = e1 exp(A t) 1 has the
// Laplace transform (s + b + alpha) / ((s + a)(s + b) - alpha beta). Its poles
// s1, s2 solve s^2 + (a + b) s + c = 0 with c = ab - alpha beta = alpha lambda_w +
// beta lambda_i + lambda_i lambda_w (written without cancellation). Then
// R(t) = sum over k of (s_k + b + alpha) / (s_k - s_other) exp(s_k t). s2 is taken
// from the quadratic formula's cancellation-free root and s1 = c / s2.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testsupport::binary;
using testsupport::run;
using testsupport::TempDir;

long double closedFormReliability(long double alpha, long double beta, long double li,
                                  long double lw, long double t) {
    const long double a = alpha + li, b = beta + lw;
    const long double c = alpha * lw + beta * li + li * lw;
    const long double s2 = (-(a + b) - std::sqrt((a - b) * (a - b) + 4 * alpha * beta)) / 2;
    const long double s1 = c / s2;
    return (s1 + b + alpha) / (s1 - s2) * std::exp(s1 * t) +
           (s2 + b + alpha) / (s2 - s1) * std::exp(s2 * t);
}

// Splits the second line of gen-solve's CSV output into its fields.
std::vector<std::string> firstCsvRow(const std::string& out) {
    std::istringstream in(out);
    std::string header, row;
    std::getline(in, header);
    std::getline(in, row);
    std::vector<std::string> fields;
    std::istringstream cells(row);
    for (std::string f; std::getline(cells, f, ',');)
        fields.push_back(f);
    return fields;
}

TEST(ShippedModelSolve, ReliabilityAt24MatchesTheClosedFormInEveryExperiment) {
    TempDir dir;
    double lambdaW = 1e-6; // the study's range: 1e-6, then 1e-6 added once per experiment
    for (int experiment = 0; experiment < 10; ++experiment, lambdaW += 1e-6) {
        SCOPED_TRACE("experiment " + std::to_string(experiment));
        const std::string name = "exp" + std::to_string(experiment + 1);
        ASSERT_EQ(run(binary("gen") + " -P" + dir.path() + " -N" + name + " -B" +
                      std::to_string(experiment))
                      .status,
                  0);
        const auto solved =
            run(binary("gen-solve") + " -P" + dir.path() + " -N" + name + " --format csv");
        ASSERT_EQ(solved.status, 0) << solved.err;
        const std::vector<std::string> f = firstCsvRow(solved.out);
        ASSERT_EQ(f.size(), 11u) << solved.out;
        EXPECT_EQ(f[0], "reliability");
        EXPECT_EQ(f[2], "24");
        const double value = std::stod(f[4]);
        const double bound = std::stod(f[5]);
        const long double exact = closedFormReliability(1000.0L, 10000.0L, 1e-7L, lambdaW, 24.0L);
        EXPECT_NEAR(value, static_cast<double>(exact), 1e-12 * static_cast<double>(exact));
        // The unreliability, a number near 1e-4, to 1e-9 of itself as well.
        EXPECT_NEAR(1.0 - value, static_cast<double>(1.0L - exact),
                    1e-9 * static_cast<double>(1.0L - exact));
        EXPECT_LE(std::fabs(value - static_cast<double>(exact)), bound);
        EXPECT_LE(bound, 1e-9);
    }
}

TEST(ShippedModelSolve, TableNamesTheMethodAndSteadyStateGivesTheAbsorbingLimit) {
    TempDir dir;
    ASSERT_EQ(run(binary("gen") + " -P" + dir.path() + " -Nexp1 -B0").status, 0);
    const auto solved = run(binary("gen-solve") + " " + dir.path() + "exp1 --steady");
    ASSERT_EQ(solved.status, 0) << solved.err;
    EXPECT_NE(solved.out.find("reliability  instant of time  24"), std::string::npos) << solved.out;
    // Uniformization would take 248,838 steps at t = 24: the stiff method is chosen,
    // and the other is taken when asked for.
    EXPECT_NE(solved.out.find("implicit extrapolation"), std::string::npos) << solved.out;
    const auto uniformized =
        run(binary("gen-solve") + " " + dir.path() + "exp1 --transient uniformization");
    EXPECT_NE(uniformized.out.find("uniformization"), std::string::npos) << uniformized.out;
    EXPECT_NE(solved.out.find("1 of 1 closed class(es) reached"), std::string::npos);
    // Failure is certain in the long run: the limit is the absorbing state, value 0.
    const auto csv = run(binary("gen-solve") + " " + dir.path() + "exp1 --steady --format csv");
    EXPECT_NE(csv.out.find("\nreliability,0,inf,inf,0,"), std::string::npos) << csv.out;
}

} // namespace

namespace {

// Mean time to failure from idle: with m1, m2 the mean times from idle and busy,
// a m1 - alpha m2 = 1 and b m2 - beta m1 = 1, so m1 = (b + alpha) / c.
TEST(ShippedModelSolve, MeanTimeToFailureMatchesTheClosedFormInEveryFormat) {
    TempDir dir;
    ASSERT_EQ(run(binary("gen") + " -P" + dir.path() + " -Nexp1 -B0").status, 0);
    const long double alpha = 1000.0L, beta = 10000.0L, li = 1e-7L, lw = 1e-6L;
    const double exact =
        static_cast<double>((beta + lw + alpha) / (alpha * lw + beta * li + li * lw));
    const auto csv = run(binary("gen-solve") + " " + dir.path() + "exp1 --absorption --format csv");
    ASSERT_EQ(csv.status, 0) << csv.err;
    EXPECT_EQ(csv.err, "");
    const std::string key = "\ntime to absorption,1,0,absorption,";
    const std::size_t at = csv.out.find(key);
    ASSERT_NE(at, std::string::npos) << csv.out;
    const double value = std::stod(csv.out.substr(at + key.size()));
    EXPECT_NEAR(value, exact, 1e-12 * exact);
    EXPECT_NE(csv.out.find("\nabsorption probability,0,inf,inf,1,0,"), std::string::npos);

    const auto json =
        run(binary("gen-solve") + " " + dir.path() + "exp1 --absorption --format json");
    ASSERT_EQ(json.status, 0) << json.err;
    EXPECT_NE(json.out.find("{\"variable\": \"time to absorption\", \"type\": 1, \"long_run\": "
                            "false, \"start\": 0, \"stop\": null, \"until_absorption\": true"),
              std::string::npos)
        << json.out;
    const auto table = run(binary("gen-solve") + " " + dir.path() + "exp1 --absorption");
    EXPECT_NE(table.out.find("time to absorption      interval of time  0      absorption  "),
              std::string::npos)
        << table.out;
}

} // namespace
