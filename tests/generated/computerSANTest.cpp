// The shipped SAN: construction order, arcs, marking pointers and rates that
// follow the global variables. Enabling and firing are pinned by the end-to-end .arm.

#include "generated/computerSAN.h"
#include "generated/GlobalVariables.h"

#include "distributions/UserDistributions.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Actions = std::vector<BaseActionClass*>;
using Variables = std::vector<BaseStateVariableClass*>;

template <class T> std::vector<T*> items(const List<T>& list) {
    return {list.getList(), list.getList() + list.getNumItems()};
}

} // namespace

TEST(computerSAN, BuildsItsPlacesAndActivitiesInOrderWithTheirArcs) {
    computerSAN m;
    EXPECT_STREQ(m.Name, "computer");
    ASSERT_EQ(m.NumStateVariables, 3);
    EXPECT_EQ((Variables{m.Places[0], m.Places[1], m.Places[2]}),
              (Variables{m.idle, m.busy, m.failed}));
    EXPECT_EQ(m.idle->getMark(), 1);
    EXPECT_EQ(m.StateSize(), 6);
    Actions activities{&m.arrival, &m.completion, &m.busy_fail, &m.idle_fail};
    const char* names[] = {"arrival", "completion", "busy_fail", "idle_fail"};
    ASSERT_EQ(m.NumActions, 4);
    ASSERT_EQ(m.NumGroups, 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(m.Actions[i], activities[i]);
        EXPECT_EQ(m.Groups[i], activities[i]); // each activity is its own group
        EXPECT_STREQ(activities[i]->Name, names[i]);
        EXPECT_EQ(activities[i]->GroupID, i);
        EXPECT_EQ(activities[i]->ID, m.arrival.ID + i);
        EXPECT_EQ(activities[i]->DistributionType, Exponential);
        EXPECT_EQ(m.Groups[i]->Probability(activities[i]), 1.0);
    }
    EXPECT_STREQ(m.ImmediateGroup.Name, "ImmediateGroup");

    EXPECT_EQ(items(*m.idle->getAffectingActions()),
              (Actions{&m.arrival, &m.completion, &m.idle_fail}));
    EXPECT_EQ(items(*m.busy->getAffectingActions()),
              (Actions{&m.arrival, &m.completion, &m.busy_fail}));
    EXPECT_EQ(items(*m.failed->getAffectingActions()), (Actions{&m.busy_fail, &m.idle_fail}));
    EXPECT_EQ(items(*m.idle->getEnabledActions()), (Actions{&m.arrival, &m.idle_fail}));
    EXPECT_EQ(items(*m.busy->getEnabledActions()), (Actions{&m.completion, &m.busy_fail}));
    EXPECT_EQ(items(m.completion.AffectedSVs), (Variables{m.busy, m.idle}));
    EXPECT_EQ(items(m.idle_fail.AffectedSVs), (Variables{m.idle, m.failed}));
    EXPECT_EQ(items(m.busy_fail.EnablingSVs), (Variables{m.busy}));
}

TEST(computerSAN, LinkVariablesRegistersEachMarkingPointerWithItsPlace) {
    computerSAN m;
    EXPECT_EQ(m.arrival.InputMark, m.idle->value);
    EXPECT_EQ(m.arrival.OutputMark, m.busy->value);
    EXPECT_EQ(m.busy_fail.OutputMark, m.failed->value);
    // A place starts with two registered pointers; each activity arc adds one, at the front.
    EXPECT_EQ(m.busy->getSharingCount(), 5);
    EXPECT_EQ(m.failed->getSharingCount(), 4);
    std::vector<short**> registered;
    for (auto* e = m.idle->getHead(); e != nullptr; e = e->getNext())
        if (e->getOwner() == nullptr)
            registered.push_back(e->pointer);
    EXPECT_EQ(registered, (std::vector<short**>{&m.idle_fail.InputMark, &m.completion.OutputMark,
                                                &m.arrival.InputMark, &m.idle->Mark}));
}

TEST(computerSAN, RatesAndSamplesFollowTheGlobalVariablesAtEveryCall) {
    alpha = 2.0, beta = 3.0, lambda_i = 5.0, lambda_w = 7.0;
    computerSAN m;
    EXPECT_EQ(m.completion.Rate(), 3.0);
    EXPECT_EQ(m.busy_fail.Rate(), 7.0);
    EXPECT_EQ(m.idle_fail.Rate(), 5.0);
    alpha = 11.0;
    EXPECT_EQ(m.arrival.Rate(), 11.0);
    EXPECT_EQ(m.arrival.ReturnDistributionParameters(), m.arrival.DistributionParameters);
    EXPECT_EQ(m.arrival.DistributionParameters[0], 11.0);
    lambda_w = 13.0;
    EXPECT_EQ(m.busy_fail.ReturnDistributionParameters()[0], 13.0);

    UserDistributions sampler(1, 4711);
    UserDistributions reference(1, 4711);
    UserDistributions* saved = TheDistribution;
    TheDistribution = &sampler;
    double first = m.idle_fail.SampleDistribution();
    double second = m.arrival.SampleDistribution();
    TheDistribution = saved;
    EXPECT_EQ(first, reference.Exponential(5.0));
    EXPECT_EQ(second, reference.Exponential(11.0));
    alpha = beta = lambda_i = lambda_w = 0.0;
}
