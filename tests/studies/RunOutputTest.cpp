// What gen-study reads from a model executable's output: the experiment count from
// the refusal of experiment -1, the heading block with the name and globals, and the
// message of a failed run. The texts are written as the README gives gen's output.

#include "RunOutput.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace genstudies;

TEST(RunOutput, TheRefusalOfAnOutOfRangeExperimentGivesTheCount) {
    EXPECT_EQ(experimentCountFromRefusal(
                  "ERROR: experiment number -1 (option -B) is out of range 0..9\n"),
              10);
    EXPECT_EQ(experimentCountFromRefusal("warning first\n"
                                         "ERROR: experiment number -1 (option -B) is out of "
                                         "range 0..0\n"),
              1);
    EXPECT_EQ(experimentCountFromRefusal(
                  "ERROR: experiment number -1 (option -B) is out of range 0..-1\n"),
              0);
    EXPECT_EQ(experimentCountFromRefusal(""), -1);
    EXPECT_EQ(experimentCountFromRefusal("ERROR: missing option -P (experiment path)\n"), -1);
    EXPECT_EQ(experimentCountFromRefusal(
                  "ERROR: experiment number -1 (option -B) is out of range 0..x\n"),
              -1);
}

TEST(RunOutput, TheHeadingGivesTheNameAndEachGlobalAsPrinted) {
    const ExperimentHeading h = readHeading("path=[out/]\n"
                                            "The Global Variable values for experiment "
                                            "long timer are:\n"
                                            "lambda\tdouble\t0.001\n"
                                            "C\tchar\tx\n"
                                            "B\tbool\t1\n"
                                            "text\tdouble\ta\tb\n"
                                            "SSG: SetTraceLevel: 0\n"
                                            "_$3$\n"
                                            "Generated: 3 states\n");
    ASSERT_TRUE(h.found);
    EXPECT_EQ(h.name, "long timer");
    ASSERT_EQ(h.globals.size(), 4u);
    EXPECT_EQ(h.globals[0].name, "lambda");
    EXPECT_EQ(h.globals[0].type, "double");
    EXPECT_EQ(h.globals[0].value, "0.001");
    EXPECT_EQ(h.globals[1].value, "x");
    EXPECT_EQ(h.globals[2].type, "bool");
    EXPECT_EQ(h.globals[3].value, "a\tb"); // the value is the rest of the line

    const ExperimentHeading none = readHeading("There are no global variables.\nSSG: x\n");
    EXPECT_TRUE(none.found);
    EXPECT_EQ(none.name, "");
    EXPECT_TRUE(none.globals.empty());

    EXPECT_FALSE(readHeading("path=[out/]\n").found);
}

TEST(RunOutput, AFailedRunSaysWhyOnStandardErrorOrLastOnStandardOutput) {
    EXPECT_EQ(runMessage("_$1$\n", "Error:  Maximum number exceeded(23)\n  Possible "
                                   "undetermined model.\n\nPlease check\n"),
              "Error:  Maximum number exceeded(23) Possible undetermined model. Please check");
    EXPECT_EQ(runMessage("SSG: SetTraceLevel: 0\nThe initial state is unstable\n_$0$\n", ""),
              "The initial state is unstable");
    EXPECT_EQ(runMessage("_$1000$\n", " \n"), "");
}

} // namespace
