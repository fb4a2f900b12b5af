#pragma once
// Runs two builds of one model with the same arguments, each in a fresh folder of
// its own, and lists every difference in what they leave behind: the exit status,
// standard output (less the processor time line, which differs from run to run),
// standard error, and the names and bytes of every file written (a trace file less
// its processor time line).

#include <map>
#include <string>
#include <vector>

namespace twins {

// What one run left behind.
struct Outcome {
    int status = -1;
    std::string out; // standard output without the "Computation Time" line
    std::string err; // standard error
    std::map<std::string, std::string> files; // every file of its folder: name -> bytes
};

// Runs `executable` in a fresh, empty folder as `executable -P./ <arguments>`, so
// that the experiment path, which standard output echoes, is the same for every
// executable, and collects what it left there.
Outcome runAlone(const std::string& executable, const std::string& arguments);

// The differences between two outcomes, one readable line each; empty when the
// outcomes agree.
std::vector<std::string> differences(const Outcome& first, const Outcome& second);

} // namespace twins
