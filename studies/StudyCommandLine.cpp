#include "StudyCommandLine.h"

#include "read/LineReader.h"
#include "tool/CommandLine.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

namespace genstudies {

const char* studyUsage() {
    return "usage: gen-study [options] <model executable>\n"
           "Runs the experiments of a model executable (gen, gen-<model>), solves each one\n"
           "and prints every performance variable of every experiment in one result, beside\n"
           "the experiment's number, name and global-variable values.\n"
           "  -e, --experiments LIST   the experiments to run, e.g. 0,3,5-7 (default all)\n"
           "  -j, --jobs N             experiments run at once (default the number of cores)\n"
           "  --work DIR               write the runs' files into DIR (created when missing,\n"
           "                           never removed) instead of a temporary folder\n"
           "  --keep                   keep every run's files (a temporary folder is named\n"
           "                           on standard error)\n"
           "  --plot FILE.svg          draw the measures against a global variable (--sweep)\n"
           "  --sweep NAME             the global variable on the plot's horizontal axis\n"
           "  --log-x, --log-y         the plot's axes on log scales\n"
           "  --complement             the plot shows 1 - value (unreliability, say)\n"
           "Solver options, as gen-solve reads them: --format table|csv|json, --epsilon E,\n"
           "  --steady, --absorption, --max-steps N, --max-sweeps N, --dense-limit N,\n"
           "  --window N, --transient METHOD, --absorption-method METHOD, --bicgstab,\n"
           "  --multigrid\n"
           "  -h, --help               this text\n"
           "Exit status: 0 success, 1 error or a failed experiment (named on standard error,\n"
           "its rows marked FAILED), 2 results printed but an iterative solve missed its\n"
           "tolerance (marked NOT CONVERGED).\n";
}

StudyCommandLine parseStudyCommandLine(const std::vector<std::string>& args) {
    using gensolver::quote;
    StudyCommandLine cl;
    std::vector<std::string> solverArgs;
    std::vector<std::string> words;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto is = [&](const std::string& option) {
            return a == option || a.rfind(option + "=", 0) == 0;
        };
        // A value follows "=", is attached to a short option (-j2) or is the next word.
        auto value = [&](const std::string& option) -> std::string {
            if (a.size() > option.size() && a[option.size()] == '=')
                return a.substr(option.size() + 1);
            if (a.size() > option.size() && option.size() == 2)
                return a.substr(2);
            if (i + 1 >= args.size())
                throw std::invalid_argument("option " + option + " needs a value");
            return args[++i];
        };
        if (a == "-h" || a == "--help") {
            cl.help = true;
        } else if (a.rfind("-e", 0) == 0 || is("--experiments")) {
            cl.experiments = value(a.rfind("--", 0) == 0 ? "--experiments" : "-e");
            if (cl.experiments.empty())
                throw std::invalid_argument("option -e needs a list of experiments");
        } else if (a.rfind("-j", 0) == 0 || is("--jobs")) {
            const std::string option = a.rfind("--", 0) == 0 ? "--jobs" : "-j";
            const std::string text = value(option);
            std::uint64_t n = 0;
            if (!gensolver::parseUnsigned(text, n) || n == 0 || n > 1024)
                throw std::invalid_argument("option " + option +
                                            " needs a whole number from 1 to 1024, not " +
                                            quote(text));
            cl.jobs = static_cast<unsigned>(n);
        } else if (is("--work")) {
            cl.workFolder = value("--work");
            if (cl.workFolder.empty())
                throw std::invalid_argument("option --work needs a folder");
        } else if (a == "--keep") {
            cl.keepFiles = true;
        } else if (is("--plot")) {
            cl.plot = value("--plot");
            if (cl.plot.empty())
                throw std::invalid_argument("option --plot needs a file name");
        } else if (is("--sweep")) {
            cl.sweep = value("--sweep");
            if (cl.sweep.empty())
                throw std::invalid_argument("option --sweep needs a global variable's name");
        } else if (a == "--log-x") {
            cl.logX = true;
        } else if (a == "--log-y") {
            cl.logY = true;
        } else if (a == "--complement") {
            cl.complement = true;
        } else if (is("--format") || is("--epsilon") || is("--max-steps") || is("--max-sweeps") ||
                   is("--dense-limit") || is("--window") || is("--transient") ||
                   is("--absorption-method")) {
            solverArgs.push_back(a);
            if (a.find('=') == std::string::npos) {
                if (i + 1 >= args.size())
                    throw std::invalid_argument("option " + a + " needs a value");
                solverArgs.push_back(args[++i]);
            }
        } else if (a == "--steady" || a == "--absorption" || a == "--bicgstab" ||
                   a == "--multigrid" || a == "--gauss-seidel") {
            solverArgs.push_back(a);
        } else if (a.size() <= 1 || a[0] != '-') {
            words.push_back(a); // the model executable
        } else {
            throw std::invalid_argument("unknown option " + quote(a));
        }
    }
    if (cl.help)
        return cl;
    // gen-solve's parser reads the solver's options; the stem it needs is not used.
    solverArgs.push_back("study");
    const gensolver::CommandLine solver = gensolver::parseCommandLine(solverArgs);
    cl.format = solver.format;
    cl.solve = solver.solve;
    cl.epsilon = solver.solve.transient.epsilon;
    if (words.size() != 1)
        throw std::invalid_argument(
            words.empty() ? "no model executable given"
                          : "more than one model executable given: " + quote(words[0]) + " and " +
                                quote(words[1]));
    cl.executable = words.front();
    if (cl.plot.empty() != cl.sweep.empty())
        throw std::invalid_argument(cl.plot.empty() ? "option --sweep needs --plot FILE.svg"
                                                    : "option --plot needs --sweep <global>");
    if (cl.plot.empty() && (cl.logX || cl.logY || cl.complement))
        throw std::invalid_argument("options --log-x, --log-y and --complement need --plot");
    if (cl.jobs == 0)
        cl.jobs = std::max(1u, std::thread::hardware_concurrency());
    return cl;
}

} // namespace genstudies
