// The generated classes as a C++ compiler and the driver see them: errors in
// fragments point at the model file, and the shipped model written in the
// language gives gen's files.

#include "Compiler.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

namespace {

using testsupport::run;
using testsupport::runModel;
using testsupport::TempDir;

// An error in a C++ fragment is reported at the fragment's line and column of
// the model file, wherever the emitter put the fragment.
TEST(GeneratedCodeTest, FragmentErrorsPointAtTheModelFile) {
    struct Case {
        const char* model;
        const char* where; // "line:column" of the misspelt name
    };
    const Case cases[] = {
        {"model m\nglobal double alpha\nstudy { alpha = 1 }\nplace p\nexponential e {\n    rate alpa * 2\n}\n",
         "6:10"},
        {"model m\nplace p\nexponential e {\n    rate 1\n    do {\n        p = 1;\n        q = 2;\n    }\n}\n",
         "7:9"},
        {"model m\nplace p = 1\nreward r {\n    at 1\n    rate { return p + qq; }\n}\n", "5:23"},
        {"model m\nplace p[2]\nexponential e[i in 0 .. 1] {\n    rate 1\n    when p[i] == 0 && zz\n}\n",
         "5:23"},
    };
    for (const Case& c : cases) {
        TempDir dir;
        const std::string model = dir.path() + "bad.san";
        std::ofstream(model) << c.model;
        std::ostringstream errors;
        ASSERT_TRUE(compileFile(model, dir.path() + "gen", false, errors)) << errors.str();
        auto r = run(std::string(GEN_CXX) + " -std=c++20 -fsyntax-only -I" + GEN_SOURCE_DIR +
                     "/src -I" + dir.path() + "gen " + dir.path() + "gen/GeneratedModel.cpp");
        EXPECT_NE(r.status, 0);
        EXPECT_NE(r.err.find(model + ":" + c.where + ": error:"), std::string::npos)
            << c.where << "\n" << r.err;
    }
}

TEST(GeneratedCodeTest, ShippedModelFromTheLanguageWritesGensFiles) {
    for (int experiment = 0; experiment < 10; ++experiment) {
        TempDir a, b;
        auto expected = runModel("gen", a, "exp", experiment);
        auto actual = runModel("tests/gen-lang_computer", b, "exp", experiment);
        ASSERT_EQ(actual.result.status, 0) << actual.result.err;
        EXPECT_EQ(actual.arm, expected.arm) << experiment;
        EXPECT_EQ(actual.var, expected.var) << experiment;
        EXPECT_EQ(actual.pvtype, expected.pvtype) << experiment;
        // Standard output up to the processor time, apart from the path echo.
        auto upToTime = [](const std::string& out) {
            std::string s = out.substr(out.find('\n') + 1);
            return s.substr(0, s.find("Computation Time"));
        };
        EXPECT_EQ(upToTime(actual.result.out), upToTime(expected.result.out)) << experiment;
    }
}

TEST(GeneratedCodeTest, CommandLineRefusesWhatItCannotDo) {
    TempDir dir;
    struct Case {
        std::string args;
        std::string err;
    };
    const Case cases[] = {
        {"", "usage: gen-compile [-o <directory>] [--check] <model-file>\n"},
        {"-x m.san", "gen-compile: unknown option -x\nusage: gen-compile [-o <directory>] [--check] <model-file>\n"},
        {dir.path() + "missing.san", "gen-compile: cannot read the model file " + dir.path() + "missing.san\n"},
    };
    for (const Case& c : cases) {
        auto r = run(testsupport::binary("gen-compile") + " " + c.args);
        EXPECT_EQ(r.status, 1) << c.args;
        EXPECT_EQ(r.err, c.err) << c.args;
    }
}

} // namespace
