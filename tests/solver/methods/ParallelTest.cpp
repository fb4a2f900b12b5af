// The thread pool: every row visited once, sums that do not depend on the number
// of threads, a thread held back leaving its work to the others, a task's
// exception reaching the caller, and jobs handed to workers and awaited whether
// the threads were spinning or asleep.

#include "methods/Parallel.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using gensolver::Parallel;

TEST(ParallelTest, EveryRowIsVisitedOnceWhateverTheThreadsAndLengths) {
    for (unsigned threads : {1u, 2u, 3u, 7u}) {
        Parallel pool(threads);
        EXPECT_EQ(pool.threads(), threads);
        for (std::uint64_t n : {std::uint64_t{0}, std::uint64_t{1}, Parallel::kChunk - 1,
                                Parallel::kChunk, 5 * Parallel::kChunk + 17}) {
            std::vector<int> hits(n, 0);
            pool.forEach(n, [&](std::uint64_t begin, std::uint64_t end) {
                ASSERT_LE(end - begin, Parallel::kChunk);
                for (std::uint64_t i = begin; i < end; ++i)
                    ++hits[i];
            });
            for (std::uint64_t i = 0; i < n; ++i)
                ASSERT_EQ(hits[i], 1)
                    << "row " << i << " of " << n << ", " << threads << " threads";
        }
    }
}

TEST(ParallelTest, SumsAreBitIdenticalForAnyNumberOfThreadsAndRepeatable) {
    // Terms of very different magnitudes, so that a different order of addition
    // would change the rounded sum.
    const std::uint64_t n = 9 * Parallel::kChunk + 123;
    std::vector<double> terms(n);
    for (std::uint64_t i = 0; i < n; ++i)
        terms[i] =
            std::ldexp(1.0 + 1e-3 * static_cast<double>(i % 97), static_cast<int>(i % 61) - 30);
    auto body = [&](std::uint64_t begin, std::uint64_t end) {
        double s = 0.0;
        for (std::uint64_t i = begin; i < end; ++i)
            s += terms[i];
        return s;
    };
    // The sum as the pool defines it, formed here chunk by chunk.
    double expected = 0.0;
    for (std::uint64_t c = 0; c < Parallel::chunks(n); ++c)
        expected += body(c * Parallel::kChunk, std::min(n, (c + 1) * Parallel::kChunk));
    for (unsigned threads : {1u, 2u, 4u, 5u}) {
        Parallel pool(threads);
        for (int repeat = 0; repeat < 3; ++repeat)
            EXPECT_EQ(pool.sum(n, body), expected) << threads << " threads";
    }
}

TEST(ParallelTest, EveryPartRunsOnceAndErrorsReachTheCaller) {
    Parallel pool(3);
    std::vector<std::uint64_t> seen(10, 99);
    pool.forParts(10, [&](std::uint64_t part) { seen[part] = part; });
    for (std::uint64_t p = 0; p < 10; ++p)
        EXPECT_EQ(seen[p], p);
    EXPECT_THROW(pool.forParts(6,
                               [](std::uint64_t part) {
                                   if (part == 4)
                                       throw std::runtime_error("part 4");
                               }),
                 std::runtime_error);
    // The pool still works after a failed job.
    int done = 0;
    pool.forParts(1, [&](std::uint64_t) { ++done; });
    EXPECT_EQ(done, 1);
}

TEST(ParallelTest, AThreadHeldBackLeavesTheOtherPartsToTheOthers) {
    // The thread running part 0 waits until the nine other parts are done. Shares
    // fixed per thread would leave some of them behind part 0 and the wait would
    // time out; claimed one at a time, the other thread runs them all.
    Parallel pool(2);
    constexpr int parts = 10;
    std::atomic<int> done{0};
    bool othersDone = false;
    pool.forParts(parts, [&](std::uint64_t part) {
        if (part == 0) {
            for (int i = 0; i < 5000 && done.load() < parts - 1; ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            othersDone = done.load() == parts - 1;
        }
        ++done;
    });
    EXPECT_TRUE(othersDone);
    EXPECT_EQ(done.load(), parts);
}

TEST(ParallelTest, JobsRunWhetherTheThreadsSpinOrSleepBetweenThem) {
    // Gaps between jobs from none (the workers still spin) to well past the
    // spin (they sleep), and parts that keep the caller or a worker busy past
    // it (the caller or the worker sleeps for the end of the job): every part
    // runs once in every job, and pools torn down right after a job or after a
    // pause end.
    for (unsigned threads : {2u, 3u}) {
        Parallel pool(threads);
        std::vector<int> hits(8, 0);
        int jobs = 0;
        for (const int gapMicroseconds : {0, 0, 20, 200, 5000, 0, 30000, 0}) {
            for (const bool slowPart : {false, true}) {
                std::this_thread::sleep_for(std::chrono::microseconds(gapMicroseconds));
                pool.forParts(hits.size(), [&](std::uint64_t part) {
                    if (slowPart && part == 3)
                        std::this_thread::sleep_for(std::chrono::milliseconds(3));
                    ++hits[part];
                });
                ++jobs;
                for (std::size_t p = 0; p < hits.size(); ++p)
                    ASSERT_EQ(hits[p], jobs) << "part " << p << ", " << threads << " threads";
            }
        }
    }
    for (const int pauseMilliseconds : {0, 20}) {
        Parallel pool(2);
        std::atomic<int> done{0};
        pool.forParts(4, [&](std::uint64_t) { ++done; });
        std::this_thread::sleep_for(std::chrono::milliseconds(pauseMilliseconds));
        EXPECT_EQ(done.load(), 4);
    }
}

TEST(ParallelTest, TheSharedPoolTakesTheNumberOfThreadsSet) {
    gensolver::setSharedThreads(2);
    EXPECT_EQ(gensolver::sharedPool().threads(), 2u);
    gensolver::setSharedThreads(1);
    EXPECT_EQ(gensolver::sharedPool().threads(), 1u);
    gensolver::setSharedThreads(0);
    EXPECT_GE(gensolver::sharedPool().threads(), 1u);
}

} // namespace
