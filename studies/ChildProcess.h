#pragma once
// Runs a program to its end, its standard input empty and its standard output and
// standard error written to files.

#include <string>
#include <vector>

namespace genstudies {

// How a program ended.
struct ProcessEnd {
    bool started = false; // false: it could not be started (see error)
    int status = -1;      // exit status when it exited
    int signal = 0;       // the signal that ended it, 0 when it exited
    std::string error;    // why it could not be started or waited for

    bool succeeded() const { return started && signal == 0 && status == 0; }
    // "exit status 1", "killed by signal 6" or the error.
    std::string describe() const;
};

// Runs args[0] (searched in PATH when it holds no '/') with args, writing its standard
// output to outFile and its standard error to errFile (both truncated).
ProcessEnd runProcess(const std::vector<std::string>& args, const std::string& outFile,
                      const std::string& errFile);

} // namespace genstudies
