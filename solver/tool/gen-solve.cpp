// gen-solve: solves the chain that gen wrote and prints its performance variables.
// Started by mpirun with several processes (in a build with MPI), the processes
// share the chain's states (see mpi/MpiRun.h).

#include "methods/Parallel.h"
#include "methods/Regenerative.h"
#include "read/InputError.h"
#include "read/ModelReader.h"
#include "read/RegenerativeReader.h"
#include "tool/CommandLine.h"
#include "tool/Output.h"

#ifdef GEN_HAVE_MPI
#include "mpi/MpiRun.h"
#endif

#include <iostream>
#include <new>
#include <stdexcept>

int main(int argc, char** argv) {
    using namespace gensolver;
#ifdef GEN_HAVE_MPI
    if (startedWithSeveralProcesses())
        return runDistributed(argc, argv);
#endif
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
        const Solution solution =
            hasDeterministicDelays(cl.stem)
                ? solveRegenerative(readRegenerativeModel(cl.stem), cl.solve)
                : solve(cl.binaryRows ? readModelFromParts(cl.stem) : readModel(cl.stem), cl.solve);
        return printSolution(cl, solution);
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
