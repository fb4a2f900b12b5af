#pragma once
// The exchange across the cut of a chain whose states are shared among the
// processes of an MPI communicator (process r holding [bounds[r], bounds[r + 1])):
// one slot per distinct state of another process that this process's states lead
// to. Forwards, each slot's value (a partial sum of what this range sends to the
// target) goes to the target's owner; backwards, each owner sends the value of
// its target to every process with a slot for it.

#include "methods/RateMatrix.h"

#include <mpi.h>

#include <cstdint>
#include <vector>

namespace gensolver {

class CutExchange {
public:
    // remote: the transitions from this range to other ranges (numbered from 0),
    // in any order; each slot keeps its transitions' local sources and rates
    // divided by divisor. Collective over comm.
    CutExchange(MPI_Comm comm, const std::vector<std::uint32_t>& bounds, std::uint32_t first,
                std::vector<Transition> remote, double divisor);
    CutExchange(const CutExchange&) = delete;
    CutExchange& operator=(const CutExchange&) = delete;

    std::size_t slots() const { return slotStart.size() - 1; }
    std::size_t received() const { return recvTarget.size(); }

    // out[s] = the sum over slot s's transitions of v[source] times the rate.
    void partialSums(const double* v, std::vector<double>& out) const;
    // Starts sending out[s] per slot (width values each) to the targets' owners,
    // into in[k] per received entry (width values each). Pair with finish().
    void start(const std::vector<double>& out, std::vector<double>& in, int width = 1);
    void finish();
    // Sends in[k] per received entry back to the slots that reach it: out[s]
    // per slot. Blocking.
    void back(const std::vector<double>& in, std::vector<double>& out);

    // Bytes this process sends forwards in one exchange of width 1.
    std::uint64_t bytesSent() const { return 8 * slots(); }

    // Slot s holds the transitions [slotStart[s], slotStart[s + 1]): local sources
    // and rates divided by the divisor; slots are ordered by target, hence by owner.
    std::vector<std::uint64_t> slotStart;
    std::vector<std::uint32_t> slotSource;
    std::vector<double> slotScaled;
    // Per received entry (ordered by sending process, then target): the local
    // state it is for, and how many transitions its sum adds up.
    std::vector<std::uint32_t> recvTarget;
    std::vector<std::uint32_t> recvTerms;

private:
    MPI_Comm comm_;
    std::vector<int> sendCounts_, sendOffsets_, recvCounts_, recvOffsets_;
    std::vector<int> scaledCounts_[4]; // the counts and offsets times the width in flight
    MPI_Request request_ = MPI_REQUEST_NULL;
};

} // namespace gensolver
