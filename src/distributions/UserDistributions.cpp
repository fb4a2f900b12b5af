#include "distributions/UserDistributions.h"

#include "base/Errors.h"
#include "distributions/LaggedFibonacci.h"
#include "distributions/Tausworthe.h"

#include <new>

namespace {

// A new generator of the given kind (1: Tausworthe; any other: lagged Fibonacci).
RandomNumberGenerator* newGenerator(int kind) {
    RandomNumberGenerator* created = nullptr;
    if (kind == 1)
        created = new (std::nothrow) Tausworthe;
    else
        created = new (std::nothrow) LaggedFibonacci;
    if (created == nullptr)
        MemoryAllocationError();
    return created;
}

} // namespace

UserDistributions::UserDistributions() {
    delete generator;
    generator = newGenerator(0);
}

UserDistributions::UserDistributions(int kind, long seed) {
    delete generator;
    generator = newGenerator(kind);
    generator->srnd(static_cast<unsigned long>(seed));
}

UserDistributions TheGenerator(0, 31415);
UserDistributions* TheDistribution = &TheGenerator;
