#include "tool/Output.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <stdexcept>

namespace gensolver {

int printSolution(const CommandLine& cl, const Solution& solution) {
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
}

} // namespace gensolver
