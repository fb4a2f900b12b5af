// Runs the built gen and checks its standard output, standard error and exit status.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using testsupport::binary;
using testsupport::run;
using testsupport::RunResult;
using testsupport::TempDir;

const std::string usage = "usage:  gen -Pexperimentfilepath -Nexperimentname -hhash_value"
                          " -Bexperimentnumber -Ffiletype -edb_entity -sdb_macserver "
                          " -ltrace_level[0-4] -tTraceFilename\n"
                          "Example:  gen -P. -Nexp1 -B0\n";

const std::string experiment1 = "The Global Variable values for experiment Experiment 1 are:\n"
                                "alpha\tdouble\t1000\n"
                                "beta\tdouble\t10000\n"
                                "lambda_i\tdouble\t1e-07\n"
                                "lambda_w\tdouble\t1e-06\n";

// Runs gen with the given arguments inside a scratch folder, where any output files go.
class GenRunTest : public ::testing::Test {
protected:
    RunResult gen(const std::string& arguments) {
        std::string command = binary("gen");
        command.append(" ").append(arguments);
        return run(command, dir.path());
    }
    TempDir dir;
};

// The run goes on past the study set-up, so a successful run's output starts with these lines.
void expectStartsWith(const std::string& out, const std::string& start) {
    EXPECT_EQ(out.substr(0, start.size()), start);
}

TEST_F(GenRunTest, FewerThanThreeArgumentsPrintTheUsage) {
    for (const char* arguments : {"", "-P.", "-P. -Nexp1"}) {
        RunResult result = gen(arguments);
        EXPECT_EQ(result.status, 0) << arguments;
        EXPECT_EQ(result.out, usage) << arguments;
        EXPECT_EQ(result.err, "") << arguments;
    }
}

TEST_F(GenRunTest, EchoesAndUnknownArgumentsComeBeforeTheStudy) {
    RunResult result = gen("-l0 -P./ -zap -y word -Nexp1 -B0 -a absorbed -Od:alpha:5");
    EXPECT_EQ(result.status, 0) << result.err;
    expectStartsWith(result.out, "TraceLevel=0\n"
                                 "path=[./]\n"
                                 "ERROR: unknown argument: -zap\n"
                                 "ERROR: unknown argument: word\n"
                                 "OverrideString is d:alpha:5\n" +
                                     experiment1 + "Overriding global variables in ssg\n");
}

TEST_F(GenRunTest, OverrideMessagesDoNotStopTheRun) {
    RunResult result = gen("-P./ -Nexp1 -B0 -O x:alpha:1:d:gamma:2:d:beta:two:i:beta:3:d:beta");
    EXPECT_EQ(result.status, 0);
    expectStartsWith(result.out,
                     "path=[./]\n"
                     "OverrideString is x:alpha:1:d:gamma:2:d:beta:two:i:beta:3:d:beta\n" +
                         experiment1 +
                         "Type x not recognized\n"
                         "Not enough double override tokens"
                         "Overriding global variables in ssg\n");
    expectStartsWith(result.err,
                     "!! study_1RangeStudy::OverrideGVValue: Global Variable gamma does not "
                     "exist.\n"
                     "!! Override of beta with \"two\" refused: not a valid double\n"
                     "!! Override of beta with \"3\" refused: type letter i (int) does not match "
                     "its type double\n");
}

TEST_F(GenRunTest, PathAndNameAreRequired) {
    RunResult result = gen("-Nexp1 -B0 -l1");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "TraceLevel=1\n");
    EXPECT_EQ(result.err, "ERROR: missing option -P (experiment path)\n");

    result = gen("-B0 -h0.5 -N");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "ERROR: unknown argument: -N\n");
    EXPECT_EQ(result.err, "ERROR: missing option -P (experiment path)\n"
                          "ERROR: missing option -N (experiment name)\n");
}

TEST_F(GenRunTest, ExperimentNumberMustNameAnExperiment) {
    for (const char* number : {"10", "-1", "99999999999"}) {
        RunResult result = gen(std::string("-P./ -Nexp1 -B") + number);
        EXPECT_EQ(result.status, 1) << number;
        EXPECT_EQ(result.out, "path=[./]\n") << number;
        std::string shown = number[0] == '9' ? "2147483647" : number;
        EXPECT_EQ(result.err,
                  "ERROR: experiment number " + shown + " (option -B) is out of range 0..9\n")
            << number;
    }
    // Non-digits convert to 0, the first experiment.
    RunResult result = gen("-P./ -Nexp1 -Babc");
    EXPECT_EQ(result.status, 0);
    expectStartsWith(result.out, "path=[./]\n" + experiment1);
}

} // namespace
