#include "DistributedRun.h"

#include "DistributedExplorer.h"
#include "OutputCapture.h"
#include "ssg/StateSpaceGen.h"

#include <cstdlib>
#include <mpi.h>

namespace {

// The number of processes mpirun started, from the variable it sets in every
// process's environment; 1 without mpirun.
int launchedProcesses() {
    const char* size = std::getenv("OMPI_COMM_WORLD_SIZE");
    if (size == nullptr)
        size = std::getenv("PMI_SIZE");
    return size != nullptr ? std::atoi(size) : 1;
}

} // namespace

DistributedRun::DistributedRun(int* argc, char*** argv) {
    // GEN_DISTRIBUTED_ALWAYS runs the distributed exploration on one process
    // too (under mpirun -np 1, or alone): its cost without waits, for bench/mpi.sh.
    if (launchedProcesses() <= 1 && std::getenv("GEN_DISTRIBUTED_ALWAYS") == nullptr)
        return;
    MPI_Init(argc, argv);
    int rank = 0;
    int size = 1;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    MPI_Comm_size(MPI_COMM_WORLD, &size);
    if (rank != 0)
        OutputCapture::begin();
    Explorer = std::make_unique<DistributedExplorer>(rank, size);
}

DistributedRun::~DistributedRun() {
    if (!Explorer)
        return;
    if (Explorer->finished())
        OutputCapture::finish();
    Explorer.reset();
    MPI_Finalize();
}

void DistributedRun::attach(StateSpaceGen& generator) {
    if (Explorer)
        generator.setExplorationHook(Explorer.get());
}
