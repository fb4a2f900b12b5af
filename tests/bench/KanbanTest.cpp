// gen-kanban_hand, the benchmark's kanban model, from end to end: the whole .arm,
// .var and .pvtype files of N = 1 and 2 against a breadth-first enumeration of
// the kanban chain written here from the model's definition, independently of
// the model classes and of the generator, and its state and transition counts
// against the published ones.

#include "support/ReferenceChain.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>
#include <string>
#include <vector>

using testsupport::runModel;
using testsupport::TempDir;

namespace {

// Markings in state-vector order: per station Pm, Pback, Pkan, Pout.
using Marking = std::array<int, 16>;
constexpr int Pm = 0, Pback = 1, Pkan = 2, Pout = 3;
int at(int station, int place) {
    return 4 * station + place;
}

// One transition of the definition: the places it takes a token from and
// gives one to, at a constant rate.
struct Transition {
    double rate;
    std::vector<int> in, out;
};

std::vector<Transition> transitions() {
    std::vector<Transition> t = {{1.0, {at(0, Pkan)}, {at(0, Pm)}}};
    for (int i = 0; i < 4; ++i) {
        t.push_back({0.36, {at(i, Pm)}, {at(i, Pback)}});
        t.push_back({0.84, {at(i, Pm)}, {at(i, Pout)}});
        t.push_back({0.3, {at(i, Pback)}, {at(i, Pm)}});
    }
    t.push_back(
        {0.4, {at(0, Pout), at(1, Pkan), at(2, Pkan)}, {at(0, Pkan), at(1, Pm), at(2, Pm)}});
    t.push_back(
        {0.5, {at(1, Pout), at(2, Pout), at(3, Pkan)}, {at(1, Pkan), at(2, Pkan), at(3, Pm)}});
    t.push_back({0.9, {at(3, Pout)}, {at(3, Pkan)}});
    return t;
}

// The chain and the .var file written as the generator writes it.
struct KanbanChain {
    testsupport::ReferenceChain chain;
    std::string var;

    explicit KanbanChain(int n) {
        const std::vector<Transition> net = transitions();
        auto successors = [&net](const Marking& state, long, auto&& emit) {
            for (const Transition& t : net) {
                bool enabled = true;
                for (int p : t.in)
                    enabled = enabled && state[p] > 0;
                if (!enabled)
                    continue;
                Marking m = state;
                for (int p : t.in)
                    --m[p];
                for (int p : t.out)
                    ++m[p];
                emit(m, t.rate);
            }
        };
        std::ostringstream records;
        records << "wip1\nwip2\nwip3\nwip4\nfree_kanbans\n";
        auto reached = [&records](const Marking& m, long number, double) {
            records << number << '\n';
            for (int i = 0; i < 4; ++i)
                records << "0\n" << m[at(i, Pm)] + m[at(i, Pback)] + m[at(i, Pout)] << '\n';
            records << "0\n"
                    << m[at(0, Pkan)] + m[at(1, Pkan)] + m[at(2, Pkan)] + m[at(3, Pkan)] << '\n';
        };
        Marking initial{};
        for (int i = 0; i < 4; ++i)
            initial[at(i, Pkan)] = n;
        chain = testsupport::enumerateChain(initial, successors, reached);
        var = records.str();
    }
};

TEST(Kanban, SmallExperimentsGiveTheEnumeratedFilesAndThePublishedCounts) {
    struct Case {
        int n;
        long states, transitions; // published
    };
    for (Case c : {Case{1, 160, 616}, Case{2, 4600, 28120}}) {
        SCOPED_TRACE("N = " + std::to_string(c.n));
        KanbanChain chain(c.n);
        EXPECT_EQ(chain.chain.states(), c.states);
        EXPECT_EQ(chain.chain.transitions(), c.transitions);
        TempDir dir;
        testsupport::ModelRun r = runModel("gen-kanban_hand", dir, "kanban", c.n - 1);
        ASSERT_EQ(r.result.status, 0) << r.result.err;
        EXPECT_TRUE(r.arm == chain.chain.arm());
        EXPECT_TRUE(r.var == chain.var);
        std::string pvtype = "Version:1\nNumPV:5\n";
        for (const char* name : {"wip1", "wip2", "wip3", "wip4", "free_kanbans"})
            pvtype += std::string("Name:") + name + "\nType:0\nNumTimes:1\nStart:10\nStop:10\n";
        EXPECT_EQ(r.pvtype, pvtype);
    }
}

} // namespace
