// The binary row form read back: the matrix and rewards of a hand-written
// three-state run split over two parts, and the faults that must stop gen-solve
// with one line naming the file (a missing, unfinished, truncated or foreign
// part, a row in two parts, a row in none).
//
// The chain: 1 -> 2 (rate 2), 1 -> 3 (rate 1), 2 -> 1 (rate 4), 3 -> 3
// (self-loop, rate 5), 3 -> 1 (rate 0.5); one variable with rate rewards 0, 1,
// 2 and the impulse 3 on entering state 2.

#include "output/PartWriter.h"
#include "read/InputError.h"
#include "read/ModelReader.h"
#include "read/PartReader.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <fstream>
#include <string>
#include <vector>

namespace {

using gensolver::InputError;
using gensolver::Model;
using gensolver::readModelFromParts;
using testsupport::readFile;
using testsupport::TempDir;

constexpr std::uint64_t kRun = 42;

void writePvType(const std::string& stem) {
    std::ofstream(stem + ".pvtype")
        << "Version:1\nNumPV:1\nName:v\nType:0\nNumTimes:1\nStart:1\nStop:1\n";
}

// Part 0 holds states 1 and 3, part 1 state 2 (a hash-partitioned explorer's shape).
void writeRun(const std::string& stem, std::uint64_t secondRun = kRun, bool finishSecond = true) {
    writePvType(stem);
    {
        PartWriter w;
        w.open(stem, 0, 2, 1, kRun);
        const std::uint32_t t1[] = {2, 3};
        const double r1[] = {2.0, 1.0};
        w.row(1, t1, r1, 2);
        const std::uint32_t t3[] = {1, 3};
        const double r3[] = {0.5, 5.0};
        w.row(3, t3, r3, 2);
        const double rec1[] = {0.0, 0.0}, rec3[] = {0.0, 2.0};
        w.record(1, rec1);
        w.record(3, rec3);
        w.finish(3);
    }
    PartWriter w;
    w.open(stem, 1, 2, 1, secondRun);
    const std::uint32_t t2[] = {1};
    const double r2[] = {4.0};
    w.row(2, t2, r2, 1);
    const double rec2[] = {3.0, 1.0};
    w.record(2, rec2);
    if (finishSecond)
        w.finish(3);
}

// The one line gen-solve would print, or "" when the read succeeds.
std::string readFault(const std::string& stem) {
    try {
        readModelFromParts(stem);
    } catch (const InputError& e) {
        return e.what();
    }
    return "";
}

TEST(PartsModelTest, ReadsTheChainAndRewardsOfAllParts) {
    TempDir dir;
    const std::string stem = dir.path() + "m";
    writeRun(stem);
    const Model m = readModelFromParts(stem);
    ASSERT_EQ(m.matrix.states(), 3u);
    // By target, self-loops left out: into 1 from 2 (4) and 3 (0.5); into 2 from
    // 1 (2); into 3 from 1 (1).
    EXPECT_EQ(m.matrix.transitions(), 4u);
    EXPECT_EQ(m.matrix.start, (std::vector<std::uint64_t>{0, 2, 3, 4}));
    // Within a target, ascending sources as the text .arm gives them, though
    // part 0 holds state 3 and part 1 state 2: the sums run in the text's order.
    EXPECT_EQ(m.matrix.source, (gensolver::UninitializedVector<std::uint32_t>{1, 2, 0, 0}));
    EXPECT_EQ(m.matrix.rate, (gensolver::UninitializedVector<double>{4.0, 0.5, 2.0, 1.0}));
    EXPECT_EQ(m.matrix.exitRate, (std::vector<double>{3.0, 4.0, 0.5}));
    ASSERT_EQ(m.rewards.size(), 1u);
    EXPECT_EQ(m.rewards[0].rate, (std::vector<double>{0.0, 1.0, 2.0}));
    // First-entry impulse rates: state 1 earns 2 x 3 on 1 -> 2, no other.
    EXPECT_EQ(m.rewards[0].impulseRate, (std::vector<double>{6.0, 0.0, 0.0}));
}

// Expects the read to fail with a message that names `file` and says `what`.
void expectFault(const std::string& stem, const std::string& file, const std::string& what) {
    const std::string fault = readFault(stem);
    EXPECT_NE(fault.find(file), std::string::npos) << fault;
    EXPECT_NE(fault.find(what), std::string::npos) << fault;
    EXPECT_EQ(fault.find('\n'), std::string::npos) << fault;
}

TEST(PartsModelTest, RefusesBrokenSetsNamingThePart) {
    TempDir dir;
    const std::string stem = dir.path() + "m";
    const std::string part0 = stem + ".rows.0", part1 = stem + ".rows.1";

    writeRun(stem);
    std::remove(part1.c_str());
    expectFault(stem, part1, "cannot open");

    writeRun(stem, kRun + 1);
    expectFault(stem, part1, "another run");

    writeRun(stem, kRun, false);
    expectFault(stem, part1, "unfinished");

    // Truncated: the last bytes of part 0 cut off, or the part cut inside a row.
    writeRun(stem);
    const std::string whole = readFile(part0);
    std::ofstream(part0, std::ios::binary | std::ios::trunc) << whole.substr(0, whole.size() - 5);
    expectFault(stem, part0, "truncated");
    std::ofstream(part0, std::ios::binary | std::ios::trunc) << whole.substr(0, 60);
    expectFault(stem, part0, "truncated");
    std::ofstream(part0, std::ios::binary | std::ios::trunc) << whole.substr(0, 20);
    expectFault(stem, part0, "truncated");

    // State 2's row in both parts, or in none.
    writeRun(stem);
    {
        PartWriter w;
        w.open(stem, 1, 2, 1, kRun);
        const std::uint32_t t[] = {1};
        const double r[] = {4.0};
        w.row(1, t, r, 1);
        w.row(2, t, r, 1);
        const double rec2[] = {3.0, 1.0};
        w.record(2, rec2);
        w.finish(3);
    }
    expectFault(stem, part1, "second row of state 1");
    {
        PartWriter w;
        w.open(stem, 1, 2, 1, kRun);
        const double rec2[] = {3.0, 1.0};
        w.record(2, rec2);
        w.finish(3);
    }
    expectFault(stem, part0, "no part holds the row of state 2");

    // A count that the bytes cannot back up fails before anything is allocated for it.
    {
        std::remove(part1.c_str());
        PartWriter w;
        w.open(stem, 0, 1, 1, kRun);
        w.finish(4000000000u);
    }
    expectFault(stem, part0, "more than");

    // Not a part at all. A refused header closes its file: a process that reads
    // many (a study, the fuzzer) would otherwise run out of descriptors.
    std::ofstream(part0, std::ios::binary | std::ios::trunc) << std::string(80, 'x');
    expectFault(stem, part0, "not a binary row part");
    auto openFiles = [] {
        const std::filesystem::directory_iterator fds("/proc/self/fd");
        return std::distance(std::filesystem::begin(fds), std::filesystem::end(fds));
    };
    const auto before = openFiles();
    for (int k = 0; k < 50; ++k)
        EXPECT_THROW(gensolver::PartReader reader(part0), InputError);
    EXPECT_EQ(openFiles(), before);
}

} // namespace

namespace {

// A process of a distributed solve reads the rows of its own range only: rows
// outside it come without transitions and unchecked (a bad target there goes
// unnoticed), and the entries after a skipped row, the records and the trailer
// are read as before.
TEST(PartsModelTest, PassesOverRowsOutsideTheRangeKept) {
    TempDir dir;
    const std::string stem = dir.path() + "m";
    writePvType(stem);
    {
        PartWriter w;
        w.open(stem, 0, 1, 1, kRun);
        const std::uint32_t bad[] = {0, 7};
        const double r1[] = {2.0, 1.0};
        w.row(1, bad, r1, 2);
        const std::uint32_t t2[] = {1};
        const double r2[] = {4.0};
        w.row(2, t2, r2, 1);
        const double rec1[] = {0.0, 0.5}, rec2[] = {3.0, 1.0};
        w.record(1, rec1);
        w.record(2, rec2);
        w.finish(2);
    }
    gensolver::PartReader part(stem + ".rows.0");
    gensolver::PartEntry e;
    part.skipRowsOutside(2, 2);
    ASSERT_TRUE(part.next(e));
    EXPECT_TRUE(e.isRow);
    EXPECT_EQ(e.state, 1u);
    EXPECT_EQ(e.count, 0u);
    ASSERT_TRUE(part.next(e));
    EXPECT_EQ(e.state, 2u);
    ASSERT_EQ(e.count, 1u);
    EXPECT_EQ(e.targets[0], 1u);
    EXPECT_EQ(e.values[0], 4.0);
    ASSERT_TRUE(part.next(e));
    EXPECT_FALSE(e.isRow);
    EXPECT_EQ(e.values[1], 0.5);
    ASSERT_TRUE(part.next(e));
    EXPECT_EQ(e.values[0], 3.0);
    EXPECT_FALSE(part.next(e));

    part.rewind();
    part.skipRowsOutside(1, 2);
    EXPECT_THROW(part.next(e), InputError);
}

// The reader takes the file in blocks of a megabyte: rows that cross a block's
// end, a row longer than a block and rows passed over across blocks must come
// back as written.
TEST(PartsModelTest, RowsAcrossTheReadBlocksComeBackWhole) {
    TempDir dir;
    const std::string stem = dir.path() + "big";
    const std::uint32_t states = 110000;
    const std::uint32_t longRow = 777; // 100,000 transitions: 1.2 MB alone
    // Row s: targets s + 1, s + 2, ... (wrapped, then sorted), rates that the
    // writer's rounding to ten digits keeps.
    auto rowOf = [&](std::uint32_t s, std::vector<std::uint32_t>& targets,
                     std::vector<double>& rates) {
        const std::uint32_t count = s == longRow ? 100000 : 1 + (s * 7919u) % 9;
        targets.clear();
        rates.clear();
        for (std::uint32_t k = 0; k < count; ++k) {
            targets.push_back(1 + (s + k) % states);
        }
        std::sort(targets.begin(), targets.end());
        for (std::uint32_t k = 0; k < count; ++k)
            rates.push_back(1 + s % 97 + (k % 8) / 8.0);
    };
    std::vector<std::uint32_t> targets;
    std::vector<double> rates;
    {
        PartWriter w;
        w.open(stem, 0, 1, 1, kRun);
        for (std::uint32_t s = 1; s <= states; ++s) {
            rowOf(s, targets, rates);
            w.row(s, targets.data(), rates.data(), static_cast<std::uint32_t>(targets.size()));
        }
        for (std::uint32_t s = 1; s <= states; ++s) {
            const double rec[] = {0.0, s * 0.5};
            w.record(s, rec);
        }
        w.finish(states);
    }
    gensolver::PartReader part(stem + ".rows.0");
    ASSERT_GT(part.bytes(), 4u << 20);
    for (const bool skipping : {false, true}) {
        SCOPED_TRACE(skipping ? "rows 50,000 to 60,000 kept" : "every row kept");
        part.rewind();
        if (skipping)
            part.skipRowsOutside(50000, 60000);
        gensolver::PartEntry e;
        for (std::uint32_t s = 1; s <= states; ++s) {
            ASSERT_TRUE(part.next(e));
            ASSERT_TRUE(e.isRow);
            ASSERT_EQ(e.state, s);
            if (skipping && (s < 50000 || s > 60000)) {
                ASSERT_EQ(e.count, 0u);
                continue;
            }
            rowOf(s, targets, rates);
            ASSERT_EQ(e.count, targets.size()) << s;
            for (std::uint32_t k = 0; k < e.count; ++k) {
                ASSERT_EQ(e.targets[k], targets[k]) << s;
                ASSERT_EQ(e.values[k], rates[k]) << s;
            }
        }
        for (std::uint32_t s = 1; s <= states; ++s) {
            ASSERT_TRUE(part.next(e));
            ASSERT_FALSE(e.isRow);
            ASSERT_EQ(e.values[1], s * 0.5);
        }
        EXPECT_FALSE(part.next(e));
    }
}

} // namespace
