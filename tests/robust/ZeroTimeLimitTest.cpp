// The zero-time limit on the path with deterministic activities: at most 23
// successive instantaneous firings after a timed one; the 24th ends the run.

#include "ssg/TestModel.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using testmodel::Marking;
using testmodel::ModelShape;
using testmodel::TestPVModel;
using testsupport::TempDir;

// Place p starts at 0; the deterministic activity `start` (delay 1) sets it to 1,
// then the instantaneous activity `step` counts it up, once per firing, while it
// is at most `last`: `last` successive zero-time firings in all.
ModelShape chain(int last) {
    ModelShape shape;
    shape.places = {{"p", 0}};
    shape.activities = {{.name = "start", .enabled = testmodel::holds(0, 0), .fire = testmodel::put(0, 1),
                        .type = Deterministic, .delay = 1.0},
                       {.name = "step",
                        .enabled = [last](const Marking& m) { return m[0] >= 1 && m[0] <= last; },
                        .fire = testmodel::add(0, 1),
                        .type = Instantaneous}};
    return shape;
}

TEST(ZeroTimeLimitTest, TwentyThreeFiringsAfterADeterministicOneAreTheMost) {
    TestPVModel model(chain(23));
    TempDir dir;
    testmodel::Outcome run = testmodel::runGenerator(&model, dir);
    // State 1 (p = 0) reaches state 2 (p = 24) through `start`, marked by minus its
    // probability; state 2 has nothing enabled.
    EXPECT_EQ(run.arm, testmodel::armHeader(2, 8) + "1\n2\n-1.0000000000e+00\n0\n2\n0\n");
    EXPECT_EQ(run.det, "1\n1.0000000000e+00\n1\n0\n");
    // The 24th firing ends the run.
    EXPECT_EXIT(
        {
            TestPVModel longer(chain(24));
            testmodel::runGenerator(&longer, dir);
        },
        testing::ExitedWithCode(1),
        "^Error:  Maximum number of zero time transition firings exceeded\\(23\\)\n"
        "Possible undetermined model\n"
        "Please check the model and try again\n$");
}

} // namespace
