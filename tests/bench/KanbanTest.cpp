// gen-kanban_hand, the benchmark's kanban model, from end to end: the whole .arm,
// .var and .pvtype files of N = 1 and 2 against the breadth-first enumeration of
// the kanban net in the test support, independently of the model classes and of
// the generator, and its state and transition counts against the published ones.

#include "support/KanbanChain.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Kanban, SmallExperimentsGiveTheEnumeratedFilesAndThePublishedCounts) {
    struct Case {
        int n;
        long states, transitions; // published
    };
    for (Case c : {Case{1, 160, 616}, Case{2, 4600, 28120}}) {
        SCOPED_TRACE("N = " + std::to_string(c.n));
        const testsupport::KanbanChain chain(c.n);
        EXPECT_EQ(chain.chain.states(), c.states);
        EXPECT_EQ(chain.chain.transitions(), c.transitions);
        testsupport::expectGenerates({"gen-kanban_hand", "kanban"}, c.n - 1, chain.expectedRun());
    }
}

} // namespace
