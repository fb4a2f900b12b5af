// Faults of the result files, injected into runs of the real executables: output
// folders that cannot be written, file names taken by folders, full disks and
// file-size limits. Every run that fails must say so on standard error, end with
// status 1, and leave no .arm file that looks complete.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

using namespace testsupport;

const std::string cannotOpenArm = "Error: Could not open state space output file\n";
const std::string cannotOpenVar = "Could not open file dude\n";

// The .arm file of the shipped model's first experiment, as a complete run writes it.
const std::string completeArm = "1\n3\n" + std::string(61, ' ') + "\n" +
                                "1\n2\n1.0000000000e+03\n3\n1.0000000000e-07\n0\n"
                                "2\n1\n1.0000000000e+04\n3\n1.0000000000e-06\n0\n"
                                "3\n0\n";

// The first bytes of an .arm file whose count has not been written yet: the
// placeholder line has 63 blanks, or 8 on the deterministic path.
std::string placeholderHeader(int blanks = 63) {
    return "1\n" + std::string(blanks, ' ') + "\n";
}

// A .arm file that no reader can take for complete: empty, or still with the
// blank placeholder where the count belongs.
::testing::AssertionResult looksIncomplete(const std::string& arm, int blanks = 63) {
    std::string header = placeholderHeader(blanks);
    if (arm.empty() || arm.compare(0, header.size(), header) == 0)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "the .arm file has a count: " << arm.substr(0, 80);
}

class OutputFaultTest : public ::testing::Test {
protected:
    // Runs `executable` with `arguments` in the scratch folder; `setup` is shell
    // text that runs first in the same shell (limits, traps).
    RunResult gen(const std::string& arguments, const std::string& setup = "",
                  const std::string& executable = "gen") {
        return run(setup + binary(executable) + " " + arguments, dir.path());
    }
    std::string path(const std::string& name) const { return dir.path() + name; }
    void makeFile(const std::string& name) { std::ofstream(path(name)) << "x\n"; }
    void makeFolder(const std::string& name) { std::filesystem::create_directory(path(name)); }
    void linkTo(const std::string& name, const std::string& target) {
        std::filesystem::create_symlink(target, path(name));
    }

    TempDir dir;
};

TEST_F(OutputFaultTest, OutputFolderThatCannotBeCreatedInIsReported) {
    makeFile("plain");
    // A folder that does not exist, a "folder" that is a regular file, and a
    // folder where even root cannot create files (permission bits do not stop root).
    for (std::string prefix : {path("missing/"), path("plain/"), std::string("/proc/")}) {
        RunResult result = gen("-P" + prefix + " -Nexp1 -B0");
        EXPECT_EQ(result.status, 1) << prefix;
        EXPECT_NE(result.err.find(cannotOpenArm), std::string::npos) << prefix << result.err;
        EXPECT_EQ(result.out.find("Generated:"), std::string::npos) << prefix;
        EXPECT_FALSE(fileExists(prefix + "exp1.arm")) << prefix;
    }
}

TEST_F(OutputFaultTest, ResultNamesTakenByFoldersAreReported) {
    makeFolder("arm.arm");
    RunResult arm = gen("-P./ -Narm -B0");
    EXPECT_EQ(arm.status, 1);
    EXPECT_NE(arm.err.find(cannotOpenArm), std::string::npos) << arm.err;

    makeFolder("var.var");
    RunResult var = gen("-P./ -Nvar -B0");
    EXPECT_EQ(var.status, 1);
    EXPECT_NE(var.err.find(cannotOpenVar), std::string::npos) << var.err;
    EXPECT_TRUE(looksIncomplete(readFile(path("var.arm"))));
}

TEST_F(OutputFaultTest, UnwritableTypeAndTraceFilesDoNotStopTheRun) {
    makeFolder("exp1.pvtype");
    RunResult result = gen("-P./ -Nexp1 -B0 -l4 -t" + path("missing/trace"));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(readFile(path("exp1.arm")), completeArm);
    EXPECT_NE(result.out.find("Generated: 3 states\n"), std::string::npos);
}

TEST_F(OutputFaultTest, FullDiskIsReportedForEachResultFile) {
    linkTo("arm.arm", "/dev/full");
    RunResult arm = gen("-P./ -Narm -B0");
    EXPECT_EQ(arm.status, 1);
    EXPECT_NE(arm.err.find("./arm.arm"), std::string::npos) << arm.err;
    EXPECT_EQ(arm.out.find("Generated:"), std::string::npos);

    // The .var file fails after every row of the .arm file has been written: the
    // count must still not appear in the .arm file.
    linkTo("var.var", "/dev/full");
    RunResult var = gen("-P./ -Nvar -B0");
    EXPECT_EQ(var.status, 1);
    EXPECT_NE(var.err.find("./var.var"), std::string::npos) << var.err;
    EXPECT_EQ(var.out.find("Generated:"), std::string::npos);
    EXPECT_TRUE(looksIncomplete(readFile(path("var.arm"))));
}

TEST_F(OutputFaultTest, DeterministicPathReportsEachResultFile) {
    // gen-timer has deterministic activities: its run writes a .det file too,
    // opened before the .arm file.
    makeFolder("det.det");
    RunResult det = gen("-P./ -Ndet -B0", "", "gen-timer");
    EXPECT_EQ(det.status, 1);
    EXPECT_EQ(det.err, "Error: Could not open det file \n");
    EXPECT_FALSE(fileExists(path("det.arm")));

    makeFolder("arm.arm");
    RunResult arm = gen("-P./ -Narm -B0", "", "gen-timer");
    EXPECT_EQ(arm.status, 1);
    EXPECT_EQ(arm.err, "Error: Could not open binary file dude\n");

    linkTo("full.det", "/dev/full");
    RunResult full = gen("-P./ -Nfull -B0", "", "gen-timer");
    EXPECT_EQ(full.status, 1);
    EXPECT_EQ(full.err, "Error: Could not write file ./full.det\n");
    EXPECT_EQ(full.out.find("Generated:"), std::string::npos);
    EXPECT_TRUE(looksIncomplete(readFile(path("full.arm")), 8));
}

TEST_F(OutputFaultTest, WriteThatFailsPartWayKeepsThePlaceholderCount) {
    // 100000 states give an .arm file of about 3 MB. Under a file-size limit of
    // 100 blocks, with SIGXFSZ ignored, the write past the limit fails with an
    // error instead of killing the process.
    RunResult result = gen("-P./ -Ncounter -B1", "trap '' XFSZ; ulimit -f 100; ", "gen-counter");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "Error: Could not write file ./counter.arm\n");
    EXPECT_EQ(result.out.find("Generated:"), std::string::npos);
    std::string arm = readFile(path("counter.arm"));
    EXPECT_GT(arm.size(), placeholderHeader().size());
    EXPECT_LT(arm.size(), 3000000u);
    EXPECT_TRUE(looksIncomplete(arm));
}

} // namespace
