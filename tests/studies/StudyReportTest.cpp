// The collected result's layout, on outcomes built by hand: the experiment's number,
// name and globals before gen-solve's fields, rows in the order of the outcomes, a
// failed experiment marked where its rows would be, and CSV quoting of names.

#include "StudyReport.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace genstudies;

gensolver::Result instant(double t, double value, double bound) {
    gensolver::Result r;
    r.variable = "availability";
    r.start = r.stop = t;
    r.value = value;
    r.bound = bound;
    r.iterations = 44;
    r.method = "uniformization";
    return r;
}

ExperimentOutcome solved(int number, const std::string& name, const std::string& lambda,
                         std::vector<gensolver::Result> results) {
    ExperimentOutcome o;
    o.number = number;
    o.heading = {true, name, {{"lambda", "double", lambda}, {"C", "char", "x"}}};
    o.solution.stem = "/tmp/w/e" + std::to_string(number);
    o.solution.states = 2;
    o.solution.transitions = 2;
    o.solution.uniformizationRate = 3.06;
    o.solution.results = std::move(results);
    return o;
}

std::vector<ExperimentOutcome> study() {
    ExperimentOutcome failed;
    failed.number = 2;
    failed.heading = {true, "endless", {{"lambda", "double", "1"}, {"C", "char", "x"}}};
    failed.failed = true;
    failed.message = "gen-x ended with exit status 1: Error: \"loop\"";
    return {solved(0, "slow, repair", "0.5", {instant(0.5, 0.75, 1e-13), instant(2, 0.5, 2e-13)}),
            failed, solved(3, "Experiment 4", "1e-07", {instant(0.5, 0.25, 0.0)})};
}

std::string report(const std::vector<ExperimentOutcome>& outcomes, gensolver::Format format) {
    std::ostringstream out;
    writeStudyReport(out, {"./gen-x", 1e-12}, outcomes, format);
    return out.str();
}

TEST(StudyReport, CsvPutsTheExperimentBesideEachRowAndMarksAFailedOne) {
    EXPECT_EQ(report(study(), gensolver::Format::Csv),
              "experiment,name,lambda,C,variable,type,start,stop,value,error_bound,bound_proven,"
              "steps,steady_state,converged,method\n"
              "0,\"slow, repair\",0.5,x,availability,0,0.5,0.5,0.75,1e-13,1,44,0,1,"
              "uniformization\n"
              "0,\"slow, repair\",0.5,x,availability,0,2,2,0.5,2e-13,1,44,0,1,uniformization\n"
              "2,endless,1,x,,,,,,,,,,,\"FAILED: gen-x ended with exit status 1: Error: "
              "\"\"loop\"\"\"\n"
              "3,Experiment 4,1e-07,x,availability,0,0.5,0.5,0.25,0,1,44,0,1,uniformization\n");
}

TEST(StudyReport, TheTableAlignsTheColumnsAndEndsSayingWhatFailed) {
    EXPECT_EQ(report(study(), gensolver::Format::Table),
              "study ./gen-x: 3 experiment(s), error bound asked 1.0e-12\n"
              "experiment 0 (slow, repair): 2 states, 2 transitions; uniformization rate 3.06\n"
              "experiment 3 (Experiment 4): 2 states, 2 transitions; uniformization rate 3.06\n"
              "experiment  name          lambda  C  variable      type             start  stop  "
              "value   error bound  steps  method\n"
              "0           slow, repair  0.5     x  availability  instant of time  0.5    0.5   "
              "0.75    <= 1.00e-13  44     uniformization\n"
              "0           slow, repair  0.5     x  availability  instant of time  2      2     "
              "0.5     <= 2.00e-13  44     uniformization\n"
              "2           endless       1       x                                              "
              "FAILED                      see below\n"
              "3           Experiment 4  1e-07   x  availability  instant of time  0.5    0.5   "
              "0.25    <= 0.00e+00  44     uniformization\n"
              "FAILED: experiment 2 (endless): gen-x ended with exit status 1: Error: \"loop\"\n"
              "INCOMPLETE: 1 of 3 experiment(s) failed; their rows hold no values\n");
}

TEST(StudyReport, JsonNestsTheGlobalsAndSaysWhetherTheStudyIsComplete) {
    std::vector<ExperimentOutcome> outcomes = study();
    const std::string incomplete = report(outcomes, gensolver::Format::Json);
    EXPECT_NE(incomplete.find("\"complete\": false"), std::string::npos);
    EXPECT_NE(incomplete.find("{\"experiment\": 0, \"name\": \"slow, repair\", \"globals\": "
                              "{\"lambda\": 0.5, \"C\": \"x\"},"),
              std::string::npos)
        << incomplete;
    EXPECT_NE(incomplete.find("\"failed\": true, \"error\": \"gen-x ended with exit status 1: "
                              "Error: \\\"loop\\\"\"}"),
              std::string::npos)
        << incomplete;
    outcomes.erase(outcomes.begin() + 1);
    const std::string complete = report(outcomes, gensolver::Format::Json);
    EXPECT_NE(complete.find("\"complete\": true"), std::string::npos);
    EXPECT_NE(complete.find("\"globals\": {\"lambda\": 1e-07, \"C\": \"x\"}"), std::string::npos);
    EXPECT_EQ(complete.find("failed"), std::string::npos);
}

} // namespace
