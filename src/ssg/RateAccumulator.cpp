#include "ssg/RateAccumulator.h"

#include "base/Errors.h"

#include <algorithm>
#include <new>

namespace {

constexpr std::uint32_t InitialCapacity = 1024;

inline std::uint32_t spread(std::uint32_t target) {
    return target * 0x9E3779B1u;
}

} // namespace

RateAccumulator::RateAccumulator() {
    Capacity = InitialCapacity;
    Entries = new (std::nothrow) Entry[Capacity];
    Slots = new (std::nothrow) Slot[2 * Capacity]();
    if (Entries == nullptr || Slots == nullptr)
        MemoryAllocationError();
    SlotMask = 2 * Capacity - 1;
}

RateAccumulator::~RateAccumulator() {
    delete[] Entries;
    delete[] Slots;
}

RateAccumulator::Entry& RateAccumulator::find(std::uint32_t target) {
    // Most rows are short, and add searches those itself in order; a row that
    // outgrows that is indexed here.
    static_assert(InitialCapacity > LinearLimit, "a short row always fits");
    for (; Indexed < Count; ++Indexed) {
        std::uint32_t slot = spread(Entries[Indexed].target) & SlotMask;
        while (Slots[slot].stamp == Stamp)
            slot = (slot + 1) & SlotMask;
        Slots[slot] = {Stamp, Indexed};
    }
    std::uint32_t slot = spread(target) & SlotMask;
    for (;;) {
        Slot& s = Slots[slot];
        if (s.stamp != Stamp) {
            if (Count == Capacity) {
                grow(); // rows larger than any before: the only allocation
                return find(target);
            }
            s.stamp = Stamp;
            s.position = Count;
            Entries[Count] = {target, 0.0};
            ++Indexed;
            return Entries[Count++];
        }
        if (Entries[s.position].target == target)
            return Entries[s.position];
        slot = (slot + 1) & SlotMask;
    }
}

void RateAccumulator::grow() {
    std::uint32_t capacity = 2 * Capacity;
    Entry* entries = new (std::nothrow) Entry[capacity];
    Slot* slots = new (std::nothrow) Slot[2 * capacity]();
    if (entries == nullptr || slots == nullptr)
        MemoryAllocationError();
    std::copy(Entries, Entries + Count, entries);
    delete[] Entries;
    delete[] Slots;
    Entries = entries;
    Slots = slots;
    Capacity = capacity;
    SlotMask = 2 * capacity - 1;
    for (std::uint32_t i = 0; i < Count; ++i) {
        std::uint32_t slot = spread(Entries[i].target) & SlotMask;
        while (Slots[slot].stamp == Stamp)
            slot = (slot + 1) & SlotMask;
        Slots[slot] = {Stamp, i};
    }
}

void RateAccumulator::sort() {
    sortByTarget(Entries, Count);
}

void RateAccumulator::clear() {
    Count = 0;
    Indexed = 0;
    if (++Stamp == 0) {
        // After 2^32 - 1 rows the stamps start again: forget the old ones.
        std::fill(Slots, Slots + SlotMask + 1, Slot{0, 0});
        Stamp = 1;
    }
}
