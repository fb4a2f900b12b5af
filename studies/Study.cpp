#include "Study.h"

#include "ChildProcess.h"
#include "WorkFolder.h"
#include "tool/SolveRun.h"

#include <algorithm>
#include <atomic>
#include <fstream>
#include <mutex>
#include <new>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace genstudies {

namespace {

std::string fileText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// The executable's name without its folder, as messages give it.
std::string toolName(const std::string& executable) {
    const std::size_t slash = executable.rfind('/');
    return slash == std::string::npos ? executable : executable.substr(slash + 1);
}

} // namespace

int probeExperimentCount(const std::string& executable, const WorkFolder& folder) {
    const std::string out = folder.prefix() + "probe.out", err = folder.prefix() + "probe.err";
    const ProcessEnd end =
        runProcess({executable, "-P" + folder.prefix(), "-Nprobe", "-B-1"}, out, err);
    const std::string errText = fileText(err), outText = fileText(out);
    folder.removeRunFiles("probe");
    if (!end.started)
        throw std::runtime_error(end.error);
    const int count = experimentCountFromRefusal(errText);
    if (count < 0)
        throw std::runtime_error(executable +
                                 " does not answer as a model executable: asked for experiment "
                                 "-1 it gave no experiment range (" +
                                 end.describe() + ")");
    if (count == 0)
        throw std::runtime_error(executable + " has no experiments");
    return count;
}

ExperimentOutcome runExperiment(const std::string& executable, const WorkFolder& folder, int number,
                                const gensolver::SolveOptions& solve) {
    ExperimentOutcome outcome;
    outcome.number = number;
    const std::string stem = "e" + std::to_string(number);
    const std::string out = folder.prefix() + stem + ".out", err = folder.prefix() + stem + ".err";
    const ProcessEnd end = runProcess(
        {executable, "-P" + folder.prefix(), "-N" + stem, "-B" + std::to_string(number)}, out, err);
    const std::string outText = fileText(out), errText = fileText(err);
    outcome.heading = readHeading(outText);
    const std::string said = runMessage(outText, errText);
    if (!end.succeeded()) {
        outcome.failed = true;
        outcome.message = end.started ? toolName(executable) + " ended with " + end.describe() +
                                            (said.empty() ? "" : ": " + said)
                                      : end.error;
    } else {
        try {
            outcome.solution = gensolver::solveRun(folder.prefix() + stem, solve);
            outcome.notice = outcome.solution.absorptionNotice;
        } catch (const std::bad_alloc&) {
            outcome.failed = true;
            outcome.message = "solve: not enough memory for this chain";
        } catch (const std::exception& e) {
            outcome.failed = true;
            outcome.message = std::string("solve: ") + e.what();
            if (!said.empty()) // a run that ended with status 0 but said why it wrote no files
                outcome.message += " (" + toolName(executable) + " said: " + said + ")";
        }
    }
    folder.removeRunFiles(stem);
    return outcome;
}

std::vector<ExperimentOutcome> runExperiments(const std::string& executable,
                                              const WorkFolder& folder,
                                              const std::vector<int>& numbers,
                                              const gensolver::SolveOptions& solve, unsigned jobs,
                                              const Progress& progress) {
    std::vector<ExperimentOutcome> outcomes(numbers.size());
    std::atomic<std::size_t> next{0};
    std::size_t done = 0;
    std::mutex doneMutex;
    auto work = [&] {
        for (std::size_t i = next++; i < numbers.size(); i = next++) {
            outcomes[i] = runExperiment(executable, folder, numbers[i], solve);
            const std::lock_guard<std::mutex> lock(doneMutex);
            ++done;
            if (progress)
                progress(done, numbers.size());
        }
    };
    const std::size_t threads =
        std::max<std::size_t>(1, std::min<std::size_t>(jobs, numbers.size()));
    std::vector<std::thread> pool;
    for (std::size_t t = 1; t < threads; ++t)
        pool.emplace_back(work);
    work();
    for (std::thread& thread : pool)
        thread.join();
    return outcomes;
}

} // namespace genstudies
