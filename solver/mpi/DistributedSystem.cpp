#include "mpi/DistributedSystem.h"

#include "mpi/DistributedSteps.h"

#include <algorithm>
#include <utility>

namespace gensolver {

DistributedSystem::DistributedSystem(MPI_Comm comm, std::uint32_t states, std::uint32_t first,
                                     std::uint32_t last, const std::vector<Transition>& local,
                                     std::uint32_t reference)
    : comm_(comm), first_(first) {
    int processes = 1;
    MPI_Comm_size(comm, &processes);
    gathered_.resize(static_cast<std::size_t>(processes));
    const std::uint32_t n = last - first;
    exit_.assign(n, 0.0);
    for (const Transition& t : local)
        exit_[t.from - first] += t.rate;
    // Rates into the reference are left out: its row is the identity.
    std::vector<Transition> inside, remote;
    for (const Transition& t : local) {
        if (t.to == reference)
            continue;
        if (t.to >= first && t.to < last)
            inside.push_back(t);
        else
            remote.push_back(t);
    }
    std::sort(inside.begin(), inside.end(), [](const Transition& a, const Transition& b) {
        return a.to != b.to ? a.to < b.to : a.from < b.from;
    });
    SparseSystem& s = block_;
    s.diagonal = exit_;
    s.b.assign(n, 0.0);
    s.start.assign(std::size_t{n} + 1, 0);
    s.member.resize(n);
    for (std::uint32_t k = 0; k < n; ++k)
        s.member[k] = first + k;
    if (reference >= first && reference < last) {
        s.reference = reference - first;
        s.diagonal[s.reference] = 1.0;
        s.b[s.reference] = 1.0;
        s.closed = true;
    }
    // Rows by target, columns ascending; a pair of states joined twice adds up
    // into one entry.
    for (std::size_t e = 0; e < inside.size(); ++e) {
        const Transition& t = inside[e];
        if (e > 0 && inside[e - 1].to == t.to && inside[e - 1].from == t.from) {
            s.rate.back() += t.rate;
            continue;
        }
        s.column.push_back(t.from - first);
        s.rate.push_back(t.rate);
        ++s.start[t.to - first + 1];
    }
    for (std::uint32_t k = 0; k < n; ++k)
        s.start[k + 1] += s.start[k];
    cut_ = std::make_unique<CutExchange>(comm, stateRanges(states, processes), first,
                                         std::move(remote), 1.0);
    send_.resize(cut_->slots());
    recv_.resize(cut_->received());
    send2_.resize(2 * cut_->slots());
    recv2_.resize(2 * cut_->received());
}

void DistributedSystem::multiply(Parallel& pool, const std::vector<double>& x,
                                 std::vector<double>& y) const {
    const CutExchange& cut = *cut_;
    cut.partialSums(x.data(), send_);
    cut_->start(send_, recv_);
    block_.multiply(pool, x, y);
    cut_->finish();
    for (std::size_t s = 0; s < recv_.size(); ++s)
        y[cut.recvTarget[s]] -= recv_[s];
}

void DistributedSystem::multiplyTransposed(Parallel&, const std::vector<double>& x,
                                           std::vector<double>& y) const {
    const CutExchange& cut = *cut_;
    for (std::size_t s = 0; s < recv_.size(); ++s)
        recv_[s] = x[cut.recvTarget[s]];
    cut_->back(recv_, send_);
    block_.multiplyTransposed(x, y);
    for (std::size_t s = 0; s < send_.size(); ++s)
        for (std::uint64_t e = cut.slotStart[s]; e < cut.slotStart[s + 1]; ++e)
            y[cut.slotSource[e]] -= cut.slotScaled[e] * send_[s];
}

void DistributedSystem::residual(Parallel& pool, const std::vector<double>& b,
                                 const std::vector<double>& x, std::vector<double>& r) const {
    // Each partial sum travels as a long double split into two doubles, its
    // value and what that leaves out.
    const CutExchange& cut = *cut_;
    for (std::size_t s = 0; s < send_.size(); ++s) {
        long double sum = 0.0L;
        for (std::uint64_t e = cut.slotStart[s]; e < cut.slotStart[s + 1]; ++e)
            sum += static_cast<long double>(cut.slotScaled[e]) * x[cut.slotSource[e]];
        send2_[2 * s] = static_cast<double>(sum);
        send2_[2 * s + 1] = static_cast<double>(sum - static_cast<long double>(send2_[2 * s]));
    }
    cut_->start(send2_, recv2_, 2);
    cut_->finish();
    std::vector<long double> inflow(rows(), 0.0L);
    for (std::size_t s = 0; s < recv_.size(); ++s)
        inflow[cut.recvTarget[s]] +=
            static_cast<long double>(recv2_[2 * s]) + static_cast<long double>(recv2_[2 * s + 1]);
    const SparseSystem& m = block_;
    pool.forEach(rows(), [&](std::uint64_t begin, std::uint64_t end) {
        for (std::uint64_t k = begin; k < end; ++k) {
            long double v = static_cast<long double>(b[k]) -
                            static_cast<long double>(m.diagonal[k]) * x[k] + inflow[k];
            for (std::uint64_t e = m.start[k]; e < m.start[k + 1]; ++e)
                v += static_cast<long double>(m.rate[e]) * x[m.column[e]];
            r[k] = static_cast<double>(v);
        }
    });
}

double DistributedSystem::sum(double local) const {
    MPI_Allgather(&local, 1, MPI_DOUBLE, gathered_.data(), 1, MPI_DOUBLE, comm_);
    double total = 0.0;
    for (const double g : gathered_)
        total += g;
    return total;
}

std::uint32_t DistributedSystem::likeliest(const std::vector<double>& y) const {
    double mine[2] = {-1.0, 0.0}; // the largest entry and its state
    for (std::size_t k = 0; k < y.size(); ++k)
        if (y[k] > mine[0]) {
            mine[0] = y[k];
            mine[1] = static_cast<double>(first_ + k);
        }
    std::vector<double> all(2 * gathered_.size());
    MPI_Allgather(mine, 2, MPI_DOUBLE, all.data(), 2, MPI_DOUBLE, comm_);
    double best = -1.0, state = 0.0;
    for (std::size_t r = 0; r < gathered_.size(); ++r)
        if (all[2 * r] > best) {
            best = all[2 * r];
            state = all[2 * r + 1];
        }
    return static_cast<std::uint32_t>(state);
}

double DistributedSystem::max(double local) const {
    double m = 0.0;
    MPI_Allreduce(&local, &m, 1, MPI_DOUBLE, MPI_MAX, comm_);
    return m;
}

} // namespace gensolver
