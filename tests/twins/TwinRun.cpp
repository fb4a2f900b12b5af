#include "twins/TwinRun.h"

#include "support/TestSupport.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace twins {

namespace {

// The text without its processor time line ("Computation Time" on standard
// output, "Computation time" in a trace).
std::string withoutProcessorTime(const std::string& text) {
    std::istringstream in(text);
    std::string kept, line;
    while (std::getline(in, line))
        if (line.rfind("Computation Time", 0) != 0 && line.rfind("Computation time", 0) != 0)
            kept += line + '\n';
    return kept;
}

// Result files are compared byte for byte; any other file (a trace) less its
// processor time line.
bool isResultFile(const std::string& name) {
    for (const char* suffix : {".arm", ".var", ".pvtype", ".det"})
        if (name.ends_with(suffix))
            return true;
    return false;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line))
        result.push_back(line);
    return result;
}

// One line naming the first place where two texts part, or empty when they agree.
std::string firstDifference(const std::string& what, const std::string& first,
                            const std::string& second) {
    if (first == second)
        return {};
    const auto a = lines(first);
    const auto b = lines(second);
    const std::size_t common = std::min(a.size(), b.size());
    std::ostringstream text;
    text << what << ": ";
    for (std::size_t i = 0; i < common; ++i)
        if (a[i] != b[i]) {
            text << "line " << i + 1 << " is \"" << a[i] << "\" against \"" << b[i] << '"';
            return text.str();
        }
    if (a.size() != b.size())
        text << a.size() << " lines against " << b.size();
    else
        text << "same lines, different bytes (line ends)"; // e.g. a missing last newline
    return text.str();
}

} // namespace

Outcome runAlone(const std::string& executable, const std::string& arguments) {
    testsupport::TempDir dir;
    testsupport::RunResult r = testsupport::run(executable + " -P./ " + arguments, dir.path());
    Outcome outcome;
    outcome.status = r.status;
    outcome.out = withoutProcessorTime(r.out);
    outcome.err = r.err;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
        const std::string name = entry.path().filename().string();
        const std::string bytes = testsupport::readFile(entry.path().string());
        outcome.files[name] = isResultFile(name) ? bytes : withoutProcessorTime(bytes);
    }
    return outcome;
}

std::vector<std::string> differences(const Outcome& first, const Outcome& second) {
    std::vector<std::string> found;
    if (first.status != second.status)
        found.push_back("exit status " + std::to_string(first.status) + " against " +
                        std::to_string(second.status));
    for (const std::string& d : {firstDifference("standard output", first.out, second.out),
                                 firstDifference("standard error", first.err, second.err)})
        if (!d.empty())
            found.push_back(d);
    for (const auto& [name, bytes] : first.files) {
        auto other = second.files.find(name);
        if (other == second.files.end())
            found.push_back("file " + name + " is written by the first run only");
        else if (std::string d = firstDifference("file " + name, bytes, other->second); !d.empty())
            found.push_back(d);
    }
    for (const auto& [name, bytes] : second.files)
        if (!first.files.count(name))
            found.push_back("file " + name + " is written by the second run only");
    return found;
}

} // namespace twins
