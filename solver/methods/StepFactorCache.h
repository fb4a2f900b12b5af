#pragma once
// The factorisations of an implicit step, one per sub-step length g, of which a
// fixed number are kept: a length asked again is served from the cache, a new one
// replaces the one used longest ago. The extrapolation's step lengths are powers of
// two, so the same sub-step lengths come back step after step.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

namespace gensolver {

template <class Factor>
class StepFactorCache {
public:
    explicit StepFactorCache(std::size_t capacity) : capacity_(capacity) {}

    // The factorisation for g; `make()` forms a new one (a std::unique_ptr<Factor>)
    // when g is not kept, and may throw before the cache changes.
    template <class Make>
    const Factor& get(double g, Make make) {
        ++uses_;
        for (Entry& e : entries_)
            if (e.g == g) {
                e.lastUse = uses_;
                return *e.factor;
            }
        std::unique_ptr<Factor> made = make();
        ++made_;
        if (entries_.size() < capacity_) {
            entries_.push_back({g, std::move(made), uses_});
            return *entries_.back().factor;
        }
        Entry& oldest = *std::min_element(
            entries_.begin(), entries_.end(),
            [](const Entry& a, const Entry& b) { return a.lastUse < b.lastUse; });
        oldest = {g, std::move(made), uses_};
        return *oldest.factor;
    }
    // Factorisations formed so far.
    std::uint64_t made() const { return made_; }

private:
    struct Entry {
        double g = 0.0;
        std::unique_ptr<Factor> factor;
        std::uint64_t lastUse = 0;
    };
    std::vector<Entry> entries_;
    std::size_t capacity_;
    std::uint64_t uses_ = 0;
    std::uint64_t made_ = 0;
};

} // namespace gensolver
