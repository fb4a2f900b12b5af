#include "EventList.h"

#include <algorithm>

EventList::EventList(std::uint32_t size)
    : Time(size, Never), Slot(size, -1), Linear(size <= LinearSize) {
    Heap.reserve(size);
}

void EventList::place(std::size_t slot, std::uint32_t i) {
    Heap[slot] = i;
    Slot[i] = static_cast<std::int64_t>(slot);
}

void EventList::siftUp(std::size_t slot) {
    std::uint32_t i = Heap[slot];
    while (slot > 0) {
        std::size_t parent = (slot - 1) / 2;
        if (!before(i, Heap[parent]))
            break;
        place(slot, Heap[parent]);
        slot = parent;
    }
    place(slot, i);
}

void EventList::siftDown(std::size_t slot) {
    std::uint32_t i = Heap[slot];
    std::size_t size = Heap.size();
    for (;;) {
        std::size_t child = 2 * slot + 1;
        if (child >= size)
            break;
        if (child + 1 < size && before(Heap[child + 1], Heap[child]))
            ++child;
        if (!before(Heap[child], i))
            break;
        place(slot, Heap[child]);
        slot = child;
    }
    place(slot, i);
}

void EventList::setInHeap(std::uint32_t i, double time) {
    std::int64_t slot = Slot[i];
    if (time == Never) {
        Time[i] = Never;
        if (slot < 0)
            return;
        Slot[i] = -1;
        std::uint32_t last = Heap.back();
        Heap.pop_back();
        if (last == i)
            return;
        // The last entry fills the hole and moves to where it belongs.
        place(static_cast<std::size_t>(slot), last);
        siftUp(static_cast<std::size_t>(slot));
        siftDown(static_cast<std::size_t>(Slot[last]));
        return;
    }
    bool earlier = time < Time[i];
    Time[i] = time;
    if (slot < 0) {
        Heap.push_back(i);
        siftUp(Heap.size() - 1);
    } else if (earlier) {
        siftUp(static_cast<std::size_t>(slot));
    } else {
        siftDown(static_cast<std::size_t>(slot));
    }
}

void EventList::clear() {
    if (Linear) {
        std::fill(Time.begin(), Time.end(), Never);
        return;
    }
    for (std::uint32_t i : Heap) {
        Time[i] = Never;
        Slot[i] = -1;
    }
    Heap.clear();
}
