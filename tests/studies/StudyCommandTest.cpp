// gen-study end to end: the shipped study against ten separate gen and gen-solve runs,
// the same output whatever the number of jobs, the choice of experiments, a model
// file's named experiments and globals against the closed form of its two-state
// chain, a failing experiment, refusals of the command line and the work folder.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testsupport::binary;
using testsupport::run;
using testsupport::TempDir;

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> all;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        all.push_back(line);
    return all;
}

// The fields of a CSV line that holds no quoted field.
std::vector<std::string> fields(const std::string& line) {
    std::vector<std::string> all;
    std::size_t from = 0;
    while (true) {
        const std::size_t comma = line.find(',', from);
        all.push_back(line.substr(from, comma - from));
        if (comma == std::string::npos)
            return all;
        from = comma + 1;
    }
}

std::string study(const std::string& arguments) {
    return binary("gen-study") + " " + arguments;
}

TEST(StudyCommand, TheShippedStudyEqualsTenSeparateRunsOfGenAndGenSolve) {
    const auto collected = run(study("--format csv " + binary("gen")));
    ASSERT_EQ(collected.status, 0) << collected.err;
    EXPECT_EQ(collected.err, "");
    const std::vector<std::string> rows = lines(collected.out);
    ASSERT_EQ(rows.size(), 11u) << collected.out;
    EXPECT_EQ(rows[0], "experiment,name,alpha,beta,lambda_i,lambda_w,variable,type,start,stop,"
                       "value,error_bound,bound_proven,steps,steady_state,converged,method");
    TempDir dir;
    for (int k = 0; k < 10; ++k) {
        SCOPED_TRACE("experiment " + std::to_string(k));
        const std::string name = "exp" + std::to_string(k);
        ASSERT_EQ(run(binary("gen") + " -P" + dir.path() + " -N" + name + " -B" + std::to_string(k))
                      .status,
                  0);
        const auto alone =
            run(binary("gen-solve") + " -P" + dir.path() + " -N" + name + " --format csv");
        ASSERT_EQ(alone.status, 0) << alone.err;
        const std::vector<std::string> aloneRows = lines(alone.out);
        ASSERT_EQ(aloneRows.size(), 2u);
        // The study's values: alpha 1000, beta 10000, lambda_i 1e-7 and lambda_w from
        // 1e-6 to 1e-5 in steps of 1e-6, printed to six significant digits.
        const std::string globals = std::to_string(k) + ",Experiment " + std::to_string(k + 1) +
                                    ",1000,10000,1e-07," +
                                    (k == 9 ? "1e-05" : std::to_string(k + 1) + "e-06");
        EXPECT_EQ(rows[static_cast<std::size_t>(k) + 1], globals + "," + aloneRows[1]);
    }
}

TEST(StudyCommand, TheOutputIsTheSameWhateverTheNumberOfJobs) {
    // The small model's runs take about as long as starting them, so they end in any
    // order; its experiment 2 fails, which must not move the others' rows either.
    for (const char* format : {"table", "csv", "json"}) {
        SCOPED_TRACE(format);
        const std::string common =
            std::string("--format ") + format + " " + binary("tests/gen-study_onoff");
        const auto one = run(study("-j 1 " + common));
        const auto two = run(study("-j2 " + common));
        const auto four = run(study("--jobs=4 " + common));
        EXPECT_EQ(one.status, 1);
        EXPECT_EQ(two.status, 1);
        EXPECT_EQ(one.out, two.out);
        EXPECT_EQ(one.out, four.out);
        EXPECT_EQ(one.err, two.err);
        EXPECT_EQ(one.err, four.err);
    }
    const auto one = run(study("-j1 --format csv -e 0-2 " + binary("gen")));
    const auto three = run(study("-j3 --format csv -e 0-2 " + binary("gen")));
    ASSERT_EQ(one.status, 0) << one.err;
    EXPECT_EQ(one.out, three.out);
}

TEST(StudyCommand, OnlyTheChosenExperimentsRunInAscendingOrder) {
    const auto chosen = run(study("--format csv -e 9,0-1,1 " + binary("gen")));
    ASSERT_EQ(chosen.status, 0) << chosen.err;
    const std::vector<std::string> rows = lines(chosen.out);
    ASSERT_EQ(rows.size(), 4u) << chosen.out;
    EXPECT_EQ(fields(rows[1])[1], "Experiment 1");
    EXPECT_EQ(fields(rows[2])[1], "Experiment 2");
    EXPECT_EQ(fields(rows[3])[1], "Experiment 10");
    EXPECT_EQ(fields(rows[3])[5], "1e-05");
}

// Availability of a unit failing at rate l and repaired at rate m, up at time 0:
// m / (l + m) + l / (l + m) exp(-(l + m) t).
double availability(double l, double m, double t) {
    return m / (l + m) + l / (l + m) * std::exp(-(l + m) * t);
}

TEST(StudyCommand, AModelFileStudyGivesItsNamesAndGlobalsBesideTheClosedFormValues) {
    const auto result = run(study("--format csv -e 0,1,3 " + binary("tests/gen-study_onoff")));
    ASSERT_EQ(result.status, 0) << result.err;
    const std::vector<std::string> rows = lines(result.out);
    ASSERT_EQ(rows.size(), 7u) << result.out;
    EXPECT_EQ(rows[0], "experiment,name,lambda,mu,spin,variable,type,start,stop,value,"
                       "error_bound,bound_proven,steps,steady_state,converged,method");
    struct Expected {
        std::string lead;
        double lambda, mu, t;
    };
    const std::vector<Expected> expected = {
        {"0,slow repair,1,2,0,availability,0,0.5,0.5", 1.0, 2.0, 0.5},
        {"0,slow repair,1,2,0,availability,0,2,2", 1.0, 2.0, 2.0},
        {"1,Experiment 2,2,3,0,availability,0,0.5,0.5", 2.0, 3.0, 0.5},
        {"1,Experiment 2,2,3,0,availability,0,2,2", 2.0, 3.0, 2.0},
        {"3,Experiment 4,0.5,4,0,availability,0,0.5,0.5", 0.5, 4.0, 0.5},
        {"3,Experiment 4,0.5,4,0,availability,0,2,2", 0.5, 4.0, 2.0},
    };
    for (std::size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE(rows[i + 1]);
        const Expected& e = expected[i];
        EXPECT_EQ(rows[i + 1].rfind(e.lead + ",", 0), 0u);
        const std::vector<std::string> f = fields(rows[i + 1]);
        ASSERT_EQ(f.size(), 16u);
        const double value = std::stod(f[9]), bound = std::stod(f[10]);
        const double exact = availability(e.lambda, e.mu, e.t);
        EXPECT_LE(std::fabs(value - exact), bound + 1e-15);
        EXPECT_NEAR(value, exact, 1e-12);
    }
}

TEST(StudyCommand, AFailingExperimentIsNamedAndTheResultSaysItIsIncomplete) {
    const std::string exe = binary("tests/gen-study_onoff");
    const auto csv = run(study("--format csv -j2 " + exe));
    EXPECT_EQ(csv.status, 1);
    EXPECT_NE(csv.err.find("gen-study: experiment 2 (endless) failed: gen-study_onoff ended "
                           "with exit status 1: "),
              std::string::npos)
        << csv.err;
    EXPECT_NE(csv.err.find("exceeded(23)"), std::string::npos) << csv.err;
    EXPECT_NE(csv.err.find("the result is incomplete"), std::string::npos) << csv.err;
    const std::vector<std::string> rows = lines(csv.out);
    ASSERT_EQ(rows.size(), 8u) << csv.out;
    EXPECT_EQ(rows[5].rfind("2,endless,1,1,1,,,,,,,,,,,FAILED: gen-study_onoff ended with exit "
                            "status 1: ",
                            0),
              0u)
        << rows[5];
    EXPECT_EQ(fields(rows[6])[0], "3");

    const auto table = run(study(exe));
    EXPECT_EQ(table.status, 1);
    const std::vector<std::string> tableRows = lines(table.out);
    ASSERT_FALSE(tableRows.empty());
    EXPECT_EQ(tableRows.back(),
              "INCOMPLETE: 1 of 4 experiment(s) failed; their rows hold no values");

    const auto json = run(study("--format json " + exe));
    EXPECT_EQ(json.status, 1);
    EXPECT_NE(json.out.find("\"complete\": false"), std::string::npos);

    // Without the failing experiment the study is complete.
    EXPECT_EQ(run(study("-e 0-1,3 " + exe)).status, 0);
}

TEST(StudyCommand, TheSolversMethodOptionsReachEverySolve) {
    // The shipped model at t = 24 is stiff: auto takes extrapolation, and the
    // forced method shows in the method column.
    const auto chosen = run(study("--format csv -e 0 " + binary("gen")));
    ASSERT_EQ(chosen.status, 0) << chosen.err;
    const auto forced =
        run(study("--format csv -e 0 --transient uniformization --bicgstab " + binary("gen")));
    ASSERT_EQ(forced.status, 0) << forced.err;
    const std::vector<std::string> autoRows = lines(chosen.out), forcedRows = lines(forced.out);
    ASSERT_EQ(autoRows.size(), 2u) << chosen.out;
    ASSERT_EQ(forcedRows.size(), 2u) << forced.out;
    EXPECT_EQ(fields(autoRows[1]).back().rfind("implicit extrapolation", 0), 0u) << autoRows[1];
    EXPECT_EQ(fields(forcedRows[1]).back(), "uniformization") << forcedRows[1];
}

TEST(StudyCommand, TheAbsorptionMethodReachesEverySolve) {
    const auto forced =
        run(study("--format csv -e 0 --absorption --absorption-method iterative " + binary("gen")));
    ASSERT_EQ(forced.status, 0) << forced.err;
    EXPECT_NE(forced.out.find(",time to absorption,"), std::string::npos) << forced.out;
    EXPECT_NE(forced.out.find("BiCGSTAB+ILU(0), "), std::string::npos) << forced.out;
    EXPECT_EQ(forced.out.find("sparse elimination"), std::string::npos) << forced.out;
}

TEST(StudyCommand, RefusalsNameTheFaultAndPrintNoResult) {
    const std::string gen = binary("gen");
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"-e 10 " + gen, "gen-study: experiment list \"10\": experiment 10 is out of range 0..9 "
                         "(gen-study --help for the usage)\n"},
        {"/nonexistent/gen-x", "gen-study: cannot run /nonexistent/gen-x: No such file or "
                               "directory\n"},
        {binary("gen-solve"), "gen-study: " + binary("gen-solve") +
                                  " does not answer as a model executable: asked for "
                                  "experiment -1 it gave no experiment range (exit status 1)\n"},
        {"--plot x.svg " + gen, "gen-study: option --plot needs --sweep <global> (gen-study "
                                "--help for the usage)\n"},
        {"--epsilon 2 " + gen, "gen-study: option --epsilon needs a number between 0 and 1, not "
                               "\"2\" (gen-study --help for the usage)\n"},
        {"--window 30000 " + gen, "gen-study: option --window needs a whole number up to "
                                  "20000, not \"30000\" (gen-study --help for the usage)\n"},
        {"-j 0 " + gen, "gen-study: option -j needs a whole number from 1 to 1024, not \"0\" "
                        "(gen-study --help for the usage)\n"},
        {"--transient fast " + gen,
         "gen-study: unknown transient method \"fast\" (auto, uniformization, extrapolation or "
         "iterative) (gen-study --help for the usage)\n"},
        {"--absorption-method dense " + gen,
         "gen-study: unknown absorption method \"dense\" (auto, elimination or iterative) "
         "(gen-study --help for the usage)\n"},
        {"-P/tmp/ " + gen, "gen-study: unknown option \"-P/tmp/\" (gen-study --help for the "
                           "usage)\n"},
        {gen + " " + gen, "gen-study: more than one model executable given: \"" + gen +
                              "\" and \"" + gen + "\" (gen-study --help for the usage)\n"},
        {"", "gen-study: no model executable given (gen-study --help for the usage)\n"},
    };
    for (const auto& [arguments, message] : cases) {
        SCOPED_TRACE(arguments);
        const auto refused = run(study(arguments));
        EXPECT_EQ(refused.status, 1);
        EXPECT_EQ(refused.out, "");
        EXPECT_EQ(refused.err, message);
    }
}

// The watchdog model (tests/solver/models/watchdog.san): experiment 0 never enables
// its deterministic restart, experiment 1 does. Each is solved as gen-solve solves
// it, the first as a Markov chain and the second as a regenerative process, with
// the long-run availabilities of the closed forms (3/4, and the alternating
// renewal's 1 / (1 + 0.5)); the files the second run adds are removed with the rest.
TEST(StudyCommand, ARunWithDeterministicActivitiesIsSolvedAsGenSolveSolvesIt) {
    namespace fs = std::filesystem;
    TempDir dir;
    const std::string work = dir.path() + "work";
    const auto result =
        run(study("--format csv --work " + work + " " + binary("tests/gen-det_watchdog")));
    ASSERT_EQ(result.status, 0) << result.err;
    const std::vector<std::string> rows = lines(result.out);
    ASSERT_EQ(rows.size(), 5u) << result.out;
    const struct {
        std::size_t row;
        double value;
        const char* method;
    } limits[] = {{2, 0.75, "\"limit, "}, {4, 1.0 / 1.5, "\"regenerative limit, "}};
    for (const auto& l : limits) {
        SCOPED_TRACE(rows[l.row]);
        const std::vector<std::string> f = fields(rows[l.row]); // the method's comma splits it
        ASSERT_GE(f.size(), 17u);
        EXPECT_EQ(f[6], "longRun");
        EXPECT_NEAR(std::stod(f[10]), l.value, 1e-12);
        EXPECT_NE(rows[l.row].find(l.method), std::string::npos);
    }
    EXPECT_TRUE(fs::is_empty(work));
}

TEST(StudyCommand, TheWorkFolderKeepsTheRunsFilesOnlyWhenAsked) {
    namespace fs = std::filesystem;
    TempDir dir;
    const std::string kept = dir.path() + "kept";
    ASSERT_EQ(run(study("--work " + kept + " --keep -e 1 " + binary("gen"))).status, 0);
    for (const char* file : {"e1.arm", "e1.var", "e1.pvtype", "e1.out", "e1.err"})
        EXPECT_TRUE(fs::exists(kept + "/" + file)) << file;

    const std::string cleaned = dir.path() + "cleaned";
    ASSERT_EQ(run(study("--work=" + cleaned + " -e 1-2 " + binary("gen"))).status, 0);
    EXPECT_TRUE(fs::is_directory(cleaned));
    EXPECT_TRUE(fs::is_empty(cleaned));

    // The temporary folder goes with its files.
    const std::string tmp = dir.path() + "tmp";
    fs::create_directory(tmp);
    ASSERT_EQ(run("TMPDIR=" + tmp + " " + study("-e 0 " + binary("gen"))).status, 0);
    EXPECT_TRUE(fs::is_empty(tmp));
}

TEST(StudyCommand, TheSweepPlotDrawsTheMeasureAgainstTheGlobalThatVaries) {
    TempDir dir;
    const std::string svg = dir.path() + "sweep.svg";
    const auto drawn = run(study("-e 0-2 --plot " + svg + " --sweep lambda_w " + binary("gen")));
    ASSERT_EQ(drawn.status, 0) << drawn.err;
    const std::string picture = testsupport::readFile(svg);
    EXPECT_NE(picture.find("<svg "), std::string::npos) << picture.substr(0, 80);
    EXPECT_NE(picture.find("</svg>"), std::string::npos);
    EXPECT_NE(picture.find("gen: measures against lambda_w"), std::string::npos);
    EXPECT_NE(picture.find("reliability, t=24"), std::string::npos);

    // Two globals vary in the model file's study: no picture, and status 1.
    const std::string refused = dir.path() + "refused.svg";
    const auto mixed =
        run(study("-e 0-1 --plot " + refused + " --sweep mu " + binary("tests/gen-study_onoff")));
    EXPECT_EQ(mixed.status, 1);
    EXPECT_EQ(mixed.err, "gen-study: no plot: --sweep mu: experiments 0 and 1 differ in lambda "
                         "as well; choose experiments (-e) in which only mu varies\n");
    EXPECT_FALSE(testsupport::fileExists(refused));
}

} // namespace
