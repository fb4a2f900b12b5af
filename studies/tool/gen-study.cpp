// gen-study: runs the experiments of a model executable, solves each and prints the
// study's results in one table, CSV or JSON.

#include "Selection.h"
#include "Study.h"
#include "StudyCommandLine.h"
#include "StudyReport.h"
#include "StudySweep.h"
#include "WorkFolder.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <mutex>
#include <new>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace {

// "experiment 3 (Experiment 4)" for messages.
std::string label(const genstudies::ExperimentOutcome& o) {
    const std::string n = "experiment " + std::to_string(o.number);
    return o.heading.name.empty() ? n : n + " (" + o.heading.name + ")";
}

// Draws the sweep plot into cl.plot; throws std::runtime_error naming what is wrong.
void writeSweep(const genstudies::StudyCommandLine& cl,
                const std::vector<genstudies::ExperimentOutcome>& outcomes) {
    gensolver::Sweep sweep;
    try {
        const std::size_t slash = cl.executable.rfind('/');
        sweep = genstudies::buildSweep(outcomes, cl.sweep, cl.executable.substr(slash + 1));
    } catch (const std::invalid_argument& e) {
        throw std::runtime_error(std::string("no plot: ") + e.what());
    }
    // Drawn in memory first, so a picture that cannot be drawn leaves no file behind.
    std::ostringstream picture;
    writeSweepPlot(picture, sweep, {cl.logX, cl.logY, cl.complement});
    std::ofstream svg(cl.plot, std::ios::binary | std::ios::trunc);
    if (!svg)
        throw std::runtime_error(cl.plot + ": cannot open for writing: " + std::strerror(errno));
    svg << picture.str();
    svg.close();
    if (!svg)
        throw std::runtime_error(cl.plot + ": cannot write");
}

} // namespace

int main(int argc, char** argv) {
    using namespace genstudies;
    try {
        const StudyCommandLine cl =
            parseStudyCommandLine(std::vector<std::string>(argv + 1, argv + argc));
        if (cl.help) {
            std::cout << studyUsage();
            return 0;
        }
        const WorkFolder folder(cl.workFolder, cl.keepFiles);
        const int count = probeExperimentCount(cl.executable, folder);
        const std::vector<int> numbers =
            cl.experiments.empty() ? allExperiments(count) : parseSelection(cl.experiments, count);

        const bool terminal = isatty(STDERR_FILENO) != 0;
        Progress progress;
        if (terminal)
            progress = [](std::size_t done, std::size_t total) {
                std::cerr << "\rgen-study: " << done << '/' << total << " experiments done"
                          << std::flush;
            };
        const std::vector<ExperimentOutcome> outcomes =
            runExperiments(cl.executable, folder, numbers, cl.solve, cl.jobs, progress);
        if (terminal)
            std::cerr << '\n';

        bool failed = false, converged = true;
        for (const ExperimentOutcome& o : outcomes) {
            if (!o.notice.empty())
                std::cerr << "gen-study: " << label(o) << ": " << o.notice << '\n';
            if (o.failed)
                std::cerr << "gen-study: " << label(o) << " failed: " << o.message << '\n';
            failed = failed || o.failed;
            converged = converged && (o.failed || o.solution.allConverged());
        }
        writeStudyReport(std::cout, {cl.executable, cl.epsilon}, outcomes, cl.format);
        std::cout.flush();
        if (!std::cout)
            throw std::runtime_error("cannot write the results to standard output");
        int status = failed ? 1 : converged ? 0 : 2;
        if (!cl.plot.empty()) {
            try {
                writeSweep(cl, outcomes);
            } catch (const std::exception& e) {
                std::cerr << "gen-study: " << e.what() << '\n';
                status = 1;
            }
        }
        if (cl.keepFiles)
            std::cerr << "gen-study: the runs' files are kept in " << folder.prefix() << '\n';
        if (failed)
            std::cerr << "gen-study: the result is incomplete: a failed experiment's rows hold "
                         "no values\n";
        return status;
    } catch (const std::invalid_argument& e) {
        std::cerr << "gen-study: " << e.what() << " (gen-study --help for the usage)\n";
    } catch (const std::bad_alloc&) {
        std::cerr << "gen-study: not enough memory\n";
    } catch (const std::exception& e) {
        std::cerr << "gen-study: " << e.what() << '\n';
    }
    return 1;
}
