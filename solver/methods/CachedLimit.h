#pragma once
// A chain's limiting distribution, solved on first request and kept: the source
// of steady-state detection for transient solvers.

#include "methods/LimitSolver.h"
#include "methods/Transient.h"

#include <optional>

namespace gensolver {

class CachedLimit : public LimitSource {
public:
    // `m` is not owned and outlives the cache.
    CachedLimit(const RateMatrix& m, const LimitOptions& options) : m_(m), options_(options) {}
    const Limit& limit() override;
    // True once limit() has been asked for.
    bool computed() const { return limit_.has_value(); }

private:
    const RateMatrix& m_;
    LimitOptions options_;
    std::optional<Limit> limit_; // solved on first request
};

} // namespace gensolver
