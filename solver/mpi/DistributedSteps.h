#pragma once
// The uniformization steps of a chain whose states are shared among the processes
// of an MPI communicator, each holding a contiguous range of states and the rows
// of their outgoing transitions. A step computes, per process, the probability
// its states send to each other process's states (one partial sum per target
// state reached from this range) and exchanges those sums in one all-to-all,
// overlapped with the part of the step that stays inside the range.

#include "methods/RateMatrix.h"
#include "methods/UniformizedSteps.h"
#include "mpi/CutExchange.h"

#include <mpi.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace gensolver {

// The first state of each process's range: process r holds [bounds[r], bounds[r + 1]).
std::vector<std::uint32_t> stateRanges(std::uint32_t states, int processes);

class DistributedSteps : public UniformizedSteps {
public:
    // The steps of this process's range [first, last) of a chain of `states`
    // states; `local` holds the transitions out of the range (from in [first,
    // last), numbered from 0; self-loops left out). Collective over comm.
    DistributedSteps(MPI_Comm comm, std::uint32_t states, std::uint32_t first, std::uint32_t last,
                     const std::vector<Transition>& local);
    DistributedSteps(const DistributedSteps&) = delete;
    DistributedSteps& operator=(const DistributedSteps&) = delete;

    std::size_t size() const override { return stay_.size(); }
    std::int64_t firstState() const override { return first_ == 0 && last_ > 0 ? 0 : -1; }
    double rate() const override { return q_; }
    double roundingPerStep() const override { return rounding_; }
    double step(const double* v, double f, double* y, double w, double* acc) override;
    double dot(const double* a, const double* b) override;
    double distance(const double* a, const double* b) override;

    // The range held: [rangeFirst(), rangeLast()).
    std::uint32_t rangeFirst() const { return first_; }
    std::uint32_t rangeLast() const { return last_; }
    // Transitions of the whole chain (self-loops left out).
    std::uint64_t transitions() const { return transitions_; }
    // Bytes this process sends to the others in one step.
    std::uint64_t bytesSentPerStep() const { return cut_->bytesSent(); }

private:
    double allSum(double local) const;

    MPI_Comm comm_;
    std::uint32_t first_, last_;
    double q_ = 1.0;
    double rounding_ = 0.0;
    std::uint64_t transitions_ = 0;
    std::vector<double> stay_; // per local state, 1 - exit rate / q
    // Transitions inside the range, by local target: entries [inStart_[j],
    // inStart_[j + 1]) hold the local source and the rate divided by q.
    std::vector<std::uint64_t> inStart_;
    std::vector<std::uint32_t> inSource_;
    std::vector<double> inScaled_;
    std::unique_ptr<CutExchange> cut_; // the transitions to other ranges
    std::vector<double> send_, recv_;  // the partial sums of a step
};

} // namespace gensolver
