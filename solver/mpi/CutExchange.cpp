#include "mpi/CutExchange.h"

#include <algorithm>

namespace gensolver {

CutExchange::CutExchange(MPI_Comm comm, const std::vector<std::uint32_t>& bounds,
                         std::uint32_t first, std::vector<Transition> remote, double divisor)
    : comm_(comm) {
    const std::size_t processes = bounds.size() - 1;
    std::stable_sort(remote.begin(), remote.end(),
                     [](const Transition& a, const Transition& b) { return a.to < b.to; });
    sendCounts_.assign(processes, 0);
    std::vector<std::uint32_t> slotTarget, slotTerms;
    for (std::size_t e = 0; e < remote.size(); ++e) {
        if (e == 0 || remote[e].to != remote[e - 1].to) {
            slotStart.push_back(e);
            slotTarget.push_back(remote[e].to);
            slotTerms.push_back(0);
            const auto owner =
                std::upper_bound(bounds.begin(), bounds.end(), remote[e].to) - bounds.begin() - 1;
            ++sendCounts_[static_cast<std::size_t>(owner)];
        }
        ++slotTerms.back();
        slotSource.push_back(remote[e].from - first);
        slotScaled.push_back(remote[e].rate / divisor);
    }
    slotStart.push_back(remote.size());

    recvCounts_.assign(processes, 0);
    MPI_Alltoall(sendCounts_.data(), 1, MPI_INT, recvCounts_.data(), 1, MPI_INT, comm);
    sendOffsets_.assign(processes, 0);
    recvOffsets_.assign(processes, 0);
    for (std::size_t k = 1; k < processes; ++k) {
        sendOffsets_[k] = sendOffsets_[k - 1] + sendCounts_[k - 1];
        recvOffsets_[k] = recvOffsets_[k - 1] + recvCounts_[k - 1];
    }
    const auto count = static_cast<std::size_t>(recvOffsets_.back() + recvCounts_.back());
    recvTarget.resize(count);
    recvTerms.resize(count);
    MPI_Alltoallv(slotTarget.data(), sendCounts_.data(), sendOffsets_.data(), MPI_UINT32_T,
                  recvTarget.data(), recvCounts_.data(), recvOffsets_.data(), MPI_UINT32_T, comm);
    MPI_Alltoallv(slotTerms.data(), sendCounts_.data(), sendOffsets_.data(), MPI_UINT32_T,
                  recvTerms.data(), recvCounts_.data(), recvOffsets_.data(), MPI_UINT32_T, comm);
    for (std::uint32_t& t : recvTarget)
        t -= first;
}

void CutExchange::partialSums(const double* v, std::vector<double>& out) const {
    for (std::size_t s = 0; s + 1 < slotStart.size(); ++s) {
        double sum = 0.0;
        for (std::uint64_t e = slotStart[s]; e < slotStart[s + 1]; ++e)
            sum += v[slotSource[e]] * slotScaled[e];
        out[s] = sum;
    }
}

void CutExchange::start(const std::vector<double>& out, std::vector<double>& in, int width) {
    if (width == 1) {
        MPI_Ialltoallv(out.data(), sendCounts_.data(), sendOffsets_.data(), MPI_DOUBLE, in.data(),
                       recvCounts_.data(), recvOffsets_.data(), MPI_DOUBLE, comm_, &request_);
        return;
    }
    const std::vector<int>* plain[4] = {&sendCounts_, &sendOffsets_, &recvCounts_, &recvOffsets_};
    for (int k = 0; k < 4; ++k) {
        scaledCounts_[k] = *plain[k];
        for (int& c : scaledCounts_[k])
            c *= width;
    }
    MPI_Ialltoallv(out.data(), scaledCounts_[0].data(), scaledCounts_[1].data(), MPI_DOUBLE,
                   in.data(), scaledCounts_[2].data(), scaledCounts_[3].data(), MPI_DOUBLE, comm_,
                   &request_);
}

void CutExchange::finish() {
    MPI_Wait(&request_, MPI_STATUS_IGNORE);
}

void CutExchange::back(const std::vector<double>& in, std::vector<double>& out) {
    MPI_Alltoallv(in.data(), recvCounts_.data(), recvOffsets_.data(), MPI_DOUBLE, out.data(),
                  sendCounts_.data(), sendOffsets_.data(), MPI_DOUBLE, comm_);
}

} // namespace gensolver
