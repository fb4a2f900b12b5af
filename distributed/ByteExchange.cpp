#include "ByteExchange.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <iostream>
#include <mpi.h>

namespace {

// The count of `bytes` for MPI, or the end of the run when it does not fit.
int checkedCount(std::size_t bytes) {
    if (bytes > static_cast<std::size_t>(INT_MAX)) {
        std::cerr << "Error: a level's exchange between processes exceeds 2 GiB; "
                     "run with more processes"
                  << std::endl;
        MPI_Abort(MPI_COMM_WORLD, 1);
    }
    return static_cast<int>(bytes);
}

// Makes `buffer` hold at least `bytes` bytes. It never shrinks, so that the
// buffers reused batch after batch are not filled with zeros again each time.
void growTo(std::vector<char>& buffer, std::size_t bytes) {
    if (buffer.size() < bytes)
        buffer.resize(std::max(bytes, buffer.size() + buffer.size() / 2));
}

} // namespace

ByteExchange::ByteExchange(int rank, int size)
    : Rank(rank), Size(size), SendCounts(size), SendOffsets(size), ReceiveCounts(size),
      ReceiveOffsets(size) {}

void ByteExchange::layOut(const std::vector<int>& counts, std::vector<int>& displacements,
                          std::vector<std::size_t>& offsets) const {
    offsets.assign(static_cast<std::size_t>(Size) + 1, 0);
    for (int s = 0; s < Size; ++s)
        offsets[s + 1] = offsets[s] + static_cast<std::size_t>(counts[s]);
    checkedCount(offsets[Size]);
    for (int s = 0; s < Size; ++s)
        displacements[s] = static_cast<int>(offsets[s]);
}

void ByteExchange::allToAll(const std::vector<std::vector<char>>& out, std::vector<char>& in,
                            std::vector<std::size_t>& offsets) {
    Lengths.resize(out.size());
    for (std::size_t d = 0; d < out.size(); ++d)
        Lengths[d] = out[d].size();
    allToAll(out, Lengths, in, offsets);
}

void ByteExchange::allToAll(const std::vector<std::vector<char>>& out,
                            const std::vector<std::size_t>& lengths, std::vector<char>& in,
                            std::vector<std::size_t>& offsets) {
    std::size_t total = 0;
    for (int d = 0; d < Size; ++d) {
        SendCounts[d] = checkedCount(lengths[d]);
        SendOffsets[d] = checkedCount(total);
        total += lengths[d];
        if (d != Rank)
            BytesSent += lengths[d];
    }
    checkedCount(total);
    growTo(Packed, total);
    for (int d = 0; d < Size; ++d)
        if (lengths[d] != 0)
            std::memcpy(Packed.data() + SendOffsets[d], out[d].data(), lengths[d]);
    const double start = MPI_Wtime();
    MPI_Alltoall(SendCounts.data(), 1, MPI_INT, ReceiveCounts.data(), 1, MPI_INT, MPI_COMM_WORLD);
    layOut(ReceiveCounts, ReceiveOffsets, offsets);
    growTo(in, offsets[Size]);
    MPI_Alltoallv(Packed.data(), SendCounts.data(), SendOffsets.data(), MPI_BYTE, in.data(),
                  ReceiveCounts.data(), ReceiveOffsets.data(), MPI_BYTE, MPI_COMM_WORLD);
    Exchanging += MPI_Wtime() - start;
}

void ByteExchange::toFirst(const std::vector<char>& out, std::vector<char>& in,
                           std::vector<std::size_t>& offsets) {
    int count = checkedCount(out.size());
    if (Rank != 0)
        BytesSent += out.size();
    const double start = MPI_Wtime();
    MPI_Gather(&count, 1, MPI_INT, ReceiveCounts.data(), 1, MPI_INT, 0, MPI_COMM_WORLD);
    if (Rank == 0) {
        layOut(ReceiveCounts, ReceiveOffsets, offsets);
        growTo(in, offsets[Size]);
    }
    MPI_Gatherv(out.data(), count, MPI_BYTE, in.data(), ReceiveCounts.data(), ReceiveOffsets.data(),
                MPI_BYTE, 0, MPI_COMM_WORLD);
    Exchanging += MPI_Wtime() - start;
}
