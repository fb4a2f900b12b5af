// What a failed run leaves behind: the .arm file keeps its blank count, and no
// .var, .det or .imp file that looks complete remains; a trace file that would
// overwrite a result file is refused before anything is written.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

using namespace testsupport;

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
    EXPECT_FALSE(fileExists(dir.path() + "timer.imp")); // the model has an impulse reward
}

TEST(PartialResultsTest, ImpulseRatesAreWrittenOnlyForModelsWithImpulses) {
    // The timer model has an impulse reward: a run that completes keeps its
    // .imp file, one that fails on its own .imp removes what it wrote. The
    // shipped model has none: its run writes no .imp and removes one that an
    // earlier run left under its name, which would not describe its states.
    TempDir dir;
    RunResult done = run(binary("gen-timer") + " -P./ -Ntimer -B0", dir.path());
    ASSERT_EQ(done.status, 0) << done.err;
    EXPECT_TRUE(fileExists(dir.path() + "timer.imp"));

    std::filesystem::create_symlink("/dev/full", dir.path() + "full.imp");
    RunResult failed = run(binary("gen-timer") + " -P./ -Nfull -B0", dir.path());
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.err, "Error: Could not write file ./full.imp\n");
    EXPECT_FALSE(fileExists(dir.path() + "full.var"));
    EXPECT_FALSE(std::filesystem::is_symlink(dir.path() + "full.imp"));

    std::ofstream(dir.path() + "exp1.imp") << "earlier run\n";
    RunResult plain = run(binary("gen") + " -P./ -Nexp1 -B0", dir.path());
    ASSERT_EQ(plain.status, 0) << plain.err;
    EXPECT_FALSE(fileExists(dir.path() + "exp1.imp"));
}

TEST(PartialResultsTest, TraceFileThatIsAResultFileIsRefusedWhateverItsSpelling) {
    // Every spelling of a result file's name is refused, whether the result file
    // exists (an earlier run's, left untouched) or not (and is not created).
    TempDir dir;
    std::filesystem::create_directory(dir.path() + "sub");
    std::filesystem::create_symlink(dir.path() + "exp1.det", dir.path() + "link");
    struct Case {
        const char* trace;
        const char* result;
    };
    const Case cases[] = {
        {"./exp1.arm", "./exp1.arm"},      {"exp1.arm", "./exp1.arm"},
        {".//exp1.var", "./exp1.var"},     {"././exp1.pvtype", "./exp1.pvtype"},
        {"sub/../exp1.arm", "./exp1.arm"}, {"link", "./exp1.det"},
        {"exp1.imp", "./exp1.imp"},        {"ABSOLUTE", "./exp1.var"},
    };
    for (bool resultsExist : {false, true}) {
        for (const Case& c : cases) {
            std::string trace =
                c.trace == std::string("ABSOLUTE") ? dir.path() + "exp1.var" : c.trace;
            std::string resultPath = dir.path() + std::string(c.result).substr(2);
            if (resultsExist) {
                std::ofstream(resultPath) << "earlier run\n";
            }
            RunResult result = run(binary("gen") + " -P./ -Nexp1 -B0 -l1 -t" + trace, dir.path());
            EXPECT_EQ(result.status, 1) << trace;
            EXPECT_EQ(result.err, "Error: the trace file " + trace + " is the result file " +
                                      c.result + "; choose another name (-t)\n");
            if (resultsExist) {
                EXPECT_EQ(readFile(resultPath), "earlier run\n") << trace;
                std::filesystem::remove(resultPath);
            }
            for (const char* extension : {".arm", ".var", ".pvtype", ".det", ".imp"})
                EXPECT_FALSE(fileExists(dir.path() + "exp1" + extension)) << trace << extension;
        }
    }
}

TEST(PartialResultsTest, TraceFileBesideTheResultFilesIsWritten) {
    TempDir dir;
    RunResult result = run(binary("gen") + " -P./ -Nexp1 -B0 -l1 -t./exp1.trace", dir.path());
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(readFile(dir.path() + "exp1.trace").find("State Number = 1\n"), std::string::npos);
}

} // namespace
