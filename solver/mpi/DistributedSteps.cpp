#include "mpi/DistributedSteps.h"

#include "methods/Transient.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace gensolver {

std::vector<std::uint32_t> stateRanges(std::uint32_t states, int processes) {
    std::vector<std::uint32_t> bounds(static_cast<std::size_t>(processes) + 1);
    for (int r = 0; r <= processes; ++r)
        bounds[static_cast<std::size_t>(r)] =
            static_cast<std::uint32_t>(std::uint64_t{states} * static_cast<std::uint64_t>(r) /
                                       static_cast<std::uint64_t>(processes));
    return bounds;
}

DistributedSteps::DistributedSteps(MPI_Comm comm, std::uint32_t states, std::uint32_t first,
                                   std::uint32_t last, const std::vector<Transition>& local)
    : comm_(comm), first_(first), last_(last) {
    int processes = 1;
    MPI_Comm_size(comm, &processes);
    const std::vector<std::uint32_t> bounds = stateRanges(states, processes);
    const std::uint32_t n = last - first;

    std::vector<double> exit(n, 0.0);
    for (const Transition& t : local)
        exit[t.from - first] += t.rate;
    double maxExit = 0.0;
    for (const double e : exit)
        maxExit = std::max(maxExit, e);
    MPI_Allreduce(MPI_IN_PLACE, &maxExit, 1, MPI_DOUBLE, MPI_MAX, comm);
    q_ = uniformizationRate(maxExit);
    stay_.resize(n);
    for (std::uint32_t j = 0; j < n; ++j)
        stay_[j] = 1.0 - exit[j] / q_;
    std::uint64_t count = local.size();
    MPI_Allreduce(&count, &transitions_, 1, MPI_UINT64_T, MPI_SUM, comm);

    // Inside the range: counting sort by target.
    std::vector<std::uint32_t> inDegree(n, 0);
    inStart_.assign(std::size_t{n} + 1, 0);
    std::vector<Transition> remote;
    for (const Transition& t : local) {
        if (t.to >= first && t.to < last)
            ++inStart_[t.to - first + 1];
        else
            remote.push_back(t);
    }
    for (std::uint32_t j = 0; j < n; ++j) {
        inDegree[j] = static_cast<std::uint32_t>(inStart_[j + 1]);
        inStart_[j + 1] += inStart_[j];
    }
    inSource_.resize(inStart_[n]);
    inScaled_.resize(inStart_[n]);
    {
        std::vector<std::uint64_t> at(inStart_.begin(), inStart_.end() - 1);
        for (const Transition& t : local)
            if (t.to >= first && t.to < last) {
                const std::uint64_t e = at[t.to - first]++;
                inSource_[e] = t.from - first;
                inScaled_[e] = t.rate / q_;
            }
    }

    // To other ranges: one slot per distinct target.
    cut_ = std::make_unique<CutExchange>(comm, bounds, first, std::move(remote), q_);
    for (std::size_t s = 0; s < cut_->received(); ++s)
        inDegree[cut_->recvTarget[s]] += cut_->recvTerms[s];
    // Rounding as for one process: each entry sums in-degree + 1 rounded products
    // (partial sums add no more roundings than one running sum), plus one for the
    // rescaling of each partial sum.
    std::uint64_t maxIn = 0;
    for (const std::uint32_t d : inDegree)
        maxIn = std::max<std::uint64_t>(maxIn, d);
    MPI_Allreduce(MPI_IN_PLACE, &maxIn, 1, MPI_UINT64_T, MPI_MAX, comm);
    rounding_ = static_cast<double>(maxIn + 6) * std::numeric_limits<double>::epsilon();
    send_.assign(cut_->slots(), 0.0);
    recv_.assign(cut_->received(), 0.0);
}

double DistributedSteps::allSum(double local) const {
    double total = 0.0;
    MPI_Allreduce(&local, &total, 1, MPI_DOUBLE, MPI_SUM, comm_);
    return total;
}

double DistributedSteps::step(const double* v, double f, double* y, double w, double* acc) {
    const CutExchange& cut = *cut_;
    cut.partialSums(v, send_);
    cut_->start(send_, recv_);
    const std::size_t n = stay_.size();
    for (std::size_t j = 0; j < n; ++j) {
        double sum = v[j] * stay_[j];
        for (std::uint64_t e = inStart_[j]; e < inStart_[j + 1]; ++e)
            sum += v[inSource_[e]] * inScaled_[e];
        y[j] = sum;
    }
    cut_->finish();
    for (std::size_t s = 0; s < recv_.size(); ++s)
        y[cut.recvTarget[s]] += recv_[s];
    double total = 0.0;
    for (std::size_t j = 0; j < n; ++j) {
        y[j] *= f;
        total += y[j];
        if (acc != nullptr)
            acc[j] += w * y[j];
    }
    return allSum(total);
}

double DistributedSteps::dot(const double* a, const double* b) {
    double s = 0.0;
    for (std::size_t j = 0; j < stay_.size(); ++j)
        s += a[j] * b[j];
    return allSum(s);
}

double DistributedSteps::distance(const double* a, const double* b) {
    double d = 0.0;
    for (std::size_t j = 0; j < stay_.size(); ++j)
        d += std::fabs(a[j] - b[j]);
    return allSum(d);
}

} // namespace gensolver
