// Runs the built gen over the shipped model (computer SAN, reliability reward)
// and compares its files and output with expected text derived by hand: three
// states, 1 = (idle 1, busy 0, failed 0), 2 = (0, 1, 0) by arrival, 3 = (0, 0, 1)
// by idle_fail.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>

namespace {

using namespace testsupport;

// The dump of the absorbing state 3 (failed) that -a asks for, then the count line.
const std::string absorbingDumpAndCount = "absorbing state\n"
                                          "  Model: (2)computer\n"
                                          "    idle = 0\n"
                                          "    busy = 0\n"
                                          "    failed = 1\n"
                                          "_$3$\n"
                                          "Generated: 3 states\n";

const std::string experiment1 = "The Global Variable values for experiment Experiment 1 are:\n"
                                "alpha\tdouble\t1000\n"
                                "beta\tdouble\t10000\n"
                                "lambda_i\tdouble\t1e-07\n"
                                "lambda_w\tdouble\t1e-06\n";

// The processor time, printed in scientific notation.
const std::regex
    timeLine("Computation Time \\(user \\+ system\\): \\d\\.\\d{6}e[-+]\\d\\d seconds\n$");
const std::regex traceTimeLine("Computation time \\(user \\+ system\\): \\d+\\.\\d{6}\n$");

class ShippedModel : public ::testing::Test {
protected:
    RunResult gen(const std::string& arguments) {
        return run(binary("gen") + " -P" + dir.path() + " " + arguments, dir.path());
    }
    std::string file(const std::string& name) { return readFile(dir.path() + name); }
    // Output without its last line, which holds the processor time.
    static std::string withoutTime(const std::string& out, const std::regex& time) {
        std::size_t last = out.rfind('\n', out.size() - 2);
        std::string tail = out.substr(last + 1);
        EXPECT_TRUE(std::regex_search(tail, time)) << tail;
        return out.substr(0, last + 1);
    }
    TempDir dir;
};

TEST_F(ShippedModel, ExperimentsOneAndFive) {
    // lambda_w is 4.9999999999999996e-6 in experiment 5, 5.0000000000e-06 at ten
    // digits; the reward and its .pvtype file do not depend on it.
    struct Case {
        std::string name, arguments, globals;
    };
    const Case cases[] = {{"exp1", "-Nexp1 -B0", experiment1},
                          {"exp5", "-Nexp5 -B4",
                           "The Global Variable values for experiment Experiment 5 are:\n"
                           "alpha\tdouble\t1000\nbeta\tdouble\t10000\nlambda_i\tdouble\t1e-07\n"
                           "lambda_w\tdouble\t5e-06\n"}};
    for (const Case& c : cases) {
        RunResult result = gen(c.arguments);
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(withoutTime(result.out, timeLine), "path=[" + dir.path() + "]\n" + c.globals +
                                                         "SSG: SetTraceLevel: 0\n"
                                                         "_$3$\n"
                                                         "Generated: 3 states\n");
        EXPECT_EQ(file(c.name + ".arm"), readFile(testdata("e2e/" + c.name + ".arm")));
        EXPECT_EQ(file(c.name + ".var"), readFile(testdata("e2e/" + c.name + ".var")));
        EXPECT_EQ(file(c.name + ".pvtype"), readFile(testdata("e2e/" + c.name + ".pvtype")));
        EXPECT_FALSE(testsupport::fileExists(dir.path() + c.name + ".det"));
    }
}

TEST_F(ShippedModel, AbsorbingStateIsReported) {
    RunResult result = gen("-Nexp1 -B0 -a");
    ASSERT_EQ(result.status, 0) << result.err;
    // The trace goes to standard output; its state dump does not depend on the level.
    EXPECT_EQ(withoutTime(result.out, timeLine), "path=[" + dir.path() + "]\n" + experiment1 +
                                                     "SSG: SetTraceLevel: 0\n" +
                                                     absorbingDumpAndCount);
    EXPECT_EQ(file("exp1.arm"), readFile(testdata("e2e/exp1.arm")));
}

TEST_F(ShippedModel, TraceAtLevelOneInAFile) {
    RunResult result = gen("-Nexp1 -B0 -l1 -t" + dir.path() + "trace.txt");
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(withoutTime(result.out, timeLine),
              "path=[" + dir.path() + "]\nTraceLevel=1\n" + experiment1 +
                  "SSG: SetTraceLevel: 1\n_$3$\nGenerated: 3 states\n");
    EXPECT_EQ(withoutTime(file("trace.txt"), traceTimeLine), "State Number = 1\n"
                                                             "Firing Action: arrival\n"
                                                             "Firing Action: idle_fail\n"
                                                             "State Number = 2\n"
                                                             "Firing Action: completion\n"
                                                             "Firing Action: busy_fail\n"
                                                             "State Number = 3\n"
                                                             "Generated: 3 states\n");
    EXPECT_EQ(file("exp1.arm"), readFile(testdata("e2e/exp1.arm")));
}

TEST_F(ShippedModel, TraceAtLevelFourOnStandardOutput) {
    RunResult result = gen("-Nexp1 -B0 -l4 -a");
    ASSERT_EQ(result.status, 0) << result.err;
    std::string out = withoutTime(result.out, timeLine);
    // A new state's rate is traced where it is found and again when it is saved;
    // %f shows 1e-7 and 1e-6 as 0.000000 and 0.000001.
    EXPECT_EQ(withoutTime(out, traceTimeLine), "path=[" + dir.path() + "]\nTraceLevel=4\n" +
                                                   experiment1 +
                                                   "SSG: SetTraceLevel: 4\n"
                                                   "State Number = 1\n"
                                                   "Checking Action: arrival\n"
                                                   "Firing Action: arrival\n"
                                                   "The rate to this state: 1000.000000\n"
                                                   "The rate to this state: 1000.000000\n"
                                                   "Checking Action: completion\n"
                                                   "Checking Action: busy_fail\n"
                                                   "Checking Action: idle_fail\n"
                                                   "Firing Action: idle_fail\n"
                                                   "The rate to this state: 0.000000\n"
                                                   "The rate to this state: 0.000000\n"
                                                   "State Number = 2\n"
                                                   "Checking Action: arrival\n"
                                                   "Checking Action: completion\n"
                                                   "Firing Action: completion\n"
                                                   "The rate to this state: 10000.000000\n"
                                                   "Checking Action: busy_fail\n"
                                                   "Firing Action: busy_fail\n"
                                                   "The rate to this state: 0.000001\n"
                                                   "Checking Action: idle_fail\n"
                                                   "State Number = 3\n"
                                                   "Checking Action: arrival\n"
                                                   "Checking Action: completion\n"
                                                   "Checking Action: busy_fail\n"
                                                   "Checking Action: idle_fail\n"
                                                   "The following state is absorbing: \n" +
                                                   absorbingDumpAndCount + "Generated: 3 states\n");
}

TEST_F(ShippedModel, UnwritableFilesStopTheRunWithoutACompleteLookingResult) {
    // The .arm file cannot be opened: no such folder.
    RunResult result = run(binary("gen") + " -P" + dir.path() + "missing/ -Nexp1 -B0");
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.err.ends_with("Error: Could not open state space output file\n"))
        << result.err;

    // The reward file's device is full: the run fails and the .arm header keeps
    // its blank placeholder instead of the count.
    std::filesystem::create_symlink("/dev/full", dir.path() + "exp1.var");
    result = gen("-Nexp1 -B0");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "Error: Could not write file " + dir.path() + "exp1.var\n");
    std::string arm = file("exp1.arm");
    EXPECT_EQ(arm.substr(0, 66), "1\n" + std::string(63, ' ') + "\n");

    // The .arm file's device is full.
    std::filesystem::remove(dir.path() + "exp1.var");
    std::filesystem::remove(dir.path() + "exp1.arm");
    std::filesystem::create_symlink("/dev/full", dir.path() + "exp1.arm");
    result = gen("-Nexp1 -B0");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "Error: Could not write file " + dir.path() + "exp1.arm\n");
}

} // namespace
