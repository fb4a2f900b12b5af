// gen-solve's command line: accepted forms and the one-line refusals.

#include "tool/CommandLine.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using gensolver::Format;
using gensolver::parseCommandLine;

TEST(SolveCommandLine, AcceptedForms) {
    struct Case {
        std::vector<std::string> args;
        std::string stem;
        Format format;
    } cases[] = {
        {{"-Pout/", "-Nexp1"}, "out/exp1", Format::Table},
        {{"-P", "out/", "-N", "exp1", "--format", "csv"}, "out/exp1", Format::Csv},
        {{"out/exp1", "--format=json"}, "out/exp1", Format::Json},
        {{"out/exp1.arm"}, "out/exp1", Format::Table},
        {{"out/exp1.pvtype"}, "out/exp1", Format::Table},
        {{"-Pout", "-Nexp1"}, "outexp1", Format::Table}, // -P is a prefix, as for gen
    };
    for (const Case& c : cases) {
        const gensolver::CommandLine cl = parseCommandLine(c.args);
        EXPECT_EQ(cl.stem, c.stem);
        EXPECT_EQ(cl.format, c.format);
    }
    const gensolver::CommandLine cl =
        parseCommandLine({"s", "--epsilon", "1e-9", "--steady", "--max-steps=5", "--plot", "p.svg",
                          "--dense-limit", "7", "--absorption", "--threads=3", "--bicgstab"});
    EXPECT_EQ(cl.solve.transient.epsilon, 1e-9);
    EXPECT_EQ(cl.solve.limit.tolerance, 1e-9);
    EXPECT_TRUE(cl.solve.longRun);
    EXPECT_TRUE(cl.solve.absorption);
    EXPECT_FALSE(parseCommandLine({"s"}).solve.absorption);
    EXPECT_EQ(cl.solve.transient.maxSteps, 5u);
    EXPECT_EQ(cl.solve.limit.denseLimit, 7u);
    EXPECT_EQ(cl.plot, "p.svg");
    EXPECT_EQ(cl.threads, 3u);
    EXPECT_EQ(cl.solve.limit.krylovFrom, 5000u);
    EXPECT_EQ(parseCommandLine({"s"}).solve.limit.krylovFrom, 0xFFFFFFFFu);
    EXPECT_EQ(parseCommandLine({"s"}).threads, 0u);
    EXPECT_EQ(parseCommandLine({"s", "--gauss-seidel"}).solve.limit.switchSweeps, 0u);
    EXPECT_GT(parseCommandLine({"s"}).solve.limit.switchSweeps, 0u);
    using gensolver::TransientChoice;
    EXPECT_EQ(parseCommandLine({"s"}).solve.transient.method, TransientChoice::Auto);
    EXPECT_EQ(parseCommandLine({"s", "--transient", "uniformization"}).solve.transient.method,
              TransientChoice::Uniformization);
    EXPECT_EQ(parseCommandLine({"s", "--transient=extrapolation"}).solve.transient.method,
              TransientChoice::Extrapolation);
    using gensolver::AbsorptionMethod;
    EXPECT_EQ(parseCommandLine({"s"}).solve.absorptionMethod, AbsorptionMethod::Auto);
    EXPECT_EQ(parseCommandLine({"s", "--absorption-method", "iterative"}).solve.absorptionMethod,
              AbsorptionMethod::Iterative);
    EXPECT_EQ(parseCommandLine({"s", "--absorption-method=elimination"}).solve.absorptionMethod,
              AbsorptionMethod::Elimination);
    EXPECT_EQ(parseCommandLine({"s"}).solve.transient.windowStates, 4096u);
    EXPECT_EQ(parseCommandLine({"s", "--window", "0"}).solve.transient.windowStates, 0u);
    EXPECT_EQ(parseCommandLine({"s", "--window=20000"}).solve.transient.windowStates, 20000u);
    EXPECT_TRUE(parseCommandLine({"--help"}).help);
    const gensolver::PlotOptions plot =
        parseCommandLine({"s", "--log-value", "--plot=p.svg", "--complement"}).plotOptions;
    EXPECT_FALSE(plot.logTime);
    EXPECT_TRUE(plot.logValue && plot.complement);
    EXPECT_TRUE(parseCommandLine({"s", "--plot", "p.svg", "--log-time"}).plotOptions.logTime);
}

TEST(SolveCommandLine, Refusals) {
    const std::vector<std::vector<std::string>> cases = {
        {},
        {"a", "b"},
        {"-Pout/"},
        {"-Nexp1"},
        {"-Pout/", "-Nexp1", "extra"},
        {"s", "--format"},
        {"s", "--format", "xml"},
        {"s", "--epsilon", "2"},
        {"s", "--epsilon", "nan"},
        {"s", "--max-steps", "0"},
        {"s", "--max-steps", "-3"},
        {"s", "--dense-limit", "1000000"},
        {"s", "--window", "20001"},
        {"s", "--window", "-1"},
        {"s", "--threads", "0"},
        {"s", "--threads", "two"},
        {"s", "--transient", "implicit"},
        {"s", "--absorption-method", "dense"},
        {"s", "--bogus"},
        {"s", "--log-time"}, // plot options need --plot
        {"s", "--complement", "--log-value"},
    };
    for (const auto& args : cases)
        EXPECT_THROW(parseCommandLine(args), std::invalid_argument)
            << ::testing::PrintToString(args);
}

} // namespace
