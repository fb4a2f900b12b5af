// Bad input: every fault is one InputError naming the file and the line, and
// gen-solve turns it into one line on standard error and status 1.

#include "methods/Parallel.h"
#include "read/ArmReader.h"
#include "read/InputError.h"
#include "read/ModelReader.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

namespace {

using testsupport::binary;
using testsupport::run;
using testsupport::TempDir;

const std::string kPvType = "Version:1\nNumPV:1\nName:up\nType:0\nNumTimes:1\nStart:24\nStop:24\n";
const std::string kVar = "up\n1\n0\n1\n2\n0\n1\n3\n0\n0\n";
const std::string kFiller = std::string(61, ' ') + "\n";
const std::string kArm = "1\n3\n" + kFiller +
                         "1\n2\n1.0000000000e+03\n3\n1.0000000000e-07\n0\n"
                         "2\n1\n1.0000000000e+04\n3\n1.0000000000e-06\n0\n"
                         "3\n0\n";

void write(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

struct Case {
    const char* name;
    std::string arm, var, pvtype;
    std::string expected; // the message, from the file name on
};

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    text.replace(text.find(from), from.size(), to);
    return text;
}

TEST(InputErrors, EachFaultIsNamedWithItsFileAndLine) {
    const Case cases[] = {
        {"empty arm", "", kVar, kPvType, "c.arm:0: the file is empty"},
        {"blank count", "1\n\n" + std::string(63, ' ') + "\n", kVar, kPvType,
         "c.arm:2: the state count is blank: the run that writes this file did not finish"},
        {"count not a number", "1\nx3\n" + kFiller, kVar, kPvType,
         "c.arm:2: the state count must be a whole number"},
        {"wrong output type", replaced(kArm, "1\n3\n", "2\n3\n"), kVar, kPvType,
         "c.arm:1: line 1 must hold the output type 1"},
        {"no filler line", "1\n3\n", kVar, kPvType, "c.arm:2: the file ends after the state count"},
        {"truncated rows", kArm.substr(0, kArm.find("2\n1\n1.0")), kVar, kPvType,
         "c.arm:9: the file ends inside the rows: row 2 of 3"},
        {"truncated inside a row", kArm.substr(0, kArm.find("3\n1.0000000000e-07")), kVar, kPvType,
         "c.arm:6: the file ends inside the rows: row 1 of 3"},
        {"row out of order", replaced(kArm, "2\n1\n1.0", "3\n1\n1.0"), kVar, kPvType,
         "c.arm:10: row of state 3 where the row of state 2 was expected"},
        {"target beyond count", replaced(kArm, "3\n1.0000000000e-07", "4\n1.0000000000e-07"), kVar,
         kPvType, "c.arm:7: the row of state 1 names state 4, beyond the count of 3 states"},
        {"negative rate", replaced(kArm, "1.0000000000e+04", "-1.0000000000e+04"), kVar, kPvType,
         "c.arm:12: the rate from state 2 to 1 is negative"},
        {"infinite rate", replaced(kArm, "1.0000000000e+04", "inf"), kVar, kPvType,
         "c.arm:12: the rate from state 2 to 1 is not finite"},
        {"nan rate", replaced(kArm, "1.0000000000e+04", "nan"), kVar, kPvType,
         "c.arm:12: the rate from state 2 to 1 is not finite"},
        {"overflowing rate", replaced(kArm, "1.0000000000e+04", "1e999"), kVar, kPvType,
         "c.arm:12: the rate from state 2 to 1 is not a number"},
        {"text after rows", kArm + "4\n", kVar, kPvType,
         "c.arm:18: text after the row of the last state 3"},

        {"var header", kArm, replaced(kVar, "up\n", "down\n"), kPvType,
         "c.var:1: header names \"down\" where the .pvtype file has \"up\""},
        {"var record order", kArm, replaced(kVar, "\n2\n", "\n7\n"), kPvType,
         "c.var:5: record of state 7 where state 2 was expected"},
        {"var too few records", kArm, kVar.substr(0, kVar.find("3\n0\n0\n")), kPvType,
         "c.var:7: the file ends after 2 of 3 records"},
        {"var too many records", kArm, kVar + "4\n0\n1\n", kPvType,
         "c.var:11: more records than the 3 states of the .arm file"},
        {"var bad reward", kArm, replaced(kVar, "2\n0\n1\n", "2\n0\none\n"), kPvType,
         "c.var:7: rate reward of state 2 is not a number"},
        {"var infinite impulse", kArm, replaced(kVar, "2\n0\n1\n", "2\n-inf\n1\n"), kPvType,
         "c.var:6: impulse reward of state 2 is not finite"},
        // The rewards are read beside the rows: the .var fault still comes first.
        {"var and arm both bad", replaced(kArm, "2\n1\n1.0", "3\n1\n1.0"),
         replaced(kVar, "\n2\n", "\n7\n"), kPvType,
         "c.var:5: record of state 7 where state 2 was expected"},
        {"pvtype version", kArm, kVar, replaced(kPvType, "Version:1", "Version:2"),
         "c.pvtype:1: unknown version"},
        {"pvtype key", kArm, kVar, replaced(kPvType, "NumPV:1", "NumPVs:1"),
         "c.pvtype:2: expected \"NumPV:<value>\""},
        {"pvtype type", kArm, kVar, replaced(kPvType, "Type:0", "Type:7"),
         "c.pvtype:4: unknown reward type \"7\""},
        {"pvtype time", kArm, kVar, replaced(kPvType, "Start:24", "Start:soon"),
         "c.pvtype:6: Start must be a finite number"},
        {"pvtype negative time", kArm, kVar,
         replaced(replaced(kPvType, "Start:24", "Start:-1"), "Stop:24", "Stop:-1"),
         "c.pvtype:6: Start must not be negative"},
        {"pvtype instant with interval", kArm, kVar, replaced(kPvType, "Stop:24", "Stop:25"),
         "c.pvtype:7: instant-of-time variable \"up\" needs Start equal to Stop"},
        {"pvtype truncated", kArm, kVar, kPvType.substr(0, kPvType.find("Stop")),
         "c.pvtype:6: the file ends where \"Stop:\" was expected"},
        {"pvtype no times", kArm, kVar, replaced(kPvType, "NumTimes:1", "NumTimes:0"),
         "c.pvtype:5: variable \"up\" has no time point"},
    };
    // On two threads the rewards are read while the rows are counted.
    for (const unsigned threads : {1u, 2u}) {
        gensolver::setSharedThreads(threads);
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(c.name) + ", threads " + std::to_string(threads));
            TempDir dir;
            write(dir.path() + "c.arm", c.arm);
            write(dir.path() + "c.var", c.var);
            write(dir.path() + "c.pvtype", c.pvtype);
            try {
                gensolver::readModel(dir.path() + "c");
                ADD_FAILURE() << "no error";
            } catch (const gensolver::InputError& e) {
                const std::string message = e.what();
                EXPECT_EQ(message.rfind(dir.path(), 0), 0u) << message;
                EXPECT_NE(message.find(c.expected), std::string::npos) << message;
            }
        }
    }
    gensolver::setSharedThreads(0);
}

TEST(InputErrors, LineThreeIsFillerWhateverItHolds) {
    // A long third line (the generator may keep more than its usual blanks there).
    TempDir dir;
    write(dir.path() + "c.arm", replaced(kArm, kFiller, std::string(3000000, ' ') + "x\n"));
    write(dir.path() + "c.var", kVar);
    write(dir.path() + "c.pvtype", kPvType);
    EXPECT_EQ(gensolver::readModel(dir.path() + "c").matrix.transitions(), 4u);
}

TEST(InputErrors, ACountTheFileCannotHoldIsRefusedWithoutTheMemoryForIt) {
    // 4e9 states in a file of some hundred bytes: the rows' arrays would take 32
    // GB. The .arm reader refuses the count on its own; read with the rewards,
    // their file's fault comes first, and on two threads too before any array
    // is allocated for the count (they were read beside an allocation of 32 GB).
    TempDir dir;
    const std::string arm = replaced(kArm, "1\n3\n", "1\n4000000000\n");
    write(dir.path() + "c.arm", arm);
    write(dir.path() + "c.var", kVar);
    write(dir.path() + "c.pvtype", kPvType);
    std::vector<gensolver::Rewards> rewards;
    try {
        gensolver::readArm(dir.path() + "c.arm", 4000000000u, rewards, {});
        ADD_FAILURE() << "no error";
    } catch (const gensolver::InputError& e) {
        EXPECT_NE(std::string(e.what()).find(
                      "c.arm:3: the file's " + std::to_string(arm.size()) +
                      " bytes cannot hold the rows of its 4000000000 states (truncated)"),
                  std::string::npos)
            << e.what();
    }
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address sanitizer cannot run under an address-space limit";
#endif
    const auto result = run("ulimit -v 1048576; " + binary("gen-solve") + " -P" + dir.path() +
                            " -Nc --threads 2");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err.rfind("gen-solve: " + dir.path() +
                                   "c.var:10: the file ends after 3 of 4000000000 records",
                               0),
              0u)
        << result.err;
}

TEST(InputErrors, TheCommandReportsOneLineAndStatusOne) {
    TempDir dir;
    const std::string stem = dir.path() + "c";
    struct Run {
        const char* name;
        std::string args;
        std::string expected;
    } runs[] = {
        {"missing files", stem, "gen-solve: " + stem + ".pvtype: cannot open: No such file"},
        {"deterministic", stem + "d",
         "gen-solve: " + stem + "d.det:1: line 1 must hold the number of delay groups"},
        {"bad option", stem + " --format xml", "gen-solve: unknown format \"xml\""},
        {"no model", "", "gen-solve: no model given"},
        {"-P without -N", "-P" + dir.path(), "gen-solve: missing option -N"},
        {"bad epsilon", stem + " --epsilon 0", "gen-solve: option --epsilon needs a number"},
        {"unwritable plot", "-P" + dir.path() + " -Nok --plot " + dir.path() + "no/such/p.svg",
         "gen-solve: " + dir.path() + "no/such/p.svg: cannot open for writing"},
    };
    write(stem + "d.det", "-1\n"); // "0" alone is a run without deterministic delays
    write(stem + "d.arm", kArm);
    write(stem + "d.var", kVar);
    write(stem + "d.pvtype", kPvType);
    write(dir.path() + "ok.arm", kArm);
    write(dir.path() + "ok.var", kVar);
    write(dir.path() + "ok.pvtype", kPvType);
    for (const Run& r : runs) {
        SCOPED_TRACE(r.name);
        const auto result = run(binary("gen-solve") + " " + r.args);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err.rfind(r.expected, 0), 0u) << result.err;
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
    }
}

} // namespace
