// The flexible kanban manufacturing system of the CTMC benchmark literature
// (Ciardo and Tilgner: four stations, N kanban cards each) end to end. Expected
// files come from an enumeration of the chain written here as a plain Petri net,
// independently of the model file, the model language and the generator; the
// enumeration's own state and transition counts are held to the published ones.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <iomanip>
#include <map>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

// Places in state-vector order: per station k = 1..4, Pm k, Pback k, Pkan k, Pout k.
constexpr int numPlaces = 16;
constexpr int Pm(int k) { return 4 * (k - 1); }
constexpr int Pback(int k) { return 4 * (k - 1) + 1; }
constexpr int Pkan(int k) { return 4 * (k - 1) + 2; }
constexpr int Pout(int k) { return 4 * (k - 1) + 3; }

// A transition of the net: enabled when every input place holds a token; takes
// one from each input and puts one in each output.
struct Transition {
    double rate;
    std::vector<int> in, out;
};

// The transitions in the model's activity order, which numbers the states.
std::vector<Transition> kanbanNet() {
    std::vector<Transition> t{{1.0, {Pkan(1)}, {Pm(1)}}}; // tin1
    for (int k = 1; k <= 4; ++k) {
        t.push_back({0.36, {Pm(k)}, {Pback(k)}}); // tredo k
        t.push_back({0.84, {Pm(k)}, {Pout(k)}});  // tok k
        t.push_back({0.3, {Pback(k)}, {Pm(k)}});  // tback k
    }
    t.push_back({0.4, {Pout(1), Pkan(2), Pkan(3)}, {Pkan(1), Pm(2), Pm(3)}}); // tsynch1_23
    t.push_back({0.5, {Pout(2), Pout(3), Pkan(4)}, {Pkan(2), Pkan(3), Pm(4)}}); // tsynch23_4
    t.push_back({0.9, {Pout(4)}, {Pkan(4)}});                                   // tout4
    return t;
}

// The chain for N cards, enumerated breadth-first, and the files it gives.
struct Chain {
    long states = 0;
    long transitions = 0; // off-diagonal entries of the rate matrix
    std::string arm, var;

    Chain(int n, bool withFiles) {
        using Marking = std::array<int, numPlaces>;
        // Markings never exceed N <= 15, so four bits per place make a key.
        auto key = [](const Marking& m) {
            std::uint64_t k = 0;
            for (int p : m)
                k = k << 4 | static_cast<std::uint64_t>(p);
            return k;
        };
        const std::vector<Transition> net = kanbanNet();
        std::unordered_map<std::uint64_t, long> number;
        std::vector<Marking> order;
        std::ostringstream armRows, var;
        armRows << std::scientific << std::setprecision(10);
        var << "wip1\nwip2\nwip3\nwip4\nfree_kanbans\n";
        auto numberOf = [&](const Marking& m) {
            auto [it, isNew] = number.emplace(key(m), static_cast<long>(order.size()) + 1);
            if (isNew) {
                order.push_back(m);
                if (withFiles) {
                    var << it->second << '\n';
                    for (int k = 1; k <= 4; ++k)
                        var << "0\n" << m[Pm(k)] + m[Pback(k)] + m[Pout(k)] << '\n';
                    var << "0\n" << m[Pkan(1)] + m[Pkan(2)] + m[Pkan(3)] + m[Pkan(4)] << '\n';
                }
            }
            return it->second;
        };
        Marking initial{};
        for (int k = 1; k <= 4; ++k)
            initial[Pkan(k)] = n;
        numberOf(initial);
        for (std::size_t i = 0; i < order.size(); ++i) {
            std::map<long, double> row;
            for (const Transition& t : net) {
                Marking m = order[i];
                bool enabled = true;
                for (int p : t.in)
                    enabled = enabled && m[p]-- > 0;
                if (!enabled)
                    continue;
                for (int p : t.out)
                    ++m[p];
                row[numberOf(m)] += t.rate;
            }
            transitions += static_cast<long>(row.size());
            if (withFiles) {
                armRows << i + 1 << '\n';
                for (const auto& [target, rate] : row)
                    armRows << target << '\n' << rate << '\n';
                armRows << "0\n";
            }
        }
        states = static_cast<long>(order.size());
        arm = testsupport::armHeader(static_cast<int>(states)) + armRows.str();
        this->var = var.str();
    }
};

// Published state and off-diagonal transition counts for N = 1 .. 6.
struct Published {
    int n;
    long states, transitions;
};
constexpr Published published[] = {{1, 160, 616},
                                   {2, 4'600, 28'120},
                                   {3, 58'400, 446'400},
                                   {4, 454'475, 3'979'850},
                                   {5, 2'546'432, 24'460'016},
                                   {6, 11'261'376, 115'708'992}};

// Every variable is observed at t = 10 (instant of time).
std::string pvtype() {
    std::string text = "Version:1\nNumPV:5\n";
    for (const char* name : {"wip1", "wip2", "wip3", "wip4", "free_kanbans"})
        text += std::string("Name:") + name + "\nType:0\nNumTimes:1\nStart:10\nStop:10\n";
    return text;
}

// The count on the second line of an .arm file and the number of row entries.
std::pair<long, long> armCounts(const std::string& arm) {
    std::istringstream in(arm);
    std::string line;
    std::getline(in, line);
    std::getline(in, line);
    const long states = std::stol(line);
    std::getline(in, line);
    long entries = 0;
    while (std::getline(in, line)) { // a row: its number, (target, rate) pairs, 0
        while (std::getline(in, line) && line != "0") {
            std::getline(in, line);
            ++entries;
        }
    }
    return {states, entries};
}

} // namespace

TEST(Kanban, EnumerationGivesThePublishedCounts) {
    for (const Published& p : published) {
        if (p.n > 3)
            break; // N = 4 .. 6 take seconds to minutes: see the benchmark
        SCOPED_TRACE("N = " + std::to_string(p.n));
        const Chain chain(p.n, false);
        EXPECT_EQ(chain.states, p.states);
        EXPECT_EQ(chain.transitions, p.transitions);
    }
}

TEST(Kanban, SmallExperimentsGiveTheEnumeratedFiles) {
    for (int n = 1; n <= 2; ++n) {
        SCOPED_TRACE("N = " + std::to_string(n));
        testsupport::TempDir dir;
        const testsupport::ModelRun r = testsupport::runModel("gen-kanban", dir, "kb", n - 1);
        ASSERT_EQ(r.result.status, 0) << r.result.err;
        EXPECT_EQ(r.result.err, "");
        EXPECT_NE(r.result.out.find("N\tint\t" + std::to_string(n) + "\n"), std::string::npos);
        const Chain chain(n, true);
        EXPECT_EQ(r.arm, chain.arm);
        EXPECT_EQ(r.var, chain.var);
        EXPECT_EQ(r.pvtype, pvtype());
        EXPECT_EQ(r.det, "");
    }
}

TEST(Kanban, ThreeCardsGiveThePublishedCounts) {
    testsupport::TempDir dir;
    const testsupport::ModelRun r = testsupport::runModel("gen-kanban", dir, "kb", 2);
    ASSERT_EQ(r.result.status, 0) << r.result.err;
    const auto [states, entries] = armCounts(r.arm);
    EXPECT_EQ(states, published[2].states);
    EXPECT_EQ(entries, published[2].transitions);
}
