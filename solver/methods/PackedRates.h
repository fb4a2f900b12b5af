#pragma once
// The transitions of a RateMatrix in fewer bytes, for the loops that read every
// transition many times (uniformization steps, Gauss-Seidel sweeps), whose speed
// is bound by the matrix's memory traffic. Models have few distinct rates: with
// at most 65536 of them a transition needs an index into a table of the rates
// instead of an 8-byte rate, and where the index fits beside the source in one
// 32-bit word, 4 bytes per transition in all (6 through a separate 2-byte index;
// 12 when the rates are too many and the matrix's own arrays are read).

#include "methods/RateMatrix.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <unordered_map>
#include <vector>

namespace gensolver {

// term(e, x): x at transition e's source times its rate, taken from a table
// indexed like PackedRates::distinct() (or the matrix's rate times a scale).
struct PackedTerm {
    const std::uint32_t* word;
    const double* table;
    unsigned shift;
    std::uint32_t mask;
    double operator()(std::uint64_t e, const double* x) const {
        const std::uint32_t p = word[e];
        return x[p >> shift] * table[p & mask];
    }
};

struct IndexedTerm {
    const std::uint32_t* sources;
    const std::uint16_t* index;
    const double* table;
    double operator()(std::uint64_t e, const double* x) const {
        return x[sources[e]] * table[index[e]];
    }
};

struct PlainTerm {
    const std::uint32_t* sources;
    const double* rates;
    double scale;
    double operator()(std::uint64_t e, const double* x) const {
        return x[sources[e]] * (rates[e] * scale);
    }
};

// The distinct rates met so far, at most 65536, each with its 2-byte index.
class RateTable {
public:
    // The index of rate r, which is added when new; -1 when the table is full.
    int indexOf(double r) {
        if (r == last_)
            return lastIndex_;
        // A rate met before is usually in the small cache keyed by its bits,
        // which spares the hash table's slower look-up.
        const auto bits = std::bit_cast<std::uint64_t>(r);
        Cached& c = cache_[(bits * 0x9E3779B97F4A7C15ull) >> (64 - kCacheBits)];
        if (c.filled && c.bits == bits) {
            lastIndex_ = c.index;
        } else {
            const auto found = known_.find(r);
            if (found != known_.end()) {
                lastIndex_ = found->second;
            } else {
                if (rates_.size() == 65536)
                    return -1;
                lastIndex_ = static_cast<std::uint16_t>(rates_.size());
                known_.emplace(r, lastIndex_);
                rates_.push_back(r);
            }
            c = {bits, lastIndex_, true};
        }
        last_ = r;
        return lastIndex_;
    }
    const std::vector<double>& rates() const { return rates_; }
    // Bits an index takes (at least 1).
    unsigned indexBits() const {
        return static_cast<unsigned>(std::bit_width(std::max<std::size_t>(rates_.size(), 2) - 1));
    }

private:
    static constexpr unsigned kCacheBits = 12;
    struct Cached {
        std::uint64_t bits = 0;
        std::uint16_t index = 0;
        bool filled = false;
    };
    std::unordered_map<double, std::uint16_t> known_;
    std::vector<double> rates_;
    std::vector<Cached> cache_ = std::vector<Cached>(std::size_t{1} << kCacheBits);
    // Consecutive transitions often share a rate: the last one found spares most
    // look-ups.
    double last_ = std::numeric_limits<double>::quiet_NaN();
    std::uint16_t lastIndex_ = 0;
};

class PackedRates {
public:
    // m is not owned: it outlives this.
    explicit PackedRates(const RateMatrix& m);
    PackedRates(const PackedRates&) = delete;
    PackedRates& operator=(const PackedRates&) = delete;

    // The distinct rates in the order the transitions index them; empty when
    // there are too many and the matrix's rates are read instead.
    const std::vector<double>& distinct() const { return distinct_; }

    // 4, 6 or 12: the bytes a loop reads per transition for its source and rate.
    unsigned bytesPerTransition() const { return !word_.empty() ? 4 : !index_.empty() ? 6 : 12; }

    // Calls visit(term) with the term reading this matrix's transitions, where
    // table[k] stands for distinct()[k] (scaled as the caller needs), and
    // scale multiplies the matrix's own rates when there is no table. The
    // dispatch happens once, so the loops inside visit are compiled per layout.
    template <class Visit>
    decltype(auto) dispatch(const double* table, double scale, Visit&& visit) const {
        if (!word_.empty()) {
            const unsigned shift = indexBits_;
            return visit(PackedTerm{word_.data(), table, shift, (std::uint32_t{1} << shift) - 1});
        }
        if (!index_.empty())
            return visit(IndexedTerm{m_.source.data(), index_.data(), table});
        return visit(PlainTerm{m_.source.data(), m_.rate.data(), scale});
    }

private:
    const RateMatrix& m_;
    std::vector<double> distinct_;
    // Per transition, its source shifted left by indexBits_ with its rate's index
    // in the low bits; empty when the two do not fit in 32 bits together.
    std::vector<std::uint32_t> word_;
    unsigned indexBits_ = 0;
    // Per transition, its rate's index, when word_ is empty.
    std::vector<std::uint16_t> index_;
};

} // namespace gensolver
