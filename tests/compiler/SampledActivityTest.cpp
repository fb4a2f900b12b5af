// Activities of the framework's other distributions in the model language: the
// compiler accepts every kind with its parameters as expressions, and says once
// per such activity, as a warning at its declaration, that gen cannot explore
// the model, while still writing the classes.

#include "Compiler.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

// The lines of the compiler's report on `source`, which must compile.
std::vector<std::string> reportOf(const std::string& source) {
    std::ostringstream out;
    CompileResult r = compileSource(source, "life.san", out);
    EXPECT_TRUE(r.ok) << out.str();
    EXPECT_FALSE(r.files.empty());
    std::vector<std::string> lines;
    std::istringstream in(out.str());
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

TEST(SampledActivityTest, EveryKindCompilesWithAWarningAtItsDeclaration) {
    const std::string source = "model life\n"
                               "global double k\n"
                               "study {\n    k = 2.0\n}\n"
                               "place up = 1\n"
                               "uniform u {\n    low 0\n    high k\n}\n"
                               "weibull w {\n    shape k\n    scale 1000.0\n    input up\n}\n"
                               "lognormal l {\n    logmean -1\n    logvariance k * k\n}\n"
                               "gamma g {\n    shape 0.5\n    scale k\n}\n"
                               "beta b {\n    shape1 1\n    shape2 k\n}\n"
                               "normal n {\n    mean -1\n    variance 4\n}\n"
                               "triangular t {\n    low 1\n    high 4\n    mode 1\n}\n"
                               "pareto p {\n    minimum k\n    shape 0.5\n    when up > 0\n}\n"
                               "reward r instant {\n    at 1\n    rate up\n}\n";
    const char* const expected[][2] = {{"7:9", "u' is uniform"},      {"11:9", "w' is weibull"},
                                       {"16:11", "l' is lognormal"},  {"20:7", "g' is gamma"},
                                       {"24:6", "b' is beta"},        {"28:8", "n' is normal"},
                                       {"32:12", "t' is triangular"}, {"37:8", "p' is pareto"}};
    const std::vector<std::string> lines = reportOf(source);
    ASSERT_EQ(lines.size(), 8u);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string head =
            std::string("life.san:") + expected[i][0] + ": warning: activity '";
        EXPECT_EQ(lines[i].rfind(head, 0), 0u) << lines[i];
        EXPECT_NE(lines[i].find(expected[i][1]), std::string::npos) << lines[i];
        EXPECT_NE(lines[i].find("gen cannot explore this model"), std::string::npos) << lines[i];
    }
}

// The discrete and phase-type kinds, a list kind with one and with three
// phases: each writes one member per parameter, numbered per phase for a list.
TEST(SampledActivityTest, DiscreteAndPhaseTypeKindsCompileWithAMemberPerParameter) {
    const std::string source = "model life\n"
                               "global double k\n"
                               "study {\n    k = 0.5\n}\n"
                               "place up = 1\n"
                               "geometric a {\n    probability k\n}\n"
                               "conditionalweibull b {\n    shape 2\n    scale 3\n    age k\n}\n"
                               "binomial c {\n    trials 4\n    probability 0\n}\n"
                               "negativebinomial d {\n    successes 1\n    probability 1\n}\n"
                               "hyperexponential e {\n    probability k\n    phaserate 1\n"
                               "    phaserate 2\n    probability 1 - k\n}\n"
                               "hypoexponential f {\n    phaserate 1\n    phaserate k\n"
                               "    phaserate 3\n}\n"
                               "hypoexponential g {\n    phaserate 4\n}\n"
                               "reward r instant {\n    at 1\n    rate up\n}\n";
    std::ostringstream out;
    CompileResult r = compileSource(source, "life.san", out);
    ASSERT_TRUE(r.ok) << out.str();
    std::string code;
    for (const auto& f : r.files)
        code += f.second;
    const char* const kinds[] = {"geometric",        "conditionalweibull", "binomial",
                                 "negativebinomial", "hyperexponential",   "hypoexponential",
                                 "hypoexponential"};
    std::istringstream in(out.str());
    int warnings = 0;
    for (std::string line; std::getline(in, line); ++warnings)
        EXPECT_NE(line.find(std::string("' is ") + kinds[warnings]), std::string::npos) << line;
    EXPECT_EQ(warnings, 7);
    for (const char* member :
         {"ProbabilityParameter()", "AgeParameter()", "TrialsParameter()", "SuccessesParameter()",
          "ProbabilityParameter2()", "PhaseRateParameter2()", "PhaseRateParameter3()",
          // the sampler's layout: each phase's rate, then its probability
          "values[2] = PhaseRateParameter2();\n    values[3] = ProbabilityParameter2();",
          "values[2] = PhaseRateParameter3();"})
        EXPECT_NE(code.find(member), std::string::npos) << member;
    // f has three phases, g one; e two pairs: four numbers.
    EXPECT_NE(code.find("ParameterCount() {\n    return 3;"), std::string::npos);
    EXPECT_NE(code.find("ParameterCount() {\n    return 1;"), std::string::npos);
    EXPECT_NE(code.find("ParameterCount() {\n    return 4;"), std::string::npos);
    EXPECT_EQ(code.find("PhaseRateParameter4()"), std::string::npos);
}

TEST(SampledActivityTest, ModelsWithoutThemCompileSilently) {
    EXPECT_TRUE(reportOf("model quiet\nplace p = 1\nexponential a {\n    rate 1\n    input p\n}\n"
                         "reward r instant {\n    at 1\n    rate p\n}\n")
                    .empty());
}

} // namespace
