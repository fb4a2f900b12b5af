#pragma once
// Builds a RateMatrix in place from rate rows that can be walked twice (the
// text .arm file or the parts of the binary form): the first walk counts the
// transitions into each state, the second fills the arrays, so the matrix never
// holds more than its final size. Impulse rates are derived on the way for the
// variables whose first-entry impulses are known.

#include "methods/Model.h"
#include "methods/Parallel.h"
#include "read/InputError.h"
#include "read/WalkBeside.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace gensolver {

// Sizes the matrix's entries for `total` transitions. The fill writes all over
// these arrays: their pages are touched here first, on all threads, so that the
// system clears them side by side and not one by one under the fill's writes.
inline void allocateEntries(RateMatrix& m, std::uint64_t total) {
    m.source.resize(total);
    m.rate.resize(total);
    sharedPool().forEach(total, [&](std::uint64_t begin, std::uint64_t end) {
        std::fill(m.source.begin() + static_cast<std::ptrdiff_t>(begin),
                  m.source.begin() + static_cast<std::ptrdiff_t>(end), 0u);
        std::fill(m.rate.begin() + static_cast<std::ptrdiff_t>(begin),
                  m.rate.begin() + static_cast<std::ptrdiff_t>(end), 0.0);
    });
}

// The rewards whose impulse rates the fill derives, with those rates sized.
inline std::vector<Rewards*> impulsiveRewards(std::vector<Rewards>& rewards, std::uint32_t states) {
    std::vector<Rewards*> impulsive;
    for (Rewards& r : rewards)
        if (r.hasImpulses) {
            r.impulseRate.assign(states, 0.0);
            impulsive.push_back(&r);
        }
    return impulsive;
}

// Adds the transition from -> to to the impulse rates and, unless it is a
// self-loop, stores it at entry `at` of the matrix (advancing it) and adds it to
// the exit rate. An entry at `end` lies beyond what the count gave the state:
// the file changed between the walks.
inline void placeTransition(const std::string& path, RateMatrix& m,
                            const std::vector<Rewards*>& impulsive, std::uint32_t from,
                            std::uint32_t to, double rate, std::uint64_t& at, std::uint64_t end) {
    for (Rewards* r : impulsive)
        r->impulseRate[from] += rate * r->impulse[to];
    if (from == to)
        return;
    if (at >= end)
        throw InputError(path, "the file changed while it was read");
    m.source[at] = from;
    m.rate[at] = rate;
    ++at;
    m.exitRate[from] += rate;
}

// After the fill: refuses rates (or the impulses they earn) that add up beyond
// the range of a double, and releases the impulses, now in the impulse rates.
inline void finishMatrix(const std::string& path, const RateMatrix& m,
                         const std::vector<Rewards*>& impulsive) {
    for (std::uint32_t i = 0; i < m.states(); ++i) {
        bool finite = std::isfinite(m.exitRate[i]);
        for (const Rewards* r : impulsive)
            finite = finite && std::isfinite(r->impulseRate[i]);
        if (!finite)
            throw InputError(path, "the rates out of state " + std::to_string(i + 1) +
                                       " (or the impulses they earn) add up beyond the range "
                                       "of a double");
    }
    for (Rewards* r : impulsive)
        std::vector<double>().swap(r->impulse);
}

// The second walk: with m.start[j + 1] holding the count of transitions into
// state j, fills the matrix from walk(entry), which calls entry(from, to, rate)
// for every transition in the order the counts were taken.
template <class Walk>
void fillMatrix(const std::string& path, RateMatrix& m, std::vector<Rewards>& rewards,
                Walk&& walk) {
    const std::uint32_t states = static_cast<std::uint32_t>(m.start.size() - 1);
    // start[j + 1] becomes the first entry of state j; the fill advances it as a
    // cursor, leaving it at the end of state j, which is the start of state j + 1.
    std::uint64_t total = 0;
    for (std::uint32_t j = 0; j < states; ++j) {
        const std::uint64_t c = m.start[std::size_t{j} + 1];
        m.start[std::size_t{j} + 1] = total;
        total += c;
    }
    allocateEntries(m, total);
    m.exitRate.assign(states, 0.0);
    const std::vector<Rewards*> impulsive = impulsiveRewards(rewards, states);
    auto fill = [&](std::uint32_t from, std::uint32_t to, double rate) {
        placeTransition(path, m, impulsive, from, to, rate, m.start[std::size_t{to} + 1], total);
    };
    // The fill's writes land all over the arrays (the file lists transitions by
    // source, the matrix by target): a second thread, where the solver may use
    // one, does them while the walk decodes the file.
    if (sharedPool().threads() >= 2)
        WalkBeside::run(walk, fill);
    else
        walk(fill);
    if (m.start[states] != total)
        throw InputError(path, "the file changed while it was read");
    finishMatrix(path, m, impulsive);
}

// Runs count() with beside() (when given) on a second thread where the solver
// may use one, else beside() first; where both fail, beside's exception is the
// one thrown, as it would be were it run first.
template <class Count> void countBeside(const std::function<void()>& beside, Count&& count) {
    if (!beside) {
        count();
        return;
    }
    if (sharedPool().threads() < 2) {
        beside();
        count();
        return;
    }
    std::exception_ptr besideError;
    std::thread other([&] {
        try {
            beside();
        } catch (...) {
            besideError = std::current_exception();
        }
    });
    try {
        count();
    } catch (...) {
        other.join();
        if (besideError)
            std::rethrow_exception(besideError);
        throw;
    }
    other.join();
    if (besideError)
        std::rethrow_exception(besideError);
}

// walk(fill, entry) calls entry(from, to, rate) for every transition, numbered
// from 0 (with fill false the rate may be 0). `path` names the input in messages.
// beside (when not empty) runs during the counting walk, on a second thread where
// the solver may use one, and may fill `rewards`; where both fail, its exception
// is the one thrown, as it would be were it run first.
template <class Walk>
RateMatrix rowsToMatrix(const std::string& path, std::uint32_t states,
                        std::vector<Rewards>& rewards, const std::function<void()>& beside,
                        Walk&& walk) {
    RateMatrix m;
    m.start.assign(std::size_t{states} + 1, 0);
    auto count = [&] {
        walk(false, [&](std::uint32_t from, std::uint32_t to, double) {
            if (from != to)
                ++m.start[std::size_t{to} + 1];
        });
    };
    countBeside(beside, count);
    fillMatrix(path, m, rewards, [&](auto&& entry) { walk(true, entry); });
    return m;
}

} // namespace gensolver
