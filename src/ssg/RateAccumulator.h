#pragma once
// RateAccumulator: the outgoing rates of the one state being explored, summed
// per target state number. A flat table that is reused from state to state:
// entries are created with 0.0 on first use and summed into in call order. The
// row is kept in the order of first addition; sort(), or the writer of the row
// (TextBuffer::rateRow), puts it in ascending target order, as an ordered map
// would give it.

#include "ssg/TargetRate.h"

#include <cstdint>

class RateAccumulator {
public:
    RateAccumulator();
    ~RateAccumulator();
    RateAccumulator(const RateAccumulator&) = delete;
    RateAccumulator& operator=(const RateAccumulator&) = delete;
    RateAccumulator(RateAccumulator&&) = delete;
    RateAccumulator& operator=(RateAccumulator&&) = delete;

    // Adds `rate` to the entry of `target` (created with 0.0).
    // A short row is searched here, in order; a longer one through its index.
    void add(std::uint32_t target, double rate) {
        if (Count < LinearLimit) {
            for (std::uint32_t i = 0; i < Count; ++i) {
                if (Entries[i].target == target) {
                    Entries[i].rate += rate;
                    return;
                }
            }
            // Appended, as find would; the capacity always holds a short row.
            Entry& entry = Entries[Count++];
            entry = {target, 0.0};
            entry.rate += rate;
            return;
        }
        Entry& entry = find(target);
        entry.rate += rate;
    }
    bool empty() const { return Count == 0; }
    std::uint32_t size() const { return Count; }
    // Puts the entries in ascending target order; call once the row is complete.
    void sort();
    std::uint32_t target(std::uint32_t i) const { return Entries[i].target; }
    double rate(std::uint32_t i) const { return Entries[i].rate; }
    // The row's entries, size() of them, in the order sort() left them (the
    // order of first addition before it). They may be reordered in place.
    TargetRate* entries() { return Entries; }
    // Empties the row (no memory is released).
    void clear();

private:
    using Entry = TargetRate;
    // A slot of the index: the entry's position, valid when `stamp` is the
    // present row's stamp, so a row is forgotten without touching the slots.
    struct Slot {
        std::uint32_t stamp;
        std::uint32_t position;
    };

    Entry& find(std::uint32_t target);
    void grow();

    // Rows of up to this many entries are searched in order; longer ones are
    // indexed by the slots.
    static constexpr std::uint32_t LinearLimit = 16;

    Entry* Entries = nullptr; // owned; Capacity entries, Count in use
    std::uint32_t Count = 0;
    std::uint32_t Indexed = 0; // entries of the present row entered in the slots
    std::uint32_t Capacity = 0;
    Slot* Slots = nullptr;      // owned; 2 x Capacity slots (a power of two)
    std::uint32_t SlotMask = 0; // number of slots - 1
    std::uint32_t Stamp = 1;    // stamp of the present row
};
