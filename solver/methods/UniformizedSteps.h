#pragma once
// The steps of the uniformized chain, P = I + Q / q, that uniformization and the
// power iteration take, over the states this process holds: all of them for a
// one-process solve (LocalSteps), a contiguous range of them for a distributed
// one. Vectors hold the process's states only; sums and norms are over the whole
// chain, so the methods built on these steps compute the same whatever holds the
// states.

#include "methods/PackedRates.h"
#include "methods/Parallel.h"
#include "methods/RateMatrix.h"

#include <cstdint>
#include <vector>

namespace gensolver {

class UniformizedSteps {
public:
    virtual ~UniformizedSteps() = default;
    // Entries of this process's vectors.
    virtual std::size_t size() const = 0;
    // The local index of state 0 (where every solution starts), or -1 when
    // another process holds it.
    virtual std::int64_t firstState() const = 0;
    // The uniformization rate q (the same on every process).
    virtual double rate() const = 0;
    // Bound on the 1-norm rounding error of one step relative to the iterate's norm.
    virtual double roundingPerStep() const = 0;
    // y = f (v P), with acc += w y when acc is not null; returns the sum of y over
    // the whole chain.
    virtual double step(const double* v, double f, double* y, double w, double* acc) = 0;
    // The sum over the whole chain of a[j] b[j].
    virtual double dot(const double* a, const double* b) = 0;
    // The 1-norm of a - b over the whole chain.
    virtual double distance(const double* a, const double* b) = 0;
};

// The steps of a whole chain held by this process, over the solver's thread pool.
class LocalSteps : public UniformizedSteps {
public:
    // m is not owned: it outlives the steps.
    explicit LocalSteps(const RateMatrix& m);
    LocalSteps(const LocalSteps&) = delete;
    LocalSteps& operator=(const LocalSteps&) = delete;

    std::size_t size() const override { return m_.states(); }
    std::int64_t firstState() const override { return 0; }
    double rate() const override { return q_; }
    double roundingPerStep() const override { return roundingPerStep_; }
    double step(const double* v, double f, double* y, double w, double* acc) override;
    double dot(const double* a, const double* b) override;
    double distance(const double* a, const double* b) override;
    // Bytes a step reads per transition for its source and rate (4, 6 or 12).
    unsigned bytesPerTransition() const { return packed_.bytesPerTransition(); }
    // Bytes a step reads per state for its row start and stay probability (5 to 16).
    unsigned bytesPerState() const {
        return (start32_.empty() ? 8 : 4) + (stayIndex_.empty() ? 8 : 1);
    }

private:
    // One step over the pool's chunks, term(e, v) giving transition e's v[source] p.
    template <class Term>
    double sweep(Term term, const double* v, double f, double* y, double w, double* acc);

    const RateMatrix& m_;
    double q_ = 0.0;
    double roundingPerStep_ = 0.0;
    PackedRates packed_;
    std::vector<double> scaledRate_; // packed_.distinct() divided by q
    // The row starts in 32 bits (empty beyond 2^32 transitions: m_.start is read).
    std::vector<std::uint32_t> start32_;
    // Per state, 1 - exit rate / q: its index into stayTable_ where there are at
    // most 256 distinct ones, else the value itself in stay_.
    std::vector<std::uint8_t> stayIndex_;
    std::vector<double> stayTable_;
    std::vector<double> stay_;
    Parallel* pool_;                 // not owned: the solver's shared pool
};

} // namespace gensolver
