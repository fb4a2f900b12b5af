// gen-sim as a command: the same output whatever the number of workers and
// for the same seed, other numbers for another seed, and one line on standard
// error with status 1 for what it refuses; status 2 when the half-width asked
// for is not reached.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using testsupport::binary;
using testsupport::run;
using testsupport::RunResult;

const std::string sim = "gen-simduplex-sim";

RunResult simulate(const std::string& options) {
    return run(binary("tests/" + sim) + " " + options);
}

int lineCount(const std::string& text) {
    int lines = 0;
    for (char c : text)
        lines += c == '\n';
    return lines;
}

TEST(SimCommand, SameResultsForOneAndTwoWorkersAndForTheSameSeed) {
    const std::string options = "--seed 42 --replications 250 --batches 4 --warmup-events 50 "
                                "--format csv";
    RunResult one = simulate(options + " --threads 1");
    RunResult two = simulate(options + " --threads 2");
    RunResult three = simulate(options + " --threads 3");
    ASSERT_EQ(one.status, 0) << one.err;
    EXPECT_EQ(one.out, two.out);
    EXPECT_EQ(one.out, three.out);
    EXPECT_EQ(one.out, simulate(options + " --threads 1").out);
    EXPECT_NE(one.out, simulate("--seed 43 --replications 250 --batches 4 --warmup-events 50 "
                                "--format csv --threads 1")
                           .out);
    // A header and one line per measure.
    EXPECT_EQ(lineCount(one.out), 8);
    EXPECT_EQ(one.out.rfind("variable,type,start,stop,value,half_width,", 0), 0u);
}

TEST(SimCommand, JsonAndTableCarryTheIntervals) {
    RunResult json = simulate("--replications 20 --batches 2 --warmup-events 20 --format json");
    ASSERT_EQ(json.status, 0) << json.err;
    EXPECT_NE(json.out.find("\"half_width\": "), std::string::npos);
    EXPECT_NE(json.out.find("\"method\": \"batch means\""), std::string::npos);
    EXPECT_EQ(json.out.front(), '{');
    RunResult table = simulate("--replications 20 --batches 2 --warmup-events 20");
    ASSERT_EQ(table.status, 0) << table.err;
    EXPECT_NE(table.out.find("half-width"), std::string::npos);
    EXPECT_NE(table.out.find("replications"), std::string::npos);
}

TEST(SimCommand, RefusesBadSettingsWithOneLine) {
    const char* refused[] = {"-B1",          "--level 1.5", "--replications 1", "--threads 0",
                             "--seed -3",    "--bogus 1",   "--format xml",     "--rel-width 0",
                             "--batches x1", "-Z"};
    for (const char* options : refused) {
        RunResult r = simulate(options);
        EXPECT_EQ(r.status, 1) << options;
        EXPECT_EQ(lineCount(r.err), 1) << options << ": " << r.err;
        EXPECT_EQ(r.out, "") << options;
    }
    EXPECT_NE(simulate("-B1").err.find("out of range 0..0"), std::string::npos);
}

TEST(SimCommand, UnreachedWidthIsMarkedWithStatusTwo) {
    RunResult r = simulate("--replications 4 --rel-width 0.0001 --batches 2 --max-batches 2 "
                           "--warmup-events 20 --threads 1");
    EXPECT_EQ(r.status, 2) << r.err;
    EXPECT_NE(r.out.find("WIDTH NOT REACHED"), std::string::npos);
    EXPECT_NE(r.out.find("WARNING"), std::string::npos);
}

TEST(SimCommand, CsvAndJsonLeaveTheWarningsToStandardError) {
    for (const char* format : {"csv", "json"}) {
        RunResult r = simulate(std::string("--replications 4 --rel-width 0.0001 --batches 2 "
                                           "--max-batches 2 --warmup-events 20 --threads 1 "
                                           "--format ") +
                               format);
        EXPECT_EQ(r.status, 2) << r.err;
        EXPECT_EQ(r.out.find("WARNING"), std::string::npos) << format;
        EXPECT_NE(r.err.find("WARNING: the relative half-width 0.0001 was not reached"),
                  std::string::npos)
            << format << ": " << r.err;
    }
}

TEST(SimCommand, OverridesChangeTheModel) {
    // Without failures both units stay up: exactly 1, marked as seen without spread.
    RunResult r = simulate("-O d:lambda:0 --replications 10 --batches 2 --warmup-events 5 "
                           "--format csv --threads 1");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("up,0,0.5,0.5,1,0,1,1,0.95,10,0,1,replications,1\n"), std::string::npos)
        << r.out;
    RunResult table = simulate("-O d:lambda:0 --replications 10 --batches 2 --warmup-events 5");
    EXPECT_NE(table.out.find("NO SPREAD"), std::string::npos) << table.out;
}

} // namespace
