// Hostile values on the command line of the real executable: overrides that are
// no number a model can use.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace testsupport;

TEST(HostileInputTest, NonFiniteOverridesAreRefusedAndTheRunUsesTheTable) {
    TempDir dir;
    RunResult result = run(
        binary("gen") + " -P./ -Nexp1 -B0 -Od:alpha:nan:d:beta:-inf:d:lambda_i:1e999", dir.path());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "!! Override of alpha with \"nan\" refused: not a valid double\n"
                          "!! Override of beta with \"-inf\" refused: not a valid double\n"
                          "!! Override of lambda_i with \"1e999\" refused: not a valid double\n");
    // The rates of experiment 1: alpha 1000, lambda_i 1e-7, beta 10000, lambda_w 1e-6.
    EXPECT_EQ(readFile(dir.path() + "exp1.arm"),
              "1\n3\n" + std::string(61, ' ') +
                  "\n1\n2\n1.0000000000e+03\n3\n1.0000000000e-07\n0\n"
                  "2\n1\n1.0000000000e+04\n3\n1.0000000000e-06\n0\n3\n0\n");
}

} // namespace
