// The flexible kanban manufacturing system of the CTMC benchmark literature
// (Ciardo and Tilgner: four stations, N kanban cards each) end to end. Expected
// files come from the test support's enumeration of the chain as a plain Petri
// net, independently of the model file, the model language and the generator;
// the enumeration's own state and transition counts are held to the published
// ones.

#include "support/KanbanChain.h"
#include "support/ReferenceChain.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// Published state and off-diagonal transition counts for N = 1 .. 6.
struct Published {
    int n;
    long states, transitions;
};
constexpr Published published[] = {
    {1, 160, 616},           {2, 4'600, 28'120},         {3, 58'400, 446'400},
    {4, 454'475, 3'979'850}, {5, 2'546'432, 24'460'016}, {6, 11'261'376, 115'708'992}};

} // namespace

TEST(Kanban, EnumerationGivesThePublishedCounts) {
    for (const Published& p : published) {
        if (p.n > 3)
            break; // N = 4 .. 6 take seconds to minutes: see the benchmark
        SCOPED_TRACE("N = " + std::to_string(p.n));
        const testsupport::KanbanChain chain(p.n);
        EXPECT_EQ(chain.chain.states(), p.states);
        EXPECT_EQ(chain.chain.transitions(), p.transitions);
    }
}

TEST(Kanban, SmallExperimentsGiveTheEnumeratedFiles) {
    for (int n = 1; n <= 2; ++n) {
        SCOPED_TRACE("N = " + std::to_string(n));
        const testsupport::ModelRun r = testsupport::expectGenerates(
            {"gen-kanban", "kb"}, n - 1, testsupport::KanbanChain(n).expectedRun());
        EXPECT_EQ(r.result.err, "");
        EXPECT_NE(r.result.out.find("N\tint\t" + std::to_string(n) + "\n"), std::string::npos);
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
