// gen-solve: solves the chain that gen wrote and prints its performance variables.

#include "methods/Parallel.h"
#include "methods/Regenerative.h"
#include "read/InputError.h"
#include "read/ModelReader.h"
#include "read/RegenerativeReader.h"
#include "report/Plot.h"
#include "report/Report.h"
#include "tool/CommandLine.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <new>
#include <stdexcept>

int main(int argc, char** argv) {
    using namespace gensolver;
    try {
        const CommandLine cl = parseCommandLine(std::vector<std::string>(argv + 1, argv + argc));
        if (cl.help) {
            std::cout << usage();
            return 0;
        }
        setSharedThreads(cl.threads);
        if (cl.binaryRows && hasDeterministicDelays(cl.stem))
            throw InputError(cl.stem + ".det", "the model has deterministic activities, whose "
                                               "rows only the text files hold; gen-solve "
                                               "without --binary-rows reads them");
        const Solution solution = hasDeterministicDelays(cl.stem)
                                      ? solveRegenerative(readRegenerativeModel(cl.stem), cl.solve)
                                      : solve(cl.binaryRows ? readModelFromParts(cl.stem)
                                                            : readModel(cl.stem),
                                              cl.solve);
        if (!solution.absorptionNotice.empty())
            std::cerr << "gen-solve: " << solution.absorptionNotice << '\n';
        writeReport(std::cout, solution, cl.format, cl.solve.transient.epsilon);
        std::cout.flush();
        if (!std::cout)
            throw std::runtime_error("cannot write the results to standard output");
        if (!cl.plot.empty()) {
            std::ofstream svg(cl.plot, std::ios::binary | std::ios::trunc);
            if (!svg)
                throw std::runtime_error(cl.plot +
                                         ": cannot open for writing: " + std::strerror(errno));
            writePlot(svg, solution, cl.plotOptions);
            svg.close();
            if (!svg)
                throw std::runtime_error(cl.plot + ": cannot write");
        }
        return solution.allConverged() ? 0 : 2;
    } catch (const std::invalid_argument& e) {
        std::cerr << "gen-solve: " << e.what() << " (gen-solve --help for the usage)\n";
    } catch (const InputError& e) {
        std::cerr << "gen-solve: " << e.what() << '\n';
    } catch (const std::bad_alloc&) {
        std::cerr << "gen-solve: not enough memory for this chain\n";
    } catch (const std::exception& e) {
        std::cerr << "gen-solve: " << e.what() << '\n';
    }
    return 1;
}
