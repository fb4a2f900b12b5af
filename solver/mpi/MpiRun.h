#pragma once
// gen-solve's main when mpirun starts it with several processes: every process
// reads and solves its share of the chain, process 0 prints. A fault is printed
// once, as one line, by the lowest process that met it, and every process ends
// with status 1.

namespace gensolver {

// True when the launcher says this process is one of several (Open MPI's
// OMPI_COMM_WORLD_SIZE, or PMI_SIZE, above 1). One process runs the plain solver.
bool startedWithSeveralProcesses();

// The whole run; returns the exit status.
int runDistributed(int argc, char** argv);

} // namespace gensolver
