// The read's fill on two threads: every transition reaches the second thread
// once and in the walk's order, whatever the count against the batches and their
// slots; a fault on either side stops both and reaches the caller, without a
// hang; and a file read on one thread and on two gives the same matrix bit for bit.

#include "methods/Parallel.h"
#include "read/ModelReader.h"
#include "read/WalkBeside.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using gensolver::WalkBeside;

struct Seen {
    std::uint32_t from, to;
    double rate;
};

TEST(WalkBeside, EveryTransitionArrivesOnceInTheWalksOrder) {
    const std::size_t batch = WalkBeside::kBatch;
    const std::size_t all = batch * WalkBeside::kSlots;
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}, batch - 1, batch, batch + 1,
                                    all, 3 * all + 7}) {
        SCOPED_TRACE(count);
        std::vector<Seen> seen;
        WalkBeside::run(
            [&](auto&& entry) {
                for (std::size_t k = 0; k < count; ++k)
                    entry(static_cast<std::uint32_t>(k), static_cast<std::uint32_t>(k * 7 % 1000),
                          0.5 * static_cast<double>(k));
            },
            [&](std::uint32_t from, std::uint32_t to, double rate) {
                seen.push_back({from, to, rate});
            });
        ASSERT_EQ(seen.size(), count);
        for (std::size_t k = 0; k < count; ++k) {
            ASSERT_EQ(seen[k].from, k);
            ASSERT_EQ(seen[k].to, k * 7 % 1000);
            ASSERT_EQ(seen[k].rate, 0.5 * static_cast<double>(k));
        }
    }
}

TEST(WalkBeside, AFaultOnEitherSideStopsBothAndReachesTheCaller) {
    const std::size_t batch = WalkBeside::kBatch;
    // The walk fails part-way: what it handed over before may be applied, and
    // its own exception is the one reported.
    std::size_t applied = 0;
    try {
        WalkBeside::run(
            [&](auto&& entry) {
                for (std::uint32_t k = 0; k < 5 * batch; ++k)
                    entry(k, k, 1.0);
                throw std::runtime_error("the walk failed");
            },
            [&](std::uint32_t, std::uint32_t, double) { ++applied; });
        ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "the walk failed");
    }
    EXPECT_LE(applied, 5 * batch);

    // The second thread fails at its 1000th transition: the walk stops within
    // the batches under way rather than reading to its end, and the second
    // thread's exception is reported.
    std::size_t walked = 0;
    applied = 0;
    try {
        WalkBeside::run(
            [&](auto&& entry) {
                for (std::uint32_t k = 0; k < 1000 * batch; ++k) {
                    ++walked;
                    entry(k, k, 1.0);
                }
            },
            [&](std::uint32_t, std::uint32_t, double) {
                if (++applied == 1000)
                    throw std::runtime_error("the fill failed");
            });
        ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "the fill failed");
    }
    EXPECT_EQ(applied, 1000u);
    EXPECT_LE(walked, (WalkBeside::kSlots + 2) * batch);
}

TEST(WalkBeside, AFileReadOnOneThreadAndOnTwoGivesTheSameMatrix) {
    // 40,000 states with three transitions each: several batches.
    const std::uint32_t states = 40000;
    std::string arm = "1\n" + std::to_string(states) + "\n\n";
    std::string var = "up\n";
    for (std::uint32_t s = 1; s <= states; ++s) {
        arm += std::to_string(s) + "\n";
        for (const std::uint32_t step : {1u, 17u, 4099u}) {
            const std::uint32_t to = 1 + (s + step) % states;
            arm += std::to_string(to) + "\n" + std::to_string(0.25 + (s * step) % 11) + "\n";
        }
        arm += "0\n";
        var += std::to_string(s) + "\n0\n1\n";
    }
    testsupport::TempDir dir;
    std::ofstream(dir.path() + "c.arm", std::ios::binary) << arm;
    std::ofstream(dir.path() + "c.var", std::ios::binary) << var;
    std::ofstream(dir.path() + "c.pvtype")
        << "Version:1\nNumPV:1\nName:up\nType:0\nNumTimes:1\nStart:1\nStop:1\n";

    gensolver::setSharedThreads(1);
    const gensolver::Model one = gensolver::readModel(dir.path() + "c");
    gensolver::setSharedThreads(2);
    const gensolver::Model two = gensolver::readModel(dir.path() + "c");
    gensolver::setSharedThreads(0);
    EXPECT_EQ(one.matrix.transitions(), 3u * states);
    EXPECT_EQ(one.matrix.start, two.matrix.start);
    EXPECT_EQ(one.matrix.source, two.matrix.source);
    EXPECT_EQ(one.matrix.rate, two.matrix.rate);
    EXPECT_EQ(one.matrix.exitRate, two.matrix.exitRate);
}

} // namespace
