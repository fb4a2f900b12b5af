// The zero-time resolver on its own, as a simulator would use it: a timed
// firing's target is resolved into stable states handed to a sink, under
// each split policy. Every expected share is derived by hand from the table.

#include "firing/ZeroTimeResolver.h"
#include "firing/ActionTable.h"
#include "firing/Firing.h"
#include "ssg/TestModel.h"

#include <gtest/gtest.h>

#include <cstring>
#include <utility>
#include <vector>

namespace {

using namespace testmodel;

// Collects what the resolver hands over: the first place's marking in the
// stable state (the state vector starts with it) and the rate.
struct Collect {
    std::vector<std::pair<short, double>> states;
    void reached(const char* state, double rate) {
        short mark;
        std::memcpy(&mark, state, sizeof mark);
        states.emplace_back(mark, rate);
    }
};

// p = 1 enables i1 (rank 2, weight 1) to p = 2, i2 (rank 2, weight 3) to
// p = 3 and i3 (rank 1) to p = 9; p = 3 enables the chain step i4 to p = 4.
ModelShape branches() {
    ModelShape shape;
    shape.places = {{"p", 1}};
    shape.activities = {
        {.name = "i1", .enabled = holds(0, 1), .fire = put(0, 2), .type = Instantaneous, .rank = 2},
        {.name = "i2",
         .enabled = holds(0, 1),
         .fire = put(0, 3),
         .type = Instantaneous,
         .rank = 2,
         .weight = 3},
        {.name = "i3", .enabled = holds(0, 1), .fire = put(0, 9), .type = Instantaneous, .rank = 1},
        {.name = "i4",
         .enabled = holds(0, 3),
         .fire = put(0, 4),
         .type = Instantaneous,
         .weight = 7}};
    return shape;
}

// Resolves the model's initial state as the target of a timed firing of `rate`.
template <class Policy>
std::vector<std::pair<short, double>> resolve(ModelShape shape, double rate) {
    TestPVModel model(std::move(shape));
    ActionTable table(&model);
    auto size = static_cast<std::uint32_t>(model.StateSize());
    Firing firing(&model, table, size);
    ZeroTimeResolver resolver(firing, size);
    firing.store(firing.target());
    firing.setRate(rate);
    Collect sink;
    resolver.resolve<Policy>(1.0, sink);
    return sink.states;
}

using Reached = std::vector<std::pair<short, double>>;

TEST(ZeroTimeResolverTest, StableStatesSplitByWeightAmongTheHighestRank) {
    // i1 and i2 share 2.0 as 1/4 and 3/4; i2's branch goes on through i4 alone,
    // whose weight does not matter; i3 (lower rank) never fires.
    EXPECT_EQ(resolve<StableStates>(branches(), 2.0), (Reached{{2, 0.5}, {4, 1.5}}));
    // A stable state reached at once keeps the whole rate; rates that are not
    // positive reach no sink.
    ModelShape stable = branches();
    stable.places = {{"p", 5}};
    EXPECT_EQ(resolve<StableStates>(stable, 2.5), (Reached{{5, 2.5}}));
    EXPECT_EQ(resolve<StableStates>(stable, -1.0), Reached{});
    EXPECT_EQ(resolve<StableStates>(stable, 0.0), Reached{});
}

TEST(ZeroTimeResolverTest, DeterministicStatesSplitByGroupProbability) {
    // Each action its own group (probability 1): every branch keeps the whole
    // negative share, whatever the weights; only 0 is dropped.
    EXPECT_EQ(resolve<DeterministicStates>(branches(), -1.0), (Reached{{2, -1.0}, {4, -1.0}}));
    ModelShape stable = branches();
    stable.places = {{"p", 5}};
    EXPECT_EQ(resolve<DeterministicStates>(stable, -0.5), (Reached{{5, -0.5}}));
    EXPECT_EQ(resolve<DeterministicStates>(stable, 0.0), Reached{});
    // i1 and i2 in one group: the group splits by its members' weights, 1/4
    // and 3/4, taken in the state they fire from.
    ModelShape grouped = branches();
    grouped.groups = {"pair"};
    grouped.activities[0].group = 0;
    grouped.activities[1].group = 0;
    EXPECT_EQ(resolve<DeterministicStates>(grouped, -1.0), (Reached{{2, -0.25}, {4, -0.75}}));
}

// p = 1 .. last + 1 by the instantaneous `step`: last firings from p = 1.
ModelShape chain(int last) {
    ModelShape shape;
    shape.places = {{"p", 1}};
    shape.activities = {{.name = "step",
                         .enabled = [last](const Marking& m) { return m[0] <= last; },
                         .fire = add(0, 1),
                         .type = Instantaneous}};
    return shape;
}

TEST(ZeroTimeResolverTest, ChainsLongerThanTwentyThreeFiringsEndTheRun) {
    EXPECT_EQ(resolve<StableStates>(chain(23), 1.0), (Reached{{24, 1.0}}));
    EXPECT_EQ(resolve<DeterministicStates>(chain(23), -1.0), (Reached{{24, -1.0}}));
    EXPECT_EXIT(
        resolve<StableStates>(chain(24), 1.0), testing::ExitedWithCode(1),
        "^Error:  Maximum number of zero time transition recursive firings exceeded\\(23\\)\n"
        "Possible undetermined model\\.\nPlease check the model and try again\n$");
    EXPECT_EXIT(resolve<DeterministicStates>(chain(24), -1.0), testing::ExitedWithCode(1),
                "^Error:  Maximum number of zero time transition firings exceeded\\(23\\)\n"
                "Possible undetermined model\nPlease check the model and try again\n$");
}

} // namespace
