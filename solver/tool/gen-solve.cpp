// gen-solve: solves the chain that gen wrote and prints its performance variables.
// Started by mpirun with several processes (in a build with MPI), the processes
// share the chain's states (see mpi/MpiRun.h).

#include "methods/Parallel.h"
#include "read/InputError.h"
#include "tool/CommandLine.h"
#include "tool/Output.h"
#include "tool/SolveRun.h"

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
        return printSolution(cl, solveRun(cl.stem, cl.solve, cl.binaryRows));
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
