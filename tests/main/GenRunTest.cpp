// Runs the built gen and checks its standard output, standard error and exit status.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using testsupport::binary;
using testsupport::run;
using testsupport::RunResult;
using testsupport::TempDir;

// Runs gen with the given arguments inside a scratch folder, where any output files go.
class GenRunTest : public ::testing::Test {
protected:
    RunResult gen(const std::string& arguments) {
        return run(binary("gen") + " " + arguments, dir.path());
    }
    TempDir dir;
};

TEST_F(GenRunTest, UsageAndArgumentErrors) {
    const std::string usage = "usage:  gen -Pexperimentfilepath -Nexperimentname -hhash_value"
                              " -Bexperimentnumber -Ffiletype -edb_entity -sdb_macserver "
                              " -ltrace_level[0-4] -tTraceFilename\n"
                              "Example:  gen -P. -Nexp1 -B0\n";
    const std::string noPath = "ERROR: missing option -P (experiment path)\n";
    auto outOfRange = [](const std::string& number) {
        return "ERROR: experiment number " + number + " (option -B) is out of range 0..9\n";
    };
    const struct {
        const char* arguments;
        int status;
        std::string out, err;
    } cases[] = {
        {"", 0, usage, ""}, // fewer than three arguments
        {"-P.", 0, usage, ""},
        {"-P. -Nexp1", 0, usage, ""},
        {"-Nexp1 -B0 -l1", 1, "TraceLevel=1\n", noPath},
        {"-B0 -h0.5 -N", 1, "ERROR: unknown argument: -N\n",
         noPath + "ERROR: missing option -N (experiment name)\n"},
        {"-P./ -Nexp1 -B10", 1, "path=[./]\n", outOfRange("10")},
        {"-P./ -Nexp1 -B-1", 1, "path=[./]\n", outOfRange("-1")},
        {"-P./ -Nexp1 -B99999999999", 1, "path=[./]\n", outOfRange("2147483647")}, // clamped
    };
    for (const auto& c : cases) {
        RunResult result = gen(c.arguments);
        EXPECT_EQ(result.status, c.status) << c.arguments;
        EXPECT_EQ(result.out, c.out) << c.arguments;
        EXPECT_EQ(result.err, c.err) << c.arguments;
    }
}

TEST_F(GenRunTest, EchoesAndUnknownArgumentsComeBeforeTheStudy) {
    RunResult result = gen("-l0 -P./ -zap -y word -Nexp1 -B0 -a absorbed -Od:alpha:5");
    EXPECT_EQ(result.status, 0) << result.err;
    const std::string start =
        "TraceLevel=0\npath=[./]\nERROR: unknown argument: -zap\nERROR: unknown argument: word\n"
        "OverrideString is d:alpha:5\n"
        "The Global Variable values for experiment Experiment 1 are:\nalpha\tdouble\t1000\n"
        "beta\tdouble\t10000\nlambda_i\tdouble\t1e-07\nlambda_w\tdouble\t1e-06\n"
        "Overriding global variables in ssg\n";
    EXPECT_EQ(result.out.substr(0, start.size()), start);
}

} // namespace
