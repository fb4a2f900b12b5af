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
        // Helper code, a named condition and a stop.
        {"model m\nplace p\ncode {\n    int f() { return undefinedThing; }\n}\n", "4:22"},
        {"model m\nplace p\ncondition up = p > 0 && zz\nexponential e {\n    rate 1\n    when up\n}\n",
         "3:25"},
        {"model m\nplace p\nstop when p > qq\nexponential e { rate 1 }\n", "3:15"},
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

// The generated classes of a model that uses every construct compile without a
// warning (the models built by this tree cover the rest at -Werror).
TEST(GeneratedCodeTest, EveryConstructCompilesWithoutWarnings) {
    TempDir dir;
    std::ostringstream errors;
    ASSERT_TRUE(compileFile(std::string(GEN_SOURCE_DIR) + "/tests/compiler/models/all.san",
                            dir.path() + "gen", false, errors))
        << errors.str();
    auto r = run(std::string(GEN_CXX) + " -std=c++20 -Wall -Wextra -Werror -fsyntax-only -I" +
                 GEN_SOURCE_DIR + "/src -I" + dir.path() + "gen " + dir.path() +
                 "gen/GeneratedModel.cpp");
    EXPECT_EQ(r.status, 0) << r.err;
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

// The example models written in the language (tests/compiler/models) against
// the examples' executables: groups, Erlang phases, deterministic and
// instantaneous activities, impulses and families give the same files.
TEST(GeneratedCodeTest, ExamplesFromTheLanguageWriteTheExamplesFiles) {
    struct Case {
        const char* example;
        int experiments;
    };
    const Case cases[] = {{"erlang", 6}, {"timer", 5}, {"multiproc", 6}, {"polling", 7}};
    for (const Case& c : cases) {
        const std::string example = std::string("gen-") + c.example;
        // Every build with tests builds the examples: a missing one is a fault, not a skip.
        ASSERT_TRUE(testsupport::fileExists(testsupport::binary(example))) << example;
        for (int experiment = 0; experiment < c.experiments; ++experiment) {
            TempDir a, b;
            auto expected = runModel(example, a, "exp", experiment);
            auto actual = runModel(std::string("tests/gen-lang_") + c.example, b, "exp", experiment);
            ASSERT_EQ(actual.result.status, expected.result.status) << c.example << actual.result.err;
            EXPECT_EQ(actual.arm, expected.arm) << c.example << experiment;
            EXPECT_EQ(actual.var, expected.var) << c.example << experiment;
            EXPECT_EQ(actual.pvtype, expected.pvtype) << c.example << experiment;
            EXPECT_EQ(actual.det, expected.det) << c.example << experiment;
        }
    }
}

TEST(GeneratedCodeTest, CommandLineRefusesWhatItCannotDo) {
    TempDir dir;
    struct Case {
        std::string args;
        std::string err;
    };
    const std::string usage = "usage: gen-compile [-o <directory>] [--check] <model-file>\n";
    const Case cases[] = {
        {"", usage},
        {"-x m.san", "gen-compile: unknown option -x\n" + usage},
        {"-o", usage},
        {"a.san b.san", "gen-compile: more than one model file\n" + usage},
        {dir.path() + "missing.san",
         "gen-compile: cannot read the model file " + dir.path() + "missing.san\n"},
    };
    for (const Case& c : cases) {
        auto r = run(testsupport::binary("gen-compile") + " " + c.args);
        EXPECT_EQ(r.status, 1) << c.args;
        EXPECT_EQ(r.err, c.err) << c.args;
        EXPECT_EQ(r.out, "") << c.args;
    }
}

// --help answers on standard output and succeeds, wherever it stands among the
// arguments, and writes no file.
TEST(GeneratedCodeTest, HelpPrintsTheUsageAndSucceeds) {
    for (const char* args : {"--help", "--check --help", "-o out --help m.san"}) {
        TempDir dir;
        auto r = run(testsupport::binary("gen-compile") + " " + args, dir.path());
        EXPECT_EQ(r.status, 0) << args;
        EXPECT_EQ(r.err, "") << args;
        EXPECT_EQ(r.out.rfind("usage: gen-compile [-o <directory>] [--check] <model-file>\n", 0),
                  0u)
            << args << "\n"
            << r.out;
        EXPECT_NE(r.out.find("--check"), std::string::npos) << r.out;
        EXPECT_FALSE(testsupport::fileExists(dir.path() + "out")) << args;
    }
}

// The generated text depends on the model file alone: two output folders get the
// same bytes, and no file names either folder.
TEST(GeneratedCodeTest, GeneratedTextDoesNotDependOnTheOutputFolder) {
    TempDir dir;
    const std::string model = std::string(GEN_SOURCE_DIR) + "/tests/compiler/models/all.san";
    std::ostringstream errors;
    ASSERT_TRUE(compileFile(model, dir.path() + "one", false, errors)) << errors.str();
    ASSERT_TRUE(compileFile(model, dir.path() + "two/deeper", false, errors)) << errors.str();
    std::istringstream names(run("ls " + dir.path() + "one").out);
    int files = 0;
    for (std::string name; std::getline(names, name); ++files) {
        const std::string one = testsupport::readFile(dir.path() + "one/" + name);
        EXPECT_EQ(one, testsupport::readFile(dir.path() + "two/deeper/" + name)) << name;
        EXPECT_EQ(one.find(dir.path()), std::string::npos) << name;
    }
    EXPECT_GT(files, 10);
}

} // namespace
