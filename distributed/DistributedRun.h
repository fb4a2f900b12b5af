#pragma once
// DistributedRun: what a model's executable does when mpirun starts it on
// more than one process: MPI is initialised, the output of every process but
// the first is captured (see OutputCapture), and the generator explores
// through a DistributedExplorer. Started any other way, or on one process, the
// executable runs the generator's own exploration and MPI is not touched
// (unless GEN_DISTRIBUTED_ALWAYS is set, for measurements).

#include <memory>

class DistributedExplorer;
class StateSpaceGen;

class DistributedRun {
public:
    // Reads the launch from the environment; under mpirun with more than one
    // process, initialises MPI (`argc` and `argv` as main has them).
    DistributedRun(int* argc, char*** argv);
    // Finalises MPI when it was initialised.
    ~DistributedRun();
    DistributedRun(const DistributedRun&) = delete;
    DistributedRun& operator=(const DistributedRun&) = delete;
    DistributedRun(DistributedRun&&) = delete;
    DistributedRun& operator=(DistributedRun&&) = delete;

    // Hands `generator`'s exploration to the processes when there are several.
    void attach(StateSpaceGen& generator);

private:
    std::unique_ptr<DistributedExplorer> Explorer; // owned; null on one process
};
