#pragma once
// The flexible kanban system of four stations and N cards each, enumerated as a
// plain Petri net from the model's definition, independently of the model
// classes, the model language and the generator. Both kanban models (the
// benchmark's hand-written one and the compiled example) try their activities in
// the net's order, so this one oracle serves the tests of both.

#include "support/ReferenceChain.h"

#include <string>

namespace testsupport {

// The chain of the kanban net and the result files a run of either model writes.
struct KanbanChain {
    ReferenceChain chain; // the reachable states numbered in discovery order
    std::string var;      // the .var file: wip1..wip4 and free_kanbans per new state

    explicit KanbanChain(int cards);

    // The .pvtype file: every variable observed at t = 10 (instant of time).
    static std::string pvtype();
    // What a run of either model's experiment with this many cards should give.
    ExpectedRun expectedRun() const { return chain.expectedRun(var, pvtype()); }
};

} // namespace testsupport
