// The .imp file: its rates replace the first-entry impulses of .var, and every
// fault is refused with one InputError naming the file and the line, which
// gen-solve turns into one line on standard error and status 1.

#include "read/InputError.h"
#include "read/ModelReader.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace {

using testsupport::binary;
using testsupport::run;
using testsupport::TempDir;

// Two states that lead to each other (1 -> 2 at rate 3, 2 -> 1 at rate 4) and
// two variables: "cost" with an impulse of 5 recorded for state 2, "up" with
// none.
const std::string kPvType = "Version:1\nNumPV:2\n"
                            "Name:cost\nType:1\nNumTimes:1\nStart:0\nStop:1\n"
                            "Name:up\nType:3\nNumTimes:1\nStart:0\nStop:0\n";
const std::string kVar = "cost\nup\n1\n0\n0\n0\n1\n2\n5\n0\n0\n0\n";
const std::string kArm = "1\n2\n" + std::string(61, ' ') + "\n" +
                         "1\n2\n3.0000000000e+00\n0\n2\n1\n4.0000000000e+00\n0\n";
const std::string kImp = "cost\nup\n1\n6.5\n0\n2\n-1e-3\n0\n";

void write(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    text.replace(text.find(from), from.size(), to);
    return text;
}

// Writes the run's files with `imp` as the .imp file (none when null).
std::string writeRun(const TempDir& dir, const std::string* imp) {
    const std::string stem = dir.path() + "c";
    write(stem + ".pvtype", kPvType);
    write(stem + ".var", kVar);
    write(stem + ".arm", kArm);
    if (imp != nullptr)
        write(stem + ".imp", *imp);
    return stem;
}

TEST(ImpReader, RatesReplaceTheFirstEntryImpulses) {
    TempDir dir;
    // Without the file the impulse rate comes from .var: state 1 reaches
    // state 2 (impulse 5) at rate 3, state 2 reaches state 1 (impulse 0).
    gensolver::Model derived = gensolver::readModel(writeRun(dir, nullptr));
    ASSERT_EQ(derived.rewards[0].impulseRate.size(), 2u);
    EXPECT_EQ(derived.rewards[0].impulseRate[0], 15.0);
    EXPECT_EQ(derived.rewards[0].impulseRate[1], 0.0);
    EXPECT_FALSE(derived.exactImpulses);

    gensolver::Model model = gensolver::readModel(writeRun(dir, &kImp));
    EXPECT_TRUE(model.exactImpulses);
    ASSERT_EQ(model.rewards[0].impulseRate.size(), 2u);
    EXPECT_EQ(model.rewards[0].impulseRate[0], 6.5);
    EXPECT_EQ(model.rewards[0].impulseRate[1], -1e-3); // a negative impulse is a value too
    EXPECT_TRUE(model.rewards[0].impulse.empty());
    EXPECT_TRUE(model.rewards[1].impulseRate.empty()); // all 0: nothing to add
    EXPECT_EQ(model.rewards[0].rate[1], 0.0);          // rate rewards stay those of .var
}

TEST(ImpReader, EachFaultIsNamedWithItsFileAndLine) {
    struct Case {
        const char* name;
        std::string imp;
        std::string expected; // the message, from the file name on
    };
    const Case cases[] = {
        {"empty", "", "c.imp:0: the file ends in the header where variable \"cost\" was expected"},
        {"header order", "up\ncost\n1\n0\n0\n2\n0\n0\n",
         "c.imp:1: header names \"up\" where the .pvtype file has \"cost\""},
        {"header short", "cost\n", "c.imp:1: the file ends in the header where variable \"up\""},
        {"record order", replaced(kImp, "\n2\n", "\n3\n"),
         "c.imp:6: record of state 3 where state 2 was expected"},
        {"number not a number", replaced(kImp, "\n2\n", "\ntwo\n"),
         "c.imp:6: expected the state number 2, found \"two\""},
        {"too few records", kImp.substr(0, kImp.find("2\n-1e")),
         "c.imp:5: the file ends after 1 of 2 records"},
        {"truncated record", kImp.substr(0, kImp.rfind("0\n")),
         "c.imp:7: the file ends inside the record of state 2 of 2 (truncated)"},
        {"too many records", kImp + "3\n0\n0\n",
         "c.imp:9: more records than the 2 states of the .arm file: \"3\""},
        {"not a number", replaced(kImp, "6.5", "6.5x"),
         "c.imp:4: impulse rate of state 1 is not a number: \"6.5x\""},
        {"not finite", replaced(kImp, "6.5", "nan"),
         "c.imp:4: impulse rate of state 1 is not finite: \"nan\""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir dir;
        const std::string stem = writeRun(dir, &c.imp);
        try {
            gensolver::readModel(stem);
            ADD_FAILURE() << "no error";
        } catch (const gensolver::InputError& e) {
            const std::string message = e.what();
            EXPECT_EQ(message.rfind(dir.path(), 0), 0u) << message;
            EXPECT_NE(message.find(c.expected), std::string::npos) << message;
        }
    }
}

TEST(ImpReader, TheCommandRefusesABadFileWithOneLineAndStatusOne) {
    TempDir dir;
    const std::string imp = replaced(kImp, "\n2\n", "\n1\n");
    const std::string stem = writeRun(dir, &imp);
    const auto result = run(binary("gen-solve") + " " + stem);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "gen-solve: " + stem + ".imp:6: record of state 1 where state 2 was expected\n");
    EXPECT_EQ(result.out, "");
}

} // namespace
