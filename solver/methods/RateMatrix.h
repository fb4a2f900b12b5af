#pragma once
// The transition rates of a chain, stored by target: for every state j the
// states i with a rate from i to j, in compressed sparse rows. Solvers gather
// along these rows (y[j] = sum x[i] * rate), which is what the transient and the
// stationary iterations need; states are numbered from 0 (state 1 of the files
// is index 0). Self-loops are not stored: they do not move probability.

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace gensolver {

// An allocator whose vectors leave the numbers that resize adds uninitialised,
// so that a large array's pages are first touched (and cleared by the system)
// where, and by the thread that, fills them, not by a zeroing pass before.
template <class T> struct UninitializedAllocator : std::allocator<T> {
    template <class U> struct rebind { using other = UninitializedAllocator<U>; };
    UninitializedAllocator() = default;
    template <class U> UninitializedAllocator(const UninitializedAllocator<U>&) noexcept {}
    template <class U> void construct(U* p) noexcept { ::new (static_cast<void*>(p)) U; }
    template <class U, class... Args> void construct(U* p, Args&&... args) {
        ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
    }
};
template <class T> using UninitializedVector = std::vector<T, UninitializedAllocator<T>>;

class RateMatrix {
public:
    RateMatrix() = default;
    RateMatrix(const RateMatrix&) = delete;
    RateMatrix& operator=(const RateMatrix&) = delete;
    RateMatrix(RateMatrix&&) = default;
    RateMatrix& operator=(RateMatrix&&) = default;

    std::uint32_t states() const { return static_cast<std::uint32_t>(exitRate.size()); }
    std::uint64_t transitions() const { return source.size(); }

    // Entries [start[j], start[j + 1]) of source and rate are the transitions into j.
    std::vector<std::uint64_t> start;
    UninitializedVector<std::uint32_t> source;
    UninitializedVector<double> rate;
    // Per state, the sum of its rates to other states.
    std::vector<double> exitRate;
};

// Builds a matrix from (from, to, rate) triples numbered from 0; used by tests and
// small tools. Self-loops are dropped, parallel entries kept.
struct Transition {
    std::uint32_t from;
    std::uint32_t to;
    double rate;
};
RateMatrix buildRateMatrix(std::uint32_t states, const std::vector<Transition>& transitions);

} // namespace gensolver
