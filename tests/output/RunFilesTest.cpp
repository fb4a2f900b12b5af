// The lifecycle of a run's result files: the .arm placeholder and the count
// written over it, and the removal of unfinished files when the run ends
// early. Each run happens in a child process, whose exit runs the handler.

#include "output/RunFiles.h"
#include "output/TextBuffer.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace {

using testsupport::TempDir;

// In a child: opens the .arm with a placeholder of `blanks`, writes the rows
// 7 and 8, creates the .var and the .det as unfinished, then either completes
// the run with `count` states or ends before; exits with status 0.
void run(const TempDir& dir, int blanks, bool complete, std::uint64_t count = 0) {
    EXPECT_EXIT(
        {
            RunFiles files(dir.path().c_str(), "run");
            files.openArm(files.armName().c_str(), "cannot open");
            files.writeArmPlaceholder(1, blanks);
            files.arm().line(7);
            files.arm().line(8);
            std::ofstream(files.varName()) << "records\n";
            RunFiles::markUnfinished(files.varName());
            files.openDet(files.detName().c_str()) << "lists\n";
            files.flushArm();
            files.closeDet();
            if (complete)
                files.completeArm(1, count);
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(RunFilesTest, CompletedRunKeepsItsFilesWithTheCountOverThePlaceholder) {
    TempDir fits, moved;
    run(fits, 8, true, 5);
    EXPECT_EQ(testsupport::readFile(fits.path() + "run.arm"), "1\n5\n      \n7\n8\n");
    EXPECT_EQ(testsupport::readFile(fits.path() + "run.var"), "records\n");
    EXPECT_EQ(testsupport::readFile(fits.path() + "run.det"), "lists\n");
    // Nine digits do not fit 8 blanks: the rows move back and line 3 stays, empty.
    run(moved, 8, true, 100000000);
    EXPECT_EQ(testsupport::readFile(moved.path() + "run.arm"), "1\n100000000\n\n7\n8\n");
}

TEST(RunFilesTest, UnfinishedRunLeavesOnlyTheArmWithItsBlankPlaceholder) {
    TempDir dir;
    run(dir, 8, false);
    EXPECT_EQ(testsupport::readFile(dir.path() + "run.arm"), "1\n        \n7\n8\n");
    EXPECT_FALSE(testsupport::fileExists(dir.path() + "run.var"));
    EXPECT_FALSE(testsupport::fileExists(dir.path() + "run.det"));
}

} // namespace
