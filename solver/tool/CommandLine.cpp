#include "tool/CommandLine.h"

#include "read/LineReader.h"

#include <cmath>
#include <stdexcept>

namespace gensolver {

const char* usage() {
    return "usage: gen-solve -P<path> -N<name> [options]\n"
           "       gen-solve <path><name> [options]\n"
           "Reads <path><name>.arm, .var and .pvtype as gen writes them and prints every\n"
           "performance variable at every time point.\n"
           "  --format table|csv|json  output format (default table)\n"
           "  --plot FILE.svg          also draw the variables over time into FILE.svg\n"
           "  --log-time, --log-value  logarithmic time or value axis in the plot\n"
           "  --complement             plot 1 - value (unreliability from reliability)\n"
           "  --epsilon E              error bound per solution step (default 1e-12)\n"
           "  --steady                 also print the long-run value of every instant-of-time\n"
           "                           and time-averaged variable\n"
           "  --absorption             also print the probability of absorption from state 1,\n"
           "                           the mean time to absorption and every variable's\n"
           "                           reward until absorption\n"
           "  --absorption-method auto|elimination|iterative\n"
           "                           how values until absorption are solved (default auto:\n"
           "                           sparse elimination, BiCGSTAB+ILU(0) where its fill\n"
           "                           would pass 2^24 entries)\n"
           "  --max-steps N            uniformization (or extrapolation) steps allowed per\n"
           "                           interval (default 1e8)\n"
           "  --transient auto|uniformization|extrapolation|iterative\n"
           "                           transient method (default auto: extrapolation when\n"
           "                           uniformization needs more than 20000 steps and the\n"
           "                           chain has at most 20000 states, unless it has at most\n"
           "                           --dense-limit states, state 1 in a closed class, and\n"
           "                           settles at its limit within them; on larger chains,\n"
           "                           beyond 1000 steps, first on windows of the states\n"
           "                           nearest state 1, then iterative extrapolation beyond\n"
           "                           1e6 steps)\n"
           "  --window N               states of the first window (default 4096, doubling up\n"
           "                           to 20000 while the mass leaving it exceeds --epsilon\n"
           "                           and stays under 1 %; 0: no windows)\n"
           "  --max-sweeps N           sweeps allowed per iterative solve (default 100000)\n"
           "  --dense-limit N          solve classes of up to N states directly (default 1000)\n"
           "  --bicgstab               solve components of 5000 states or more by BiCGSTAB with\n"
           "                           ILU(0) (default: Gauss-Seidel)\n"
           "  --multigrid              the same, preconditioned by aggregation multigrid\n"
           "  --gauss-seidel           Gauss-Seidel to the end (default: on components of\n"
           "                           131072 states or more, Gauss-Seidel expected to need\n"
           "                           more than 1000 further sweeps gives way to the\n"
           "                           multigrid; on smaller ones, expected to need more\n"
           "                           than --max-sweeps allows (from 65536 states: a\n"
           "                           hundred times, after 1024 sweeps), to\n"
           "                           BiCGSTAB+ILU(0); where BiCGSTAB misses, a closed\n"
           "                           class is eliminated, then swept afresh)\n"
           "  --binary-rows            read the rows and rewards from the binary parts\n"
           "                           <stem>.rows.0, ... (gen --binary-rows) for .arm and .var\n"
           "  --threads N              threads of the uniformization steps and the long-run\n"
           "                           solve (default: one per core)\n"
           "  -h, --help               this text\n"
           "Exit status: 0 success, 1 error (one line on standard error), 2 results printed\n"
           "but an iterative solve missed its tolerance (marked NOT CONVERGED).\n";
}

CommandLine parseCommandLine(const std::vector<std::string>& args) {
    CommandLine cl;
    std::string path, name;
    bool haveP = false, haveN = false;
    std::vector<std::string> words;
    std::string plotOption; // a plot option given, refused without --plot
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&](const std::string& option) -> std::string {
            const std::string prefix = option + "=";
            if (a.rfind(prefix, 0) == 0)
                return a.substr(prefix.size());
            if (i + 1 >= args.size())
                throw std::invalid_argument("option " + option + " needs a value");
            return args[++i];
        };
        auto is = [&](const std::string& option) {
            return a == option || a.rfind(option + "=", 0) == 0;
        };
        auto count = [&](const std::string& option) {
            const std::string text = value(option);
            std::uint64_t n = 0;
            if (!parseUnsigned(text, n) || n == 0)
                throw std::invalid_argument("option " + option +
                                            " needs a positive whole number, not " + quote(text));
            return n;
        };
        if (a == "-h" || a == "--help") {
            cl.help = true;
        } else if (a.rfind("-P", 0) == 0) {
            path = a.size() > 2 ? a.substr(2) : value("-P");
            haveP = true;
        } else if (a.rfind("-N", 0) == 0) {
            name = a.size() > 2 ? a.substr(2) : value("-N");
            haveN = true;
        } else if (is("--format")) {
            const std::string f = value("--format");
            if (f == "table")
                cl.format = Format::Table;
            else if (f == "csv")
                cl.format = Format::Csv;
            else if (f == "json")
                cl.format = Format::Json;
            else
                throw std::invalid_argument("unknown format " + quote(f) + " (table, csv or json)");
        } else if (is("--plot")) {
            cl.plot = value("--plot");
            if (cl.plot.empty())
                throw std::invalid_argument("option --plot needs a file name");
        } else if (a == "--log-time" || a == "--log-value" || a == "--complement") {
            PlotOptions& p = cl.plotOptions;
            (a == "--log-time" ? p.logTime : a == "--log-value" ? p.logValue : p.complement) = true;
            plotOption = a;
        } else if (is("--epsilon")) {
            const std::string text = value("--epsilon");
            double e = 0.0;
            if (!parseDouble(text, e) || !(e > 0.0) || !(e < 1.0))
                throw std::invalid_argument(
                    "option --epsilon needs a number between 0 and 1, not " + quote(text));
            cl.solve.transient.epsilon = e;
            cl.solve.limit.tolerance = e;
        } else if (a == "--steady") {
            cl.solve.longRun = true;
        } else if (a == "--absorption") {
            cl.solve.absorption = true;
        } else if (is("--absorption-method")) {
            const std::string t = value("--absorption-method");
            if (t == "auto")
                cl.solve.absorptionMethod = AbsorptionMethod::Auto;
            else if (t == "elimination")
                cl.solve.absorptionMethod = AbsorptionMethod::Elimination;
            else if (t == "iterative")
                cl.solve.absorptionMethod = AbsorptionMethod::Iterative;
            else
                throw std::invalid_argument("unknown absorption method " + quote(t) +
                                            " (auto, elimination or iterative)");
        } else if (is("--max-steps")) {
            cl.solve.transient.maxSteps = count("--max-steps");
        } else if (is("--transient")) {
            const std::string t = value("--transient");
            if (t == "auto")
                cl.solve.transient.method = TransientChoice::Auto;
            else if (t == "uniformization")
                cl.solve.transient.method = TransientChoice::Uniformization;
            else if (t == "extrapolation")
                cl.solve.transient.method = TransientChoice::Extrapolation;
            else if (t == "iterative")
                cl.solve.transient.method = TransientChoice::Iterative;
            else
                throw std::invalid_argument("unknown transient method " + quote(t) +
                                            " (auto, uniformization, extrapolation or iterative)");
        } else if (is("--window")) {
            const std::string text = value("--window");
            std::uint64_t n = 0;
            if (!parseUnsigned(text, n) || n > 20000)
                throw std::invalid_argument(
                    "option --window needs a whole number up to 20000, not " + quote(text));
            cl.solve.transient.windowStates = static_cast<std::uint32_t>(n);
        } else if (is("--max-sweeps")) {
            cl.solve.limit.maxSweeps = count("--max-sweeps");
        } else if (is("--dense-limit")) {
            const std::uint64_t n = count("--dense-limit");
            if (n > 20000)
                throw std::invalid_argument("option --dense-limit is at most 20000");
            cl.solve.limit.denseLimit = static_cast<std::uint32_t>(n);
        } else if (a == "--binary-rows") {
            cl.binaryRows = true;
        } else if (a == "--bicgstab") {
            cl.solve.limit.krylovFrom = 5000;
        } else if (a == "--multigrid") {
            cl.solve.limit.krylovFrom = 5000;
            cl.solve.limit.multigrid = true;
        } else if (a == "--gauss-seidel") {
            cl.solve.limit.switchSweeps = 0;
        } else if (is("--threads")) {
            const std::uint64_t n = count("--threads");
            if (n > 1024)
                throw std::invalid_argument("option --threads is at most 1024");
            cl.threads = static_cast<unsigned>(n);
        } else if (a.size() > 1 && a[0] == '-') {
            throw std::invalid_argument("unknown option " + quote(a));
        } else {
            words.push_back(a);
        }
    }
    if (cl.help)
        return cl;
    if (!plotOption.empty() && cl.plot.empty())
        throw std::invalid_argument("option " + plotOption + " needs --plot FILE.svg");
    if (haveP != haveN)
        throw std::invalid_argument(haveP ? "missing option -N (experiment name)"
                                          : "missing option -P (experiment path)");
    if (haveP) {
        if (!words.empty())
            throw std::invalid_argument("unexpected argument " + quote(words.front()) +
                                        " besides -P and -N");
        if (name.empty())
            throw std::invalid_argument("option -N needs a name");
        cl.stem = path + name;
    } else {
        if (words.size() != 1)
            throw std::invalid_argument(
                words.empty() ? "no model given: use -P<path> -N<name> or the file stem"
                              : "more than one file stem given");
        cl.stem = words.front();
        // A file name given whole (out/exp1.arm) stands for its stem.
        for (const char* ext : {".arm", ".var", ".pvtype"}) {
            const std::string e = ext;
            if (cl.stem.size() > e.size() &&
                cl.stem.compare(cl.stem.size() - e.size(), e.size(), e) == 0) {
                cl.stem.resize(cl.stem.size() - e.size());
                break;
            }
        }
    }
    return cl;
}

} // namespace gensolver
