#pragma once
// Runs a walk over transitions on two threads: the calling thread walks (reads
// and decodes the file), and a second thread applies `entry` to what it found,
// in batches, in the order the walk found them. So whatever `entry` builds is
// the same as on one thread, while the file's decoding and the scattered writes
// of the transitions into the matrix overlap.
//
// An exception from either side ends both: the walk stops at its next batch,
// the second thread after the batches already handed to it, and the first
// exception thrown is rethrown on the calling thread.

#include <atomic>
#include <cstdint>
#include <exception>
#include <thread>
#include <vector>

namespace gensolver {

class WalkBeside {
public:
    // Transitions per batch, and batches under way at once (1 MB in all).
    static constexpr std::size_t kBatch = 16384;
    static constexpr std::uint64_t kSlots = 4;

    // walk(entry) calls entry(from, to, rate) for every transition.
    template <class Walk, class Entry> static void run(Walk&& walk, Entry&& entry) {
        WalkBeside w;
        std::exception_ptr applyError;
        std::thread applier([&] {
            try {
                w.apply(entry);
            } catch (...) {
                applyError = std::current_exception();
                // Tells the walk to stop, and wakes it should it wait for a slot.
                w.consumed_.store(kGaveUp, std::memory_order_release);
                w.consumed_.notify_one();
            }
        });
        std::exception_ptr walkError;
        try {
            walk([&](std::uint32_t from, std::uint32_t to, double rate) {
                Item* slot = w.items_.data() + (w.batch_ % kSlots) * kBatch;
                slot[w.filled_++] = {from, to, rate};
                if (w.filled_ == kBatch)
                    w.publish(false);
            });
            w.publish(true);
        } catch (const Stopped&) {
            // The applier failed; its exception is the one to report.
            w.finish();
        } catch (...) {
            walkError = std::current_exception();
            w.finish();
        }
        applier.join();
        if (walkError)
            std::rethrow_exception(walkError);
        if (applyError)
            std::rethrow_exception(applyError);
    }

private:
    struct Item {
        std::uint32_t from, to;
        double rate;
    };
    struct Stopped {};
    // produced_ counts the batches handed over, with kDone set once no more come.
    static constexpr std::uint64_t kDone = std::uint64_t{1} << 63;
    // consumed_ once the applier failed.
    static constexpr std::uint64_t kGaveUp = ~std::uint64_t{0};

    WalkBeside() : items_(kBatch * kSlots), sizes_(kSlots, 0) {}

    // Hands the batch being filled over (with `last`, as the final one), then
    // waits until the next batch's slot is free.
    void publish(bool last) {
        sizes_[batch_ % kSlots] = filled_;
        ++batch_;
        filled_ = 0;
        produced_.store(batch_ | (last ? kDone : 0), std::memory_order_release);
        produced_.notify_one();
        if (last)
            return;
        for (;;) {
            const std::uint64_t c = consumed_.load(std::memory_order_acquire);
            if (c == kGaveUp)
                throw Stopped{};
            if (batch_ - c < kSlots)
                return;
            consumed_.wait(c, std::memory_order_acquire);
        }
    }

    // The walk ended early: the applier finishes what it was given and stops.
    void finish() {
        produced_.store(batch_ | kDone, std::memory_order_release);
        produced_.notify_one();
    }

    template <class Entry> void apply(Entry& entry) {
        for (std::uint64_t next = 0;;) {
            std::uint64_t p = produced_.load(std::memory_order_acquire);
            while ((p & ~kDone) == next) {
                if (p & kDone)
                    return;
                produced_.wait(p, std::memory_order_acquire);
                p = produced_.load(std::memory_order_acquire);
            }
            const Item* slot = items_.data() + (next % kSlots) * kBatch;
            const std::size_t size = sizes_[next % kSlots];
            for (std::size_t k = 0; k < size; ++k)
                entry(slot[k].from, slot[k].to, slot[k].rate);
            ++next;
            consumed_.store(next, std::memory_order_release);
            consumed_.notify_one();
        }
    }

    std::vector<Item> items_;        // kSlots batches of kBatch
    std::vector<std::size_t> sizes_; // per slot, the items of its batch
    std::uint64_t batch_ = 0;        // the batch being filled (the walk's)
    std::size_t filled_ = 0;         // its items so far
    std::atomic<std::uint64_t> produced_{0};
    std::atomic<std::uint64_t> consumed_{0};
};

} // namespace gensolver
