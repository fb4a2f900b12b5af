// What a failed run leaves behind: the .arm file keeps its blank count, and no
// .var or .det file that looks complete remains; a trace file that would
// overwrite a result file is refused before anything is written.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

using testsupport::binary;
using testsupport::fileExists;
using testsupport::readFile;
using testsupport::run;
using testsupport::RunResult;
using testsupport::TempDir;

bool armHasNoCount(const std::string& arm, int blanks) {
    std::string header = "1\n" + std::string(blanks, ' ') + "\n";
    return arm.compare(0, header.size(), header) == 0;
}

TEST(PartialResultsTest, FatalErrorDuringExplorationRemovesTheRewardFile) {
    // The index fills up at 131071 states, long after the .var file got its
    // first records.
    TempDir dir;
    RunResult result =
        run(binary("gen-counter") + " -P./ -Ncounter -B0 -Oi:Size:140000 -h2", dir.path());
    ASSERT_EQ(result.status, 1) << result.err;
    EXPECT_TRUE(armHasNoCount(readFile(dir.path() + "counter.arm"), 63));
    EXPECT_FALSE(fileExists(dir.path() + "counter.var"));
    EXPECT_TRUE(fileExists(dir.path() + "counter.pvtype")); // complete before exploring
}

TEST(PartialResultsTest, FailedDeterministicRunRemovesRewardAndEnablingFiles) {
    TempDir dir;
    std::filesystem::create_symlink("/dev/full", dir.path() + "timer.arm");
    RunResult result = run(binary("gen-timer") + " -P./ -Ntimer -B0", dir.path());
    ASSERT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "Error: Could not write file ./timer.arm\n");
    EXPECT_FALSE(fileExists(dir.path() + "timer.var"));
    EXPECT_FALSE(fileExists(dir.path() + "timer.det"));
}

TEST(PartialResultsTest, TraceFileNamingAResultFileIsRefused) {
    TempDir dir;
    for (const char* extension : {".arm", ".var", ".pvtype", ".det"}) {
        std::string trace = std::string("./exp1") + extension;
        RunResult result = run(binary("gen") + " -P./ -Nexp1 -B0 -l1 -t" + trace, dir.path());
        EXPECT_EQ(result.status, 1) << extension;
        EXPECT_EQ(result.err, "Error: the trace file " + trace +
                                  " is one of the run's result files; choose another name (-t)\n");
        EXPECT_FALSE(fileExists(dir.path() + "exp1.arm")) << extension;
    }
}

} // namespace
