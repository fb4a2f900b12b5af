#pragma once
// gen-solve over the processes of an MPI run: each process reads the rows of a
// contiguous range of states (from the text .arm or from the binary parts), the
// rewards of its states, and solves its share of the chain: uniformization for
// the time points and the power iteration for the long-run values. Every
// process gets the same Solution; the caller prints it on process 0.

#include "methods/Measures.h"

#include <mpi.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace gensolver {

// What a distributed run measured, for the bench: per process.
struct DistributedFigures {
    std::uint32_t firstState = 0, lastState = 0; // the range held, [first, last)
    std::uint64_t bytesSentPerStep = 0;          // to the other processes
    std::uint64_t bytesSentPerProduct = 0;       // by BiCGSTAB's products, 0 when it did not run
};

// A fault that every process agreed on at the end of a phase it went through on
// its own: what() is the message on the processes that met it, empty on the others.
class SharedFault : public std::runtime_error {
public:
    explicit SharedFault(const std::string& message) : std::runtime_error(message) {}
};

// The inputs and options that a distributed solve refuses (a .det file, values
// until absorption, a forced extrapolation), as one line; empty when it solves them.
std::string distributedRefusal(const std::string& stem, const SolveOptions& options);

// Reads and solves collectively over comm. A fault met by some processes only
// (a file that one process cannot read, a bad part) ends the phase on every
// process: all throw a SharedFault, with the message where they met it. Returns
// no solution, and the reason in `alone`, for a chain that the one-process
// solver would extrapolate (a small stiff chain, where uniformization would take
// far more steps): process 0 then solves it alone.
std::optional<Solution> solveDistributed(MPI_Comm comm, const std::string& stem, bool binaryRows,
                                         const SolveOptions& options, std::string& alone,
                                         DistributedFigures* figures = nullptr);

} // namespace gensolver
