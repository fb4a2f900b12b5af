#pragma once
// EventList: the pending completions of a trajectory's timed activities, an
// indexed binary heap keyed by (time, activity index). The earliest completion
// is found in constant time and a completion is set, moved or cancelled in
// logarithmic time; equal times are ordered by the activity's index, so that
// the activity chosen among simultaneous completions is the one of lowest
// index. The arrays are sized once: no allocation after construction. Up to
// LinearSize activities the list is a plain array searched in full, which
// costs less than the heap's book-keeping there.

#include <cstdint>
#include <limits>
#include <vector>

class EventList {
public:
    static constexpr double Never = std::numeric_limits<double>::infinity();

    // Room for activities 0 .. size - 1, none pending.
    explicit EventList(std::uint32_t size);

    // Activities up to which the list is searched in full.
    static constexpr std::uint32_t LinearSize = 8;

    // Sets activity i's completion time; Never cancels it.
    void set(std::uint32_t i, double time) {
        if (Linear)
            Time[i] = time;
        else if (time != Never || Slot[i] >= 0)
            setInHeap(i, time);
    }
    // Cancels every completion.
    void clear();
    // Activity i's completion time, or Never.
    double at(std::uint32_t i) const { return Time[i]; }
    // The activity of the earliest pending completion (lowest index on ties),
    // or None when nothing is pending.
    std::uint32_t first() const {
        if (!Linear)
            return Heap.empty() ? None : Heap.front();
        std::uint32_t best = None;
        double earliest = Never;
        for (std::uint32_t i = 0; i < Time.size(); ++i)
            if (Time[i] < earliest) {
                earliest = Time[i];
                best = i;
            }
        return best;
    }
    // True when no completion is pending.
    bool empty() const { return first() == None; }
    // What first() answers when nothing is pending.
    static constexpr std::uint32_t None = 0xFFFFFFFFu;

private:
    bool before(std::uint32_t a, std::uint32_t b) const {
        return Time[a] < Time[b] || (Time[a] == Time[b] && a < b);
    }
    void setInHeap(std::uint32_t i, double time);
    void place(std::size_t slot, std::uint32_t i);
    void siftUp(std::size_t slot);
    void siftDown(std::size_t slot);

    std::vector<double> Time;        // per activity: completion time, or Never
    std::vector<std::uint32_t> Heap; // the pending activities, heap-ordered by before()
    std::vector<std::int64_t> Slot;  // per activity: its position in Heap, or -1
    bool Linear;                     // searched in full: Heap and Slot unused
};
