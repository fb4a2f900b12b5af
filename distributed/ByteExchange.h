#pragma once
// ByteExchange: the collective moves of byte buffers between the processes of
// one run: every process to every other (one buffer per destination), and
// every process to the first. Counts and offsets are computed here; a buffer
// that MPI's int counts cannot describe ends the run with a message.

#include <cstddef>
#include <vector>

class ByteExchange {
public:
    // Process `rank` of the world communicator's `size`.
    ByteExchange(int rank, int size);

    // Sends out[d] to process d; `in` receives every process's buffer for this
    // one, in process order, process s's bytes from offsets[s] to offsets[s + 1]
    // (`in` may be longer: it only grows).
    void allToAll(const std::vector<std::vector<char>>& out, std::vector<char>& in,
                  std::vector<std::size_t>& offsets);
    // The same with the first lengths[d] bytes of out[d] sent to process d.
    void allToAll(const std::vector<std::vector<char>>& out,
                  const std::vector<std::size_t>& lengths, std::vector<char>& in,
                  std::vector<std::size_t>& offsets);
    // Gathers every process's `out` on process 0, as allToAll lays them out;
    // `in` and `offsets` are filled on process 0 only (`in` only grows).
    void toFirst(const std::vector<char>& out, std::vector<char>& in,
                 std::vector<std::size_t>& offsets);

    // Bytes this process has sent to the others so far.
    unsigned long long bytesSent() const { return BytesSent; }
    // Wall seconds spent in the exchanges so far: the waits for the other
    // processes (MPI waits by polling, so they count as processor time too).
    double secondsExchanging() const { return Exchanging; }
    // Adds `seconds` spent in another collective of the run.
    void addExchanging(double seconds) { Exchanging += seconds; }

private:
    // Offsets from counts, refusing a total that an int cannot count.
    void layOut(const std::vector<int>& counts, std::vector<int>& displacements,
                std::vector<std::size_t>& offsets) const;

    int Rank, Size;                                 // this process and the number of processes
    unsigned long long BytesSent = 0;               // see bytesSent()
    double Exchanging = 0.0;                        // see secondsExchanging()
    std::vector<int> SendCounts;                    // bytes per destination
    std::vector<int> SendOffsets;                   // where each destination's bytes start
    std::vector<int> ReceiveCounts, ReceiveOffsets; // the same for the received bytes
    std::vector<char> Packed;                       // the buffers for every destination, end to end
    std::vector<std::size_t> Lengths;               // bytes per destination, of whole buffers
};
