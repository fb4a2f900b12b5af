// The flexible kanban manufacturing system of the CTMC benchmark literature
// (Ciardo and Tilgner: four stations, N kanban cards each) end to end. Expected
// files come from an enumeration of the chain written here as a plain Petri net,
// independently of the model file, the model language and the generator; the
// enumeration's own state and transition counts are held to the published ones.

#include "support/ReferenceChain.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>
#include <string>
#include <vector>

namespace {

// Places in state-vector order: per station k = 1..4, Pm k, Pback k, Pkan k, Pout k.
constexpr int numPlaces = 16;
constexpr int Pm(int k) {
    return 4 * (k - 1);
}
constexpr int Pback(int k) {
    return 4 * (k - 1) + 1;
}
constexpr int Pkan(int k) {
    return 4 * (k - 1) + 2;
}
constexpr int Pout(int k) {
    return 4 * (k - 1) + 3;
}

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
    t.push_back({0.4, {Pout(1), Pkan(2), Pkan(3)}, {Pkan(1), Pm(2), Pm(3)}});   // tsynch1_23
    t.push_back({0.5, {Pout(2), Pout(3), Pkan(4)}, {Pkan(2), Pkan(3), Pm(4)}}); // tsynch23_4
    t.push_back({0.9, {Pout(4)}, {Pkan(4)}});                                   // tout4
    return t;
}

// The chain for N cards and the .var file it gives.
struct Chain {
    testsupport::ReferenceChain chain;
    std::string var;

    explicit Chain(int n) {
        using Marking = std::array<int, numPlaces>;
        const std::vector<Transition> net = kanbanNet();
        auto successors = [&net](const Marking& state, long, auto&& emit) {
            for (const Transition& t : net) {
                Marking m = state;
                bool enabled = true;
                for (int p : t.in)
                    enabled = enabled && m[p]-- > 0;
                if (!enabled)
                    continue;
                for (int p : t.out)
                    ++m[p];
                emit(m, t.rate);
            }
        };
        std::ostringstream records;
        records << "wip1\nwip2\nwip3\nwip4\nfree_kanbans\n";
        auto reached = [&records](const Marking& m, long number, double) {
            records << number << '\n';
            for (int k = 1; k <= 4; ++k)
                records << "0\n" << m[Pm(k)] + m[Pback(k)] + m[Pout(k)] << '\n';
            records << "0\n" << m[Pkan(1)] + m[Pkan(2)] + m[Pkan(3)] + m[Pkan(4)] << '\n';
        };
        Marking initial{};
        for (int k = 1; k <= 4; ++k)
            initial[Pkan(k)] = n;
        chain = testsupport::enumerateChain(initial, successors, reached);
        var = records.str();
    }
};

// Published state and off-diagonal transition counts for N = 1 .. 6.
struct Published {
    int n;
    long states, transitions;
};
constexpr Published published[] = {
    {1, 160, 616},           {2, 4'600, 28'120},         {3, 58'400, 446'400},
    {4, 454'475, 3'979'850}, {5, 2'546'432, 24'460'016}, {6, 11'261'376, 115'708'992}};

// Every variable is observed at t = 10 (instant of time).
std::string pvtype() {
    std::string text = "Version:1\nNumPV:5\n";
    for (const char* name : {"wip1", "wip2", "wip3", "wip4", "free_kanbans"})
        text += std::string("Name:") + name + "\nType:0\nNumTimes:1\nStart:10\nStop:10\n";
    return text;
}

} // namespace

TEST(Kanban, EnumerationGivesThePublishedCounts) {
    for (const Published& p : published) {
        if (p.n > 3)
            break; // N = 4 .. 6 take seconds to minutes: see the benchmark
        SCOPED_TRACE("N = " + std::to_string(p.n));
        const Chain chain(p.n);
        EXPECT_EQ(chain.chain.states(), p.states);
        EXPECT_EQ(chain.chain.transitions(), p.transitions);
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
        const Chain chain(n);
        EXPECT_EQ(r.arm, chain.chain.arm());
        EXPECT_EQ(r.var, chain.var);
        EXPECT_EQ(r.pvtype, pvtype());
        EXPECT_EQ(r.det, "");
    }
}

TEST(Kanban, ThreeCardsGiveThePublishedCounts) {
    testsupport::TempDir dir;
    const testsupport::ModelRun r = testsupport::runModel("gen-kanban", dir, "kb", 2);
    ASSERT_EQ(r.result.status, 0) << r.result.err;
    const testsupport::ArmFile arm = testsupport::parseArm(r.arm);
    EXPECT_EQ(arm.states, published[2].states);
    EXPECT_EQ(arm.transitions(), published[2].transitions);
}
