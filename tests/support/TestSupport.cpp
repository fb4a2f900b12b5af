#include "support/TestSupport.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace testsupport {

namespace {

std::string slurpAndRemove(const std::string& path) {
    std::string text = readFile(path);
    std::remove(path.c_str());
    return text;
}

} // namespace

RunResult run(const std::string& command, const std::string& workdir) {
    char outName[] = "/tmp/gen-test-out-XXXXXX";
    char errName[] = "/tmp/gen-test-err-XXXXXX";
    int outFd = mkstemp(outName);
    int errFd = mkstemp(errName);
    close(outFd);
    close(errFd);
    std::string full;
    if (!workdir.empty())
        full = "cd '" + workdir + "' && ";
    full += "( " + command + " ) >" + outName + " 2>" + errName + " </dev/null";
    int raw = std::system(full.c_str());
    RunResult result;
    if (raw != -1 && WIFEXITED(raw))
        result.status = WEXITSTATUS(raw);
    else if (raw != -1 && WIFSIGNALED(raw))
        result.status = 128 + WTERMSIG(raw);
    result.out = slurpAndRemove(outName);
    result.err = slurpAndRemove(errName);
    return result;
}

std::string binary(const std::string& name) { return std::string(GEN_BIN_DIR) + "/" + name; }

std::string testdata(const std::string& relative) {
    return std::string(GEN_TESTDATA_DIR) + "/" + relative;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return {};
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool fileExists(const std::string& path) { return std::filesystem::exists(path); }

TempDir::TempDir() {
    char name[] = "/tmp/gen-test-XXXXXX";
    char* made = mkdtemp(name);
    path_ = std::string(made ? made : "/tmp") + "/";
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace testsupport
