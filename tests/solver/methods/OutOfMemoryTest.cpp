// When the multigrid's allocations fail after Gauss-Seidel gave a chain up to it,
// the sweeps take the chain back and solve it to the end: the answer is the same
// as that of the sweeps alone, not an error and not a number without a bound.
//
// This test binary's operator new can be armed to refuse every allocation above
// a size. Unarmed (the other tests of the binary) it is malloc and nothing more.

#include "methods/LimitSolver.h"
#include "methods/RateMatrix.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <vector>

namespace {

std::atomic<std::size_t> refuseAbove{std::numeric_limits<std::size_t>::max()};
std::atomic<std::uint64_t> refused{0};

void* allocate(std::size_t size) {
    if (size > refuseAbove.load(std::memory_order_relaxed)) {
        refused.fetch_add(1, std::memory_order_relaxed);
        throw std::bad_alloc();
    }
    if (void* p = std::malloc(size == 0 ? 1 : size))
        return p;
    throw std::bad_alloc();
}

} // namespace

// Out of line, so that no call is bound to malloc and free in this file: under
// Valgrind, whose allocator replaces these functions, a new and a delete must
// both be its own.
[[gnu::noinline]] void* operator new(std::size_t size) { return allocate(size); }
[[gnu::noinline]] void* operator new[](std::size_t size) { return allocate(size); }
[[gnu::noinline]] void operator delete(void* p) noexcept { std::free(p); }
[[gnu::noinline]] void operator delete[](void* p) noexcept { std::free(p); }
[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept { std::free(p); }
[[gnu::noinline]] void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace {

using gensolver::Transition;

// A birth-death chain of n states, up at rate up and down at rate down from
// every state that has a neighbour there: pi_i is proportional to
// (up / down)^i.
std::vector<Transition> birthDeath(std::uint32_t n, double up, double down) {
    std::vector<Transition> ts;
    for (std::uint32_t i = 0; i + 1 < n; ++i) {
        ts.push_back({i, i + 1, up});
        ts.push_back({i + 1, i, down});
    }
    return ts;
}

// Valgrind preloads its own allocator, which replaces the one above.
bool underValgrind() {
    const char* preload = std::getenv("LD_PRELOAD");
    return preload != nullptr && std::strstr(preload, "vgpreload") != nullptr;
}

TEST(OutOfMemory, TheSweepsTakeBackAChainWhoseMultigridCannotBeAllocated) {
    if (underValgrind())
        GTEST_SKIP() << "Valgrind's allocator replaces the one that refuses";
    const std::uint32_t n = 1000;
    const double up = 1.0, down = 1.5;
    const gensolver::RateMatrix m = gensolver::buildRateMatrix(n, birthDeath(n, up, down));
    gensolver::LimitOptions options;
    options.denseLimit = 1;
    options.switchFrom = 1;
    options.switchSweeps = 100;
    options.multigridCoarsest = 8;

    // Unhindered, the sweeps give the chain up and the multigrid solves it.
    const gensolver::Limit handed = gensolver::solveLimit(m, options);
    ASSERT_TRUE(handed.converged) << handed.method();
    ASSERT_TRUE(handed.multigrid) << handed.method();
    ASSERT_GT(handed.sweepsGivenUp, 0u);

    // Allocations of more than a vector of the chain's doubles (and a little)
    // are refused: the sweeps' own arrays fit, the multigrid's system (its
    // entries' rates, two a state) does not.
    refused = 0;
    refuseAbove = sizeof(double) * n + 1024;
    const gensolver::Limit limit = gensolver::solveLimit(m, options);
    refuseAbove = std::numeric_limits<std::size_t>::max();
    EXPECT_GT(refused.load(), 0u);
    EXPECT_TRUE(limit.converged) << limit.method();
    EXPECT_FALSE(limit.multigrid) << limit.method();
    EXPECT_EQ(limit.method().rfind("Gauss-Seidel, 64 sweeps (about ", 0), 0u) << limit.method();
    EXPECT_NE(limit.method().find(" more expected), then Gauss-Seidel, "), std::string::npos)
        << limit.method();
    EXPECT_LE(limit.errorEstimate, options.tolerance) << limit.method();
    ASSERT_EQ(limit.distribution.size(), n);
    // The product form, relative to pi_0.
    const double ratio = up / down;
    double total = 0.0, term = 1.0;
    for (std::uint32_t i = 0; i < n; ++i, term *= ratio)
        total += term;
    double distance = 0.0;
    term = 1.0;
    for (std::uint32_t i = 0; i < n; ++i, term *= ratio)
        distance += std::fabs(limit.distribution[i] - term / total);
    EXPECT_LE(distance, 1e-11) << limit.method();
}

} // namespace
