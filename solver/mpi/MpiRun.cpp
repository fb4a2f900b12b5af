#include "mpi/MpiRun.h"

#include "mpi/DistributedSolve.h"
#include "read/InputError.h"
#include "read/ModelReader.h"
#include "tool/CommandLine.h"
#include "tool/Output.h"

#include <mpi.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>

namespace gensolver {

namespace {

// The processes' agreement on a fault: the lowest process that met one with a
// message prints it; every process learns whether any failed (quiet: this one
// did, and another prints why).
bool anyFailed(const std::string& message, bool quiet, int rank) {
    const int none = 1 << 30;
    int mine[2] = {message.empty() ? none : rank, message.empty() && !quiet ? 0 : 1};
    int agreed[2] = {0, 0};
    MPI_Allreduce(&mine[0], &agreed[0], 1, MPI_INT, MPI_MIN, MPI_COMM_WORLD);
    MPI_Allreduce(&mine[1], &agreed[1], 1, MPI_INT, MPI_MAX, MPI_COMM_WORLD);
    if (agreed[0] == rank)
        std::cerr << "gen-solve: " << message << '\n';
    return agreed[1] != 0;
}

// With GEN_SOLVE_FIGURES set (the benchmark sets it), process 0 prints on
// standard error what the processes exchange per step.
void reportFigures(const DistributedFigures& figures, int rank) {
    if (std::getenv("GEN_SOLVE_FIGURES") == nullptr)
        return;
    const std::uint64_t bytes[2] = {figures.bytesSentPerStep, figures.bytesSentPerProduct};
    std::uint64_t total[2] = {0, 0}, most[2] = {0, 0};
    MPI_Reduce(bytes, total, 2, MPI_UINT64_T, MPI_SUM, 0, MPI_COMM_WORLD);
    MPI_Reduce(bytes, most, 2, MPI_UINT64_T, MPI_MAX, 0, MPI_COMM_WORLD);
    if (rank == 0)
        std::cerr << "gen-solve: figures: bytes sent per step " << total[0] << " in all, at most "
                  << most[0] << " by one process; per product of BiCGSTAB " << total[1]
                  << " in all\n";
}

} // namespace

bool startedWithSeveralProcesses() {
    for (const char* name : {"OMPI_COMM_WORLD_SIZE", "PMI_SIZE"}) {
        const char* value = std::getenv(name);
        if (value != nullptr && std::atoi(value) > 1)
            return true;
    }
    return false;
}

int runDistributed(int argc, char** argv) {
    MPI_Init(&argc, &argv);
    int rank = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    int status = 1;
    std::string fault;
    std::optional<CommandLine> cl;
    try {
        cl = parseCommandLine(std::vector<std::string>(argv + 1, argv + argc));
        if (!cl->help)
            fault = distributedRefusal(cl->stem, cl->solve);
    } catch (const std::invalid_argument& e) {
        fault = std::string(e.what()) + " (gen-solve --help for the usage)";
    }
    if (anyFailed(fault, false, rank)) {
        MPI_Finalize();
        return 1;
    }
    if (cl->help) {
        if (rank == 0)
            std::cout << usage();
        MPI_Finalize();
        return 0;
    }
    std::optional<Solution> solution;
    std::string alone;
    bool quiet = false;
    try {
        DistributedFigures figures;
        solution =
            solveDistributed(MPI_COMM_WORLD, cl->stem, cl->binaryRows, cl->solve, alone, &figures);
        reportFigures(figures, rank);
        if (!solution && rank == 0) {
            std::cerr << "gen-solve: solved on process 0 alone: " << alone << '\n';
            solution = cl->binaryRows ? solve(readModelFromParts(cl->stem), cl->solve)
                                      : solve(readModel(cl->stem), cl->solve);
        }
    } catch (const SharedFault& e) {
        // Empty where another process met the fault and prints it.
        fault = e.what();
        quiet = fault.empty();
    } catch (const std::bad_alloc&) {
        // Met by this process alone inside the collective solve, where the others
        // wait in an exchange: no agreement can be reached, mpirun ends them.
        std::cerr << "gen-solve: not enough memory for this process's share of the chain\n";
        MPI_Abort(MPI_COMM_WORLD, 1);
    } catch (const std::exception& e) {
        fault = e.what();
    }
    if (anyFailed(fault, quiet, rank)) {
        MPI_Finalize();
        return 1;
    }
    if (rank == 0) {
        try {
            status = printSolution(*cl, *solution);
        } catch (const std::exception& e) {
            std::cerr << "gen-solve: " << e.what() << '\n';
            status = 1;
        }
    }
    MPI_Bcast(&status, 1, MPI_INT, 0, MPI_COMM_WORLD);
    MPI_Finalize();
    return status;
}

} // namespace gensolver
