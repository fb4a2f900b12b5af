#include "main/commandline.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace {

// Parses {"gen", words...} in-process and returns what it printed on standard
// output; fileType and traceFileName are the caller's.
std::string parse(std::vector<std::string> words, int& fileType, char*& traceFileName) {
    words.insert(words.begin(), "gen");
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    testing::internal::CaptureStdout();
    commandline(static_cast<int>(words.size()), argv.data(), fileType, traceFileName);
    return testing::internal::GetCapturedStdout();
}

// Every setting on one line, "-" for an unset text.
std::string settings(int fileType, const char* traceFileName) {
    auto text = [](const char* t) { return t != nullptr ? t : "-"; };
    std::ostringstream out;
    out << "P=" << text(exp_path) << " N=" << text(ExpName) << " B=" << ExpNum
        << " h=" << hash_value << " F=" << fileType << " e=" << text(db_entity)
        << " s=" << text(db_host) << " l=" << TempTraceLevel << " t=" << text(traceFileName)
        << " O=" << text(OverrideString) << " a=" << flagAbsorb;
    return out.str();
}

// Each parse starts from the defaults: the cases run in order on the same settings.
// The usage text and its exit are checked on the real gen (GenRunTest).
TEST(CommandLineTest, ParsesAttachedAndSeparateValuesAndReportsTheRest) {
    const struct {
        std::vector<std::string> words;
        const char* out;
        const char* settings;
    } cases[] = {
        {{"-P/tmp/run/", "-Nexp1", "-B3", "-h0.75", "-F2", "-eentity", "-shost", "-l4",
          "-ttrace.txt", "-Od:alpha:5", "-a"},
         "path=[/tmp/run/]\nTraceLevel=4\nOverrideString is d:alpha:5\n",
         "P=/tmp/run/ N=exp1 B=3 h=0.75 F=2 e=entity s=host l=4 t=trace.txt O=d:alpha:5 a=1"},
        {{"x", "y", "z"}, "", "P=- N=- B=0 h=0.5 F=1 e=- s=- l=0 t=- O=- a=0"},
        // Separate values; a later option replaces an earlier one.
        {{"-Pfirst/", "-N", "n", "-P", "second/", "-t", "a", "-tb", "-Oone", "-O", "two", "-B1",
          "-B", "2", "-s", "h1", "-sh2", "-l", "1"},
         "path=[first/]\npath=[second/]\nOverrideString is one\nOverrideString is two\n"
         "TraceLevel=1\n",
         "P=second/ N=n B=2 h=0.5 F=1 e=- s=h2 l=1 t=b O=two a=0"},
        // Numbers convert without validation.
        {{"-P.", "-Nx", "-B12abc", "-habc", "-lxyz", "-F3.9"},
         "path=[.]\nTraceLevel=0\n",
         "P=. N=x B=12 h=0.5 F=3 e=- s=- l=0 t=- O=- a=0"},
        {{"-P.", "-Nx", "-B-3", "-h1e-1"},
         "path=[.]\n",
         "P=. N=x B=-3 h=0.1 F=1 e=- s=- l=0 t=- O=- a=0"},
        // -B without a value: the next word begins with '-', so -l2 is its own option.
        {{"-B", "-l2", "-P.", "-Nn", "-O"},
         "ERROR: unknown argument: -B\nTraceLevel=2\npath=[.]\nERROR: unknown argument: -O\n",
         "P=. N=n B=0 h=0.5 F=1 e=- s=- l=2 t=- O=- a=0"},
        {{"-", "stray", "-p.", "-P", "-Nn"},
         "ERROR: unknown argument: -\nERROR: unknown argument: -p.\nERROR: unknown argument: -P\n",
         "P=- N=n B=0 h=0.5 F=1 e=- s=- l=0 t=- O=- a=0"},
        // -a swallows a following plain word, not a following option.
        {{"-a", "-zz", "-P.", "-a", "word", "-Nn"},
         "ERROR: unknown argument: -zz\npath=[.]\n",
         "P=. N=n B=0 h=0.5 F=1 e=- s=- l=0 t=- O=- a=1"},
    };
    for (const auto& c : cases) {
        int fileType = 1;
        char* traceFileName = nullptr;
        EXPECT_EQ(parse(c.words, fileType, traceFileName), c.out) << c.words[0];
        EXPECT_EQ(settings(fileType, traceFileName), c.settings) << c.words[0];
        std::free(traceFileName);
    }
    resetCommandLineSettings();
}

} // namespace
