// The lifecycle of a run's result files: the .arm placeholder and the count
// written over it, and the removal of unfinished files when the run ends
// early. Each run happens in a child process, whose exit runs the handler.

#include "output/RunFiles.h"
#include "output/TextBuffer.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>

namespace {

using testsupport::TempDir;

// A scratch folder that a death test's child shares with its parent. In the
// "threadsafe" style (the one the memcheck run uses) the child executes the
// test body again from its start, so a folder made there would not be the
// parent's: the parent names its folder in the environment variable
// `variable`, and a child finds it there instead of making its own.
class SharedDir {
public:
    explicit SharedDir(const char* variable) {
        if (const char* inherited = std::getenv(variable)) {
            path_ = inherited;
        } else {
            own_.emplace();
            path_ = own_->path();
            setenv(variable, path_.c_str(), 1);
        }
        variable_ = variable;
    }
    ~SharedDir() {
        if (own_)
            unsetenv(variable_);
    }
    SharedDir(const SharedDir&) = delete;
    SharedDir& operator=(const SharedDir&) = delete;
    const std::string& path() const { return path_; }

private:
    std::optional<TempDir> own_; // made and removed by the parent only
    std::string path_;
    const char* variable_ = nullptr; // not owned: a literal
};

// In a child: opens the .arm with a placeholder of `blanks`, writes the rows
// 7 and 8, creates the .var and the .det as unfinished, then either completes
// the run with `count` states or ends before; exits with status 0.
void run(const SharedDir& dir, int blanks, bool complete, std::uint64_t count = 0) {
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
    SharedDir fits("GEN_RUNFILES_TEST_FITS"), moved("GEN_RUNFILES_TEST_MOVED");
    run(fits, 8, true, 5);
    EXPECT_EQ(testsupport::readFile(fits.path() + "run.arm"), "1\n5\n      \n7\n8\n");
    EXPECT_EQ(testsupport::readFile(fits.path() + "run.var"), "records\n");
    EXPECT_EQ(testsupport::readFile(fits.path() + "run.det"), "lists\n");
    // Nine digits do not fit 8 blanks: the rows move back and line 3 stays, empty.
    run(moved, 8, true, 100000000);
    EXPECT_EQ(testsupport::readFile(moved.path() + "run.arm"), "1\n100000000\n\n7\n8\n");
}

TEST(RunFilesTest, UnfinishedRunLeavesOnlyTheArmWithItsBlankPlaceholder) {
    SharedDir dir("GEN_RUNFILES_TEST_UNFINISHED");
    run(dir, 8, false);
    EXPECT_EQ(testsupport::readFile(dir.path() + "run.arm"), "1\n        \n7\n8\n");
    EXPECT_FALSE(testsupport::fileExists(dir.path() + "run.var"));
    EXPECT_FALSE(testsupport::fileExists(dir.path() + "run.det"));
}

} // namespace
