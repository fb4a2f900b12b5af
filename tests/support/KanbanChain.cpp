#include "support/KanbanChain.h"

#include <array>
#include <sstream>
#include <vector>

namespace testsupport {

namespace {

// Places in state-vector order: per station k = 1..4, Pm k, Pback k, Pkan k, Pout k.
constexpr int numPlaces = 16;
using Marking = std::array<int, numPlaces>;
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
// one from each input and puts one in each output, at a constant rate.
struct Transition {
    double rate;
    std::vector<int> in, out;
};

// The transitions in the models' activity order, which numbers the states.
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

} // namespace

KanbanChain::KanbanChain(int cards) {
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
        initial[Pkan(k)] = cards;
    chain = enumerateChain(initial, successors, reached);
    var = records.str();
}

std::string KanbanChain::pvtype() {
    std::string text = "Version:1\nNumPV:5\n";
    for (const char* name : {"wip1", "wip2", "wip3", "wip4", "free_kanbans"})
        text += std::string("Name:") + name + "\nType:0\nNumTimes:1\nStart:10\nStop:10\n";
    return text;
}

} // namespace testsupport
