#pragma once
// EventList: the pending completions of a trajectory's timed activities, an
// indexed binary heap keyed by (time, activity index). The earliest completion
// is found in constant time and a completion is set, moved or cancelled in
// logarithmic time; equal times are ordered by the activity's index, so that
// the activity chosen among simultaneous completions is the one of lowest
// index. The arrays are sized once: no allocation after construction.

#include <cstdint>
#include <limits>
#include <vector>

class EventList {
public:
    static constexpr double Never = std::numeric_limits<double>::infinity();

    // Room for activities 0 .. size - 1, none pending.
    explicit EventList(std::uint32_t size);

    // Sets activity i's completion time; Never cancels it.
    void set(std::uint32_t i, double time);
    // Cancels every completion.
    void clear();
    // Activity i's completion time, or Never.
    double at(std::uint32_t i) const { return Time[i]; }
    // True when no completion is pending.
    bool empty() const { return Heap.empty(); }
    // The activity of the earliest pending completion (lowest index on ties);
    // only when not empty().
    std::uint32_t first() const { return Heap.front(); }

private:
    bool before(std::uint32_t a, std::uint32_t b) const {
        return Time[a] < Time[b] || (Time[a] == Time[b] && a < b);
    }
    void place(std::size_t slot, std::uint32_t i);
    void siftUp(std::size_t slot);
    void siftDown(std::size_t slot);

    std::vector<double> Time;        // per activity: completion time, or Never
    std::vector<std::uint32_t> Heap; // the pending activities, heap-ordered by before()
    std::vector<std::int64_t> Slot;  // per activity: its position in Heap, or -1
};
