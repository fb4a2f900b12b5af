#include "support/TestSupport.h"

#include <gtest/gtest.h>

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

std::string binary(const std::string& name) {
    return std::string(GEN_BIN_DIR) + "/" + name;
}

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

bool fileExists(const std::string& path) {
    return std::filesystem::exists(path);
}

TempDir::TempDir() {
    char name[] = "/tmp/gen-test-XXXXXX";
    char* made = mkdtemp(name);
    path_ = std::string(made ? made : "/tmp") + "/";
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string joinLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + '\n';
    return text;
}

std::string armHeader(int states, int blanks) {
    std::string count = std::to_string(states);
    return "1\n" + count + '\n' + std::string(blanks - 1 - count.size(), ' ') + '\n';
}

ModelRun runModel(const std::string& executable, const TempDir& dir, const std::string& name,
                  int experiment, const std::string& extra) {
    ModelRun r;
    r.result = run(binary(executable) + " -P" + dir.path() + " -N" + name + " -B" +
                   std::to_string(experiment) + extra);
    std::string stem = dir.path() + name;
    r.arm = readFile(stem + ".arm");
    r.var = readFile(stem + ".var");
    r.pvtype = readFile(stem + ".pvtype");
    r.det = readFile(stem + ".det");
    return r;
}

void expectRun(const ModelRun& run, const ExpectedRun& expected) {
    ASSERT_EQ(run.result.status, 0) << run.result.err;
    EXPECT_NE(run.result.out.find("Generated: " + std::to_string(expected.states) + " states\n"),
              std::string::npos)
        << run.result.out;
    EXPECT_EQ(run.arm, expected.arm);
    EXPECT_EQ(run.var, expected.var);
    EXPECT_EQ(run.pvtype, expected.pvtype);
    EXPECT_EQ(run.det, expected.det);
}

ExpectedRun expectedFromLines(long states, const std::vector<std::string>& armRows,
                              const std::vector<std::string>& var,
                              const std::vector<std::string>& pvtype,
                              const std::vector<std::string>& det, int blanks) {
    return {.states = states,
            .arm = armHeader(static_cast<int>(states), blanks) + joinLines(armRows),
            .var = joinLines(var),
            .pvtype = joinLines(pvtype),
            .det = joinLines(det)};
}

ModelRun expectGenerates(const ModelUnderTest& model, int experiment, const ExpectedRun& expected,
                         const std::string& extra) {
    TempDir dir;
    ModelRun r = runModel(model.executable, dir, model.name, experiment, extra);
    expectRun(r, expected);
    return r;
}

void expectHandDerivedFirstExperiment(const ModelUnderTest& model, const ExpectedRun& handDerived,
                                      const ExpectedRun& enumerated) {
    expectGenerates(model, 0, handDerived);
    EXPECT_EQ(enumerated.arm, handDerived.arm);
    EXPECT_EQ(enumerated.var, handDerived.var);
    EXPECT_EQ(enumerated.det, handDerived.det);
}

void expectLaterExperiments(const ModelUnderTest& model, int count,
                            const std::function<ExpectedRun(int)>& enumerate,
                            const std::function<void(int, const ExpectedRun&)>& check) {
    for (int e = 1; e < count; ++e) {
        SCOPED_TRACE("experiment " + std::to_string(e + 1));
        const ExpectedRun expected = enumerate(e);
        check(e, expected);
        expectGenerates(model, e, expected);
    }
}

} // namespace testsupport
