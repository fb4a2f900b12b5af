#include "methods/WindowedTransient.h"

#include "methods/ChainBackend.h"

#include <algorithm>
#include <cstdio>

namespace gensolver {

namespace {

// The share of the mass lost by a window beyond which the windows are given up
// at once.
constexpr double kSpread = 0.01;

} // namespace

bool chooseWindow(const RateMatrix& m, double lastTime, const TransientOptions& options) {
    return options.method == TransientChoice::Auto && options.windowStates > 0 &&
           m.states() > options.extrapolateStates &&
           uniformizationRate(m) * lastTime > options.windowAbove;
}

CutChain cutChain(const RateMatrix& m, const std::vector<std::uint32_t>& order, std::uint32_t size,
                  std::vector<std::uint32_t>& local) {
    const std::uint32_t n = m.states();
    local.assign(n, UINT32_MAX);
    for (std::uint32_t k = 0; k < size; ++k)
        local[order[k]] = k;
    // Per window state, its rates out of the window, summed from the transitions
    // themselves (not exit rate minus the rest, which would cancel).
    std::vector<double> leak(size, 0.0);
    std::uint64_t maxIn = 1;
    for (std::uint32_t j = 0; j < n; ++j) {
        maxIn = std::max(maxIn, m.start[std::size_t{j} + 1] - m.start[j]);
        if (local[j] != UINT32_MAX)
            continue;
        for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
            if (local[m.source[e]] != UINT32_MAX && m.rate[e] > 0.0)
                leak[local[m.source[e]]] += m.rate[e];
    }
    std::vector<std::uint32_t> leaking;
    for (std::uint32_t k = 0; k < size; ++k)
        if (leak[k] > 0.0)
            leaking.push_back(k);
    const std::uint64_t sinks = (leaking.size() + maxIn - 1) / maxIn;

    CutChain cut;
    cut.window = size;
    RateMatrix& c = cut.matrix;
    const std::uint64_t states = size + sinks;
    c.start.reserve(states + 1);
    c.start.push_back(0);
    for (std::uint32_t k = 0; k < size; ++k) {
        const std::uint32_t j = order[k];
        for (std::uint64_t e = m.start[j]; e < m.start[std::size_t{j} + 1]; ++e)
            if (local[m.source[e]] != UINT32_MAX) {
                c.source.push_back(local[m.source[e]]);
                c.rate.push_back(m.rate[e]);
            }
        c.start.push_back(c.source.size());
        c.exitRate.push_back(m.exitRate[j]);
    }
    for (std::uint64_t s = 0; s < sinks; ++s) {
        const std::uint64_t end = std::min<std::uint64_t>(leaking.size(), (s + 1) * maxIn);
        for (std::uint64_t l = s * maxIn; l < end; ++l) {
            c.source.push_back(leaking[l]);
            c.rate.push_back(leak[leaking[l]]);
        }
        c.start.push_back(c.source.size());
        c.exitRate.push_back(0.0);
    }
    return cut;
}

WindowedTransient::WindowedTransient(const RateMatrix& m,
                                     std::vector<const std::vector<double>*> integrands,
                                     LimitSource* limits, const TransientOptions& options,
                                     double lastTime)
    : m_(m), integrands_(std::move(integrands)), limits_(limits), options_(options),
      lastTime_(lastTime), order_(breadthFirstOrder(m)) {
    x_.assign(m.states(), 0.0);
    integrals_.assign(integrands_.size(), 0.0);
    open(std::min<std::uint32_t>(std::max<std::uint32_t>(options_.windowStates, 1),
                                 static_cast<std::uint32_t>(order_.size())));
}

void WindowedTransient::open(std::uint32_t size) {
    inner_.reset();
    cut_ = cutChain(m_, order_, size, local_);
    const std::uint32_t states = cut_.matrix.states();
    cutRewards_.assign(integrands_.size(), std::vector<double>(states, 0.0));
    for (std::size_t r = 0; r < integrands_.size(); ++r)
        for (std::uint32_t k = 0; k < size; ++k)
            cutRewards_[r][k] = (*integrands_[r])[order_[k]];
    sinkIndicator_.assign(states, 0.0);
    std::fill(sinkIndicator_.begin() + size, sinkIndicator_.end(), 1.0);
    std::vector<const std::vector<double>*> inner;
    for (const std::vector<double>& r : cutRewards_)
        inner.push_back(&r);
    inner.push_back(&sinkIndicator_);
    // The cut chain, sinks included, is solved as a chain of its size is: by
    // elimination when uniformization would take long.
    TransientOptions o = options_;
    o.extrapolateStates = std::max(o.extrapolateStates, states);
    double rate = 0.0;
    // A window whose factors did not fit tells the larger ones: they hold its
    // states and arcs, and would repeat the trial only to fail it again.
    inner_ = wholeChainTransient(cut_.matrix, std::move(inner), nullptr, o, lastTime_, rate,
                                 &factorsFit_);
}

void WindowedTransient::openWhole() {
    inner_.reset();
    cut_ = CutChain{};
    cutRewards_.clear();
    sinkIndicator_.clear();
    std::vector<std::uint32_t>().swap(local_);
    TransientOptions o = options_;
    o.windowStates = 0;
    double rate = 0.0;
    whole_ = wholeChainTransient(m_, integrands_, limits_, o, lastTime_, rate, &factorsFit_);
}

void WindowedTransient::advanceTo(double t) {
    for (;;) {
        if (whole_) {
            whole_->advanceTo(t);
            copySolution(*whole_);
            return;
        }
        inner_->advanceTo(t);
        const std::vector<double>& y = inner_->distribution();
        // Extrapolation may leave an entry a rounding below 0: the mass counted
        // lost is never taken below 0, which only widens the bounds.
        double lost = 0.0;
        for (std::size_t k = cut_.window; k < y.size(); ++k)
            lost += y[k];
        lost = std::max(lost, 0.0);
        const bool exact = y.size() == cut_.window; // no sinks: every reachable state is in
        if (exact || lost <= options_.epsilon) {
            lost_ = lost;
            for (std::uint32_t k = 0; k < cut_.window; ++k)
                x_[order_[k]] = y[k];
            for (std::size_t r = 0; r < integrals_.size(); ++r)
                integrals_[r] = inner_->integral(r);
            distBound_ = inner_->distributionBound() + lost;
            intBound_ =
                std::max(inner_->integral(integrals_.size()), 0.0) + 2.0 * inner_->integralBound();
            now_ = inner_->now();
            return;
        }
        spent_ += inner_->steps();
        ++dropped_;
        const auto reachable = static_cast<std::uint32_t>(order_.size());
        const std::uint32_t largest =
            std::min(std::max(options_.extrapolateStates, options_.windowStates), reachable);
        // A window that lets a sizeable share of the mass out (the chain spreads it,
        // as a queueing model does, rather than keeping it near state 1) would
        // need far more than the doublings left.
        if (cut_.window >= largest || lost > kSpread) {
            char text[160];
            std::snprintf(text, sizeof text, "the %u states nearest state 1 lost %.2g by t=%g",
                          cut_.window, lost, t);
            givenUp_ = text;
            openWhole();
        } else {
            open(cut_.window > largest / 2 ? largest : cut_.window * 2);
        }
    }
}

std::uint64_t WindowedTransient::steps() const {
    return spent_ + (whole_ ? whole_->steps() : inner_->steps());
}

bool WindowedTransient::steadyStateDetected() const {
    return whole_ && whole_->steadyStateDetected();
}

double WindowedTransient::steadyTime() const {
    return whole_ ? whole_->steadyTime() : 0.0;
}

bool WindowedTransient::boundProven() const {
    return whole_ ? whole_->boundProven() : inner_->boundProven();
}

std::string WindowedTransient::describe() const {
    if (whole_)
        return whole_->describe() + " (" + givenUp_ + ")";
    char text[160];
    if (cut_.matrix.states() == cut_.window)
        std::snprintf(text, sizeof text, " on the %u states reachable from state 1", cut_.window);
    else
        std::snprintf(text, sizeof text, " on the %u states nearest state 1 (mass outside <= %.2g)",
                      cut_.window, lost_);
    std::string s = inner_->describe() + text;
    if (dropped_ > 0)
        s += "; " + std::to_string(dropped_) +
             (dropped_ == 1 ? " smaller window" : " smaller windows") + " dropped";
    return s;
}

} // namespace gensolver
