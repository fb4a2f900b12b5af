#pragma once
// Helpers shared by the tests: running built executables, reading files,
// and scratch folders.

#include <functional>
#include <string>
#include <vector>

namespace testsupport {

// Result of running a command through the shell.
struct RunResult {
    int status = -1; // exit status, or 128 + signal number
    std::string out; // standard output
    std::string err; // standard error
};

// Runs `command` with /bin/sh in `workdir` (the current folder when empty),
// capturing standard output and standard error.
RunResult run(const std::string& command, const std::string& workdir = "");

// Path of an executable built by this build tree, e.g. binary("gen").
std::string binary(const std::string& name);

// Path of a checked-in expected file under tests/data.
std::string testdata(const std::string& relative);

// Whole contents of a file (binary-safe); empty when the file cannot be read.
std::string readFile(const std::string& path);

// True when the file exists.
bool fileExists(const std::string& path);

// A fresh, empty scratch folder (removed when the object dies). path() ends with '/'.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

// The lines, each ended by a line feed.
std::string joinLines(const std::vector<std::string>& lines);

// The first three lines of a finished .arm file with `states` states: the count
// written over the start of the placeholder line of `blanks` blanks (63, or 8 on
// the deterministic path).
std::string armHeader(int states, int blanks = 63);

// One run of a model's executable and the result files it left.
struct ModelRun {
    RunResult result;
    std::string arm, var, pvtype, det;
};

// Runs `executable` with -P<dir> -N<name> -B<experiment> and `extra`, then reads
// <dir><name>.arm, .var, .pvtype and .det (empty when absent).
ModelRun runModel(const std::string& executable, const TempDir& dir, const std::string& name,
                  int experiment, const std::string& extra = "");

// What a model's run should give: status 0, "Generated: <states> states" on
// standard output and the four files byte for byte (an empty det: no .det file).
struct ExpectedRun {
    long states = 0;
    long transitions = 0; // entries of the .arm rows, for the tests' closed forms
    std::string arm{};
    std::string var{};
    std::string pvtype{};
    std::string det{}; // empty for models without deterministic activities
};

// Test failures for every way `run` differs from `expected`.
void expectRun(const ModelRun& run, const ExpectedRun& expected);

// What a run should give, from lines derived by hand: the .arm rows below the
// header of `states` states (its placeholder line of `blanks` blanks), and the
// lines of the .var, .pvtype and .det files (no .det lines: no .det file).
ExpectedRun expectedFromLines(long states, const std::vector<std::string>& armRows,
                              const std::vector<std::string>& var,
                              const std::vector<std::string>& pvtype,
                              const std::vector<std::string>& det = {}, int blanks = 63);

// A model's executable and the name (-N) its result files take.
struct ModelUnderTest {
    std::string executable;
    std::string name;
};

// Runs an experiment of `model` in a fresh scratch folder with runModel and
// checks it with expectRun; returns the run for further checks.
ModelRun expectGenerates(const ModelUnderTest& model, int experiment, const ExpectedRun& expected,
                         const std::string& extra = "");

// The first experiment of `model` against files derived by hand, and the
// enumeration that serves as the oracle of the other experiments against the
// same files.
void expectHandDerivedFirstExperiment(const ModelUnderTest& model, const ExpectedRun& handDerived,
                                      const ExpectedRun& enumerated);

// Experiments 2 to `count` of `model` (numbered 1 to count - 1 on the command
// line), each against enumerate(e) and with its failures traced to it; check(e,
// expected) adds the test's closed-form checks of the enumeration.
void expectLaterExperiments(const ModelUnderTest& model, int count,
                            const std::function<ExpectedRun(int)>& enumerate,
                            const std::function<void(int, const ExpectedRun&)>& check);

} // namespace testsupport
