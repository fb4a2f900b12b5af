#include "main/commandline.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

// Parses a command line in-process; the settings stay for inspection.
class CommandLineTest : public ::testing::Test {
protected:
    void TearDown() override {
        resetCommandLineSettings();
        std::free(traceFileName);
    }

    // Parses {"gen", words...} and returns what it printed on standard output.
    std::string parse(std::vector<std::string> words) {
        words.insert(words.begin(), "gen");
        std::vector<char*> argv;
        for (std::string& word : words)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        testing::internal::CaptureStdout();
        commandline(static_cast<int>(words.size()), argv.data(), fileType, traceFileName);
        return testing::internal::GetCapturedStdout();
    }

    int fileType = 1;
    char* traceFileName = nullptr;
};

TEST_F(CommandLineTest, AttachedValuesAndEchoLines) {
    std::string out = parse({"-P/tmp/run/", "-Nexp1", "-B3", "-h0.75", "-F2", "-eentity", "-shost",
                             "-l4", "-ttrace.txt", "-Od:alpha:5", "-a"});
    EXPECT_EQ(out, "path=[/tmp/run/]\n"
                   "TraceLevel=4\n"
                   "OverrideString is d:alpha:5\n");
    EXPECT_STREQ(exp_path, "/tmp/run/");
    EXPECT_STREQ(ExpName, "exp1");
    EXPECT_EQ(ExpNum, 3);
    EXPECT_EQ(hash_value, 0.75);
    EXPECT_EQ(fileType, 2);
    EXPECT_STREQ(db_entity, "entity");
    EXPECT_STREQ(db_host, "host");
    EXPECT_EQ(TempTraceLevel, 4);
    EXPECT_STREQ(traceFileName, "trace.txt");
    EXPECT_STREQ(OverrideString, "d:alpha:5");
    EXPECT_EQ(flagAbsorb, 1);
}

TEST_F(CommandLineTest, NumbersConvertWithoutValidation) {
    parse({"-P.", "-Nx", "-B12abc", "-habc", "-lxyz", "-F3.9"});
    EXPECT_EQ(ExpNum, 12);
    EXPECT_EQ(hash_value, 0.5);
    EXPECT_EQ(TempTraceLevel, 0);
    EXPECT_EQ(fileType, 3);

    parse({"-P.", "-Nx", "-B-3", "-h1e-1"});
    EXPECT_EQ(ExpNum, -3);
    EXPECT_EQ(hash_value, 0.1);

    parse({"-P.", "-Nx", "-B99999999999"}); // clamped, so it never wraps into range
    EXPECT_EQ(ExpNum, 2147483647);
}

TEST_F(CommandLineTest, UnknownOptionsAndMissingValuesAreReportedAndSkipped) {
    EXPECT_EQ(parse({"-xyz", "-q", "plain", "-P.", "-Nn"}), "ERROR: unknown argument: -xyz\n"
                                                            "ERROR: unknown argument: plain\n"
                                                            "path=[.]\n");
    // -B without a value: the next word begins with '-', so -l2 is its own option.
    EXPECT_EQ(parse({"-B", "-l2", "-P.", "-Nn", "-O"}), "ERROR: unknown argument: -B\n"
                                                        "TraceLevel=2\n"
                                                        "path=[.]\n"
                                                        "ERROR: unknown argument: -O\n");
    EXPECT_EQ(ExpNum, 0);
    EXPECT_EQ(OverrideString, nullptr);
    EXPECT_EQ(parse({"-", "stray", "-p.", "-P", "-Nn"}), "ERROR: unknown argument: -\n"
                                                         "ERROR: unknown argument: -p.\n"
                                                         "ERROR: unknown argument: -P\n");
    EXPECT_EQ(exp_path, nullptr); // cleared by this parse
    EXPECT_STREQ(ExpName, "n");
}

TEST_F(CommandLineTest, AbsorbFlagSwallowsAPlainWord) {
    EXPECT_EQ(parse({"-a", "-zz", "-P.", "-a", "word", "-Nn"}),
              "ERROR: unknown argument: -zz\npath=[.]\n");
    EXPECT_EQ(flagAbsorb, 1);
    EXPECT_STREQ(ExpName, "n");
}

TEST_F(CommandLineTest, SeparateValuesAndLaterOptionsOverrideEarlierOnes) {
    std::string out = parse({"-Pfirst/", "-N", "n", "-P", "second/", "-t", "a", "-tb", "-Oone",
                             "-O", "two", "-B1", "-B", "2", "-s", "h1", "-sh2", "-l", "1"});
    EXPECT_EQ(out, "path=[first/]\n"
                   "path=[second/]\n"
                   "OverrideString is one\n"
                   "OverrideString is two\n"
                   "TraceLevel=1\n");
    EXPECT_STREQ(exp_path, "second/");
    EXPECT_STREQ(ExpName, "n");
    EXPECT_STREQ(traceFileName, "b");
    EXPECT_STREQ(OverrideString, "two");
    EXPECT_EQ(ExpNum, 2);
    EXPECT_STREQ(db_host, "h2");
    EXPECT_EQ(TempTraceLevel, 1);
}

TEST_F(CommandLineTest, EachParseStartsFromTheDefaults) {
    parse({"-Pp", "-Nn", "-B4", "-h0.9", "-a", "-Ox", "-sh", "-ee", "-l3"});
    parse({"x", "y", "z"});
    EXPECT_EQ(exp_path, nullptr);
    EXPECT_EQ(ExpName, nullptr);
    EXPECT_EQ(ExpNum, 0);
    EXPECT_EQ(hash_value, 0.5);
    EXPECT_EQ(flagAbsorb, 0);
    EXPECT_EQ(OverrideString, nullptr);
    EXPECT_EQ(db_host, nullptr);
    EXPECT_EQ(db_entity, nullptr);
    EXPECT_EQ(TempTraceLevel, 0);
}

TEST_F(CommandLineTest, TooFewArgumentsEndTheProcessWithStatusZero) {
    EXPECT_EXIT(parse({"-P.", "-Nexp1"}), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(parse({}), testing::ExitedWithCode(0), "");
}

} // namespace
