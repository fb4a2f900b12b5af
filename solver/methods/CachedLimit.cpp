#include "methods/CachedLimit.h"

namespace gensolver {

const Limit& CachedLimit::limit() {
    if (!limit_)
        limit_ = solveLimit(m_, options_);
    return *limit_;
}

} // namespace gensolver
