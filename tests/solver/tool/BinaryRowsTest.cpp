// The binary row form end to end: gen --binary-rows writes one part in place of
// the text .arm, and gen-solve --binary-rows on it prints what gen-solve prints
// on the text files, for the shipped model, polling and kanban. The text files
// of a run without the option are untouched by the option's existence (the
// models' golden tests check their bytes).

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using testsupport::binary;
using testsupport::fileExists;
using testsupport::run;
using testsupport::TempDir;

// gen-solve's output with the stem replaced, so runs under two names compare.
std::string solved(const std::string& options, const std::string& stem) {
    const auto r = run(binary("gen-solve") + " --format csv --steady " + options + " " + stem);
    EXPECT_EQ(r.status, 0) << r.err;
    return r.out;
}

TEST(BinaryRowsTest, GivesTheSameSolutionAsTheTextFiles) {
    for (const char* model : {"gen", "gen-polling", "gen-kanban"}) {
        TempDir dir;
        const std::string gen = binary(model) + " -P" + dir.path();
        // A stale text .arm under the binary run's name must not survive it.
        run("echo stale > " + dir.path() + "b.arm");
        ASSERT_EQ(run(gen + " -Nt -B0").status, 0) << model;
        const auto b = run(gen + " -Nb -B0 --binary-rows");
        ASSERT_EQ(b.status, 0) << model << b.err;
        EXPECT_FALSE(fileExists(dir.path() + "b.arm")) << model;
        EXPECT_TRUE(fileExists(dir.path() + "b.rows.0")) << model;
        EXPECT_EQ(solved("--binary-rows", dir.path() + "b"), solved("", dir.path() + "t")) << model;
    }
}

TEST(BinaryRowsTest, RefusesDeterministicModelsInBothTools) {
    TempDir dir;
    const auto g = run(binary("gen-timer") + " -P" + dir.path() + " -Nd -B0 --binary-rows");
    EXPECT_EQ(g.status, 1);
    EXPECT_NE(g.err.find("--binary-rows"), std::string::npos);
    EXPECT_FALSE(fileExists(dir.path() + "d.rows.0"));
    ASSERT_EQ(run(binary("gen-timer") + " -P" + dir.path() + " -Nd -B0").status, 0);
    const auto s = run(binary("gen-solve") + " --binary-rows " + dir.path() + "d");
    EXPECT_EQ(s.status, 1);
    EXPECT_NE(s.err.find(dir.path() + "d.det"), std::string::npos);
}

} // namespace
