#pragma once
// Transient analysis on the states nearest state 1. A reliability model of a
// million states often keeps almost all of its probability, over the whole
// mission, in a few thousand states near its start (all units up, a few down);
// its fast rates still make uniformization take q t steps and an iterative
// implicit solve touch every state. Here the chain is cut to a window W of the
// states first reached from state 1 (breadth-first), and every rate leaving W
// goes to absorbing sink states instead. The cut chain's probabilities on W are
// at most the whole chain's (the mass that leaves W is not allowed back), and
// the two distributions differ in 1-norm by exactly the whole chain's mass
// outside W, which is at most the mass in the sinks. So with the cut chain
// solved to a 1-norm error e and sink mass m, the whole chain's distribution is
// known to within m + e, and its integral over [0, t] to within the integral of
// m plus twice that of e. When the sinks hold more than the tolerance at a time
// point, W doubles and the solve starts again from time 0; beyond the largest
// window, or when a window lost more than 1 % (the chain spreads its mass), the
// whole chain is solved as before. Time points already answered stand: their
// bounds held.

#include "methods/Components.h"
#include "methods/RateMatrix.h"
#include "methods/Transient.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace gensolver {

// Whether auto solves on windows: windows on, a chain of more than
// extrapolateStates states, and more than windowAbove uniformization steps to
// lastTime.
bool chooseWindow(const RateMatrix& m, double lastTime, const TransientOptions& options);

// The chain cut to the first `size` states of `order`: window state k is
// order[k], followed by sink states (absorbing) that take, per window state, the
// sum of its rates to states outside the window. Each sink takes at most as many
// transitions as the most any state of m has coming in, so the cut chain's
// in-degrees, which the methods' rounding figures use, stay those of m. local
// (resized to m's states) gets each state's window index or UINT32_MAX.
struct CutChain {
    RateMatrix matrix;
    std::uint32_t window = 0; // states of the window; the sinks follow
};
CutChain cutChain(const RateMatrix& m, const std::vector<std::uint32_t>& order, std::uint32_t size,
                  std::vector<std::uint32_t>& local);

// The windowed method. Windows start at options.windowStates states and double
// up to options.extrapolateStates, where the cut chain is still solved by
// elimination; the cut chain's method is the one the whole chain's rule picks
// for a chain of its size (without steady-state detection: its limit is the sinks).
class WindowedTransient : public TransientMethod {
public:
    // m, integrands and limits as for the whole chain's method (limits serves
    // the whole chain only, should it be needed).
    WindowedTransient(const RateMatrix& m, std::vector<const std::vector<double>*> integrands,
                      LimitSource* limits, const TransientOptions& options, double lastTime);
    WindowedTransient(const WindowedTransient&) = delete;
    WindowedTransient& operator=(const WindowedTransient&) = delete;

    void advanceTo(double t) override;
    std::uint64_t steps() const override;
    bool steadyStateDetected() const override;
    double steadyTime() const override;
    bool boundProven() const override;
    std::string describe() const override;
    // States in the window in use (0 once the whole chain is solved).
    std::uint32_t windowStates() const { return whole_ ? 0 : cut_.window; }
    // Windows given up so far.
    unsigned windowsDropped() const { return dropped_; }

private:
    // Cuts the chain to the first size states of order_ and starts its method.
    void open(std::uint32_t size);
    // The whole chain's method replaces the window's.
    void openWhole();

    const RateMatrix& m_;
    std::vector<const std::vector<double>*> integrands_;
    LimitSource* limits_;
    TransientOptions options_;
    double lastTime_;
    std::vector<std::uint32_t> order_; // reachable states, breadth-first
    std::vector<std::uint32_t> local_; // per state, its window index or UINT32_MAX
    CutChain cut_;
    std::vector<std::vector<double>> cutRewards_; // the integrands on the cut chain
    std::vector<double> sinkIndicator_;           // 1 on the sinks: integrates the lost mass
    std::unique_ptr<TransientMethod> inner_;      // the cut chain's method
    std::unique_ptr<TransientMethod> whole_;      // the whole chain's, after the last window
    std::uint64_t spent_ = 0;                     // steps of the windows given up
    unsigned dropped_ = 0;
    double lost_ = 0.0;   // the sinks' mass at now()
    std::string givenUp_; // why the windows were given up (for describe)
    bool factorsFit_ = true; // no window's trial factorisation has failed
};

} // namespace gensolver
