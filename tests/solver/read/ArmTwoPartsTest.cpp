// A large .arm file is read by two threads, each walking about half of the rows.
// Whatever the rows hold, the matrix must be the one a single walk builds, and a
// fault must be reported with the message and line a single walk gives.

#include "methods/Parallel.h"
#include "read/ArmReader.h"
#include "read/InputError.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using gensolver::RateMatrix;
using gensolver::Rewards;

constexpr std::uint64_t kAlwaysTwo = 0;
constexpr std::uint64_t kNeverTwo = std::numeric_limits<std::uint64_t>::max();

// A file of `states` rows of 0 to 5 transitions, self-loops and repeated targets
// among them. With zeroRates, every rate is written "0" or "0.0" by hand, so that
// a row's end is not told from a rate by its text.
std::string armText(std::uint32_t states, bool zeroRates, std::uint32_t seed) {
    std::mt19937 random(seed);
    std::string arm = "1\n" + std::to_string(states) + "\n" + std::string(20, ' ') + "\n";
    for (std::uint32_t s = 1; s <= states; ++s) {
        arm += std::to_string(s) + "\n";
        const unsigned n = random() % 6;
        for (unsigned k = 0; k < n; ++k) {
            const std::uint32_t to = random() % 4 == 0 ? s : 1 + random() % states;
            arm += std::to_string(to) + "\n";
            if (zeroRates)
                arm += random() % 2 ? "0\n" : "0.0\n";
            else
                arm += std::to_string(0.5 + random() % 97) + "e-" + std::to_string(random() % 4) +
                       "\n";
        }
        arm += "0\n";
    }
    return arm;
}

struct Read {
    RateMatrix matrix;
    std::vector<double> impulseRate;
};

Read read(const std::string& path, std::uint32_t states, std::uint64_t twoPartsFrom) {
    std::vector<Rewards> rewards(1);
    rewards[0].hasImpulses = true;
    for (std::uint32_t s = 0; s < states; ++s)
        rewards[0].impulse.push_back(1.0 + s % 7);
    Read r;
    r.matrix = gensolver::readArm(path, states, rewards, {}, twoPartsFrom);
    r.impulseRate = rewards[0].impulseRate;
    return r;
}

TEST(ArmTwoParts, BuildTheMatrixOneWalkBuilds) {
    gensolver::setSharedThreads(2);
    struct Shape {
        std::uint32_t states;
        bool zeroRates;
    };
    // Files of one to many rows; with rates of "0" the guess of where the second
    // part starts can fall on a rate, which the first part's walk must catch.
    for (const Shape shape : {Shape{1, false}, Shape{2, false}, Shape{3, true}, Shape{50, false},
                              Shape{5000, false}, Shape{5000, true}, Shape{20000, true}})
        for (std::uint32_t seed = 1; seed <= 4; ++seed) {
            SCOPED_TRACE(std::to_string(shape.states) + " states, zero rates " +
                         std::to_string(shape.zeroRates) + ", seed " + std::to_string(seed));
            testsupport::TempDir dir;
            const std::string path = dir.path() + "c.arm";
            std::ofstream(path, std::ios::binary) << armText(shape.states, shape.zeroRates, seed);
            const Read one = read(path, shape.states, kNeverTwo);
            const Read two = read(path, shape.states, kAlwaysTwo);
            EXPECT_EQ(one.matrix.start, two.matrix.start);
            EXPECT_EQ(one.matrix.source, two.matrix.source);
            EXPECT_EQ(one.matrix.rate, two.matrix.rate);
            EXPECT_EQ(one.matrix.exitRate, two.matrix.exitRate);
            EXPECT_EQ(one.impulseRate, two.impulseRate);
        }
    gensolver::setSharedThreads(0);
}

std::string replacedAt(std::string text, std::size_t at, const std::string& from,
                       const std::string& to) {
    const std::size_t found = text.find(from, at);
    EXPECT_NE(found, std::string::npos) << from;
    return found == std::string::npos ? text : text.replace(found, from.size(), to);
}

// The message of the fault a read meets ("" when it meets none).
std::string fault(const std::string& path, std::uint32_t states, std::uint64_t twoPartsFrom) {
    try {
        read(path, states, twoPartsFrom);
    } catch (const gensolver::InputError& e) {
        return e.what();
    }
    return "";
}

TEST(ArmTwoParts, ReportEachFaultWithTheLineOneWalkGives) {
    gensolver::setSharedThreads(2);
    const std::uint32_t states = 4000;
    std::string arm = "1\n" + std::to_string(states) + "\n\n";
    for (std::uint32_t s = 1; s <= states; ++s)
        arm += std::to_string(s) + "\n" + std::to_string(1 + s % states) + "\n2.5e-1\n0\n";
    // Text after the last row, and a target beyond the count in the second part.
    std::vector<std::string> faults = {
        arm + "7\n", replacedAt(arm, arm.size() / 2 + 40, "\n2.5e-1", "\n2.5e-1\n4001\n1")};
    // Faults in the first part, just after the middle (in the second part) and at
    // the end.
    for (const std::size_t at : {arm.size() / 4, arm.size() / 2 + 40, arm.size() - 40}) {
        const std::size_t row = arm.find("\n0\n", at) + 3; // a row's first line
        faults.insert(faults.end(), {replacedAt(arm, row, "2.5e-1", "-2.5e-1"),
                                     replacedAt(arm, row, "2.5e-1", "quarter"),
                                     replacedAt(arm, row, "2.5e-1", "inf"),
                                     arm.substr(0, arm.find("2.5e-1", row)), arm.substr(0, row),
                                     arm.substr(0, row) + "1\n" + arm.substr(row),
                                     arm.substr(0, row) + arm.substr(arm.find("\n0\n", row) + 3)});
    }
    for (const std::string& text : faults) {
        testsupport::TempDir dir;
        const std::string path = dir.path() + "c.arm";
        std::ofstream(path, std::ios::binary) << text;
        const std::string one = fault(path, states, kNeverTwo);
        EXPECT_NE(one, "");
        EXPECT_EQ(fault(path, states, kAlwaysTwo), one);
    }
    gensolver::setSharedThreads(0);
}

} // namespace
