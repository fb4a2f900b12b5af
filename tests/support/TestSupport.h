#pragma once
// Helpers shared by the tests: running built executables, reading files,
// and scratch folders.

#include <string>

namespace testsupport {

// Result of running a command through the shell.
struct RunResult {
    int status = -1;      // exit status, or 128 + signal number
    std::string out;      // standard output
    std::string err;      // standard error
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

} // namespace testsupport
