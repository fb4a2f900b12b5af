#pragma once
// What the measures need from the chain: a transient method, the limit, and sums
// and maxima over all states. LocalBackend serves a chain held whole by this
// process; a distributed solve serves its slice of the states, whose vectors
// (rewards, distributions) are then slices too, and sums run over every process.

#include "methods/LimitSolver.h"
#include "methods/RateMatrix.h"
#include "methods/Transient.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace gensolver {

class ChainBackend {
public:
    virtual ~ChainBackend() = default;
    virtual std::uint32_t states() const = 0;
    virtual std::uint64_t transitions() const = 0;
    // The method for time points up to lastTime (integrands and limits as for
    // TransientSolver); rate gets the uniformization rate, or 0 for another method.
    virtual std::unique_ptr<TransientMethod>
    transient(std::vector<const std::vector<double>*> integrands, LimitSource* limits,
              const TransientOptions& options, double lastTime, double& rate) = 0;
    // The limiting distribution from state 1 (this process's slice of it).
    virtual Limit limit(const LimitOptions& options) = 0;
    // The sum and the maximum of the processes' values.
    virtual double sum(double local) = 0;
    virtual double max(double local) = 0;
    // Per state, 1 when no closed class holds it, or null when not known
    // (LimitSource::transientStates).
    virtual const std::vector<char>* transientStates() { return nullptr; }
    // True when this process holds the whole chain, so that vectors over its
    // states (rewards) are whole too.
    virtual bool holdsWholeChain() const { return false; }
};

// The method the options pick for the whole chain m, held by this process
// (uniformization, extrapolation, or uniformization probing for the limit first).
// factorsFit, when given, carries auto's trial factorisation from one chain to a
// larger one holding it (the windows): false on entry skips the trial as failed,
// and a failed trial sets it false.
std::unique_ptr<TransientMethod>
wholeChainTransient(const RateMatrix& m, std::vector<const std::vector<double>*> integrands,
                    LimitSource* limits, const TransientOptions& options, double lastTime,
                    double& rate, bool* factorsFit = nullptr);

// The whole chain in this process: uniformization or extrapolation, and the
// limit by its components.
class LocalBackend : public ChainBackend {
public:
    // m is not owned: it outlives the backend.
    explicit LocalBackend(const RateMatrix& m) : m_(m) {}
    std::uint32_t states() const override { return m_.states(); }
    std::uint64_t transitions() const override { return m_.transitions(); }
    std::unique_ptr<TransientMethod> transient(std::vector<const std::vector<double>*> integrands,
                                               LimitSource* limits, const TransientOptions& options,
                                               double lastTime, double& rate) override;
    Limit limit(const LimitOptions& options) override { return solveLimit(m_, options); }
    double sum(double local) override { return local; }
    double max(double local) override { return local; }
    // Found on first request and kept.
    const std::vector<char>* transientStates() override;
    bool holdsWholeChain() const override { return true; }

private:
    const RateMatrix& m_;
    std::vector<char> transient_;
    bool transientFound_ = false;
};

} // namespace gensolver
