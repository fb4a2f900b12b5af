// The PV model: nodes per time point, links between actions and nodes,
// rewards after firings, accumulation, and the .pvtype file.

#include "TestModels.h"

#include "actions/BaseGroupClass.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <vector>

using namespace pvtest;

namespace {

using Ints = std::vector<int>;
using Actions = std::vector<BaseActionClass*>;

Ints elements(FastSet& set) {
    return {set.begin(), set.end()};
}

// The test reward model over one TestSAN named "machine":
//   0 "level": the marking of q, observed at 10, plus an impulse of 2.5 × q on go;
//   1 "idle": 0.5 × the marking of p, type 1, time points (0,1), (1.5,2.25), (100,1e6).
PerformanceVariableNode* machineNode(int pvIndex, int timeIndex) {
    if (pvIndex == 0) {
        double at10[] = {10.0};
        auto* node = new PlaceNode("q", 1.0);
        node->Initialize("level", InstantOfTimeType, 1, at10, at10, timeIndex, 1, 1, 1);
        node->AddVariableDependency("q", "machine");
        node->addImpulse("go", "machine", 1, 2.5, 0.0);
        return node;
    }
    double starts[] = {0.0, 1.5, 100.0};
    double stops[] = {1.0, 2.25, 1000000.0};
    auto* node = new PlaceNode("p", 0.5);
    node->Initialize("idle", IntervalOfTimeType, 3, starts, stops, timeIndex, 0, 1, 1);
    node->AddVariableDependency("p", "machine");
    return node;
}

// A node without dependencies; variable 98 has three time points.
PerformanceVariableNode* plainNode(int pvIndex, int timeIndex) {
    double times[] = {1.0, 2.0, 3.0};
    auto* node = new PlaceNode();
    node->Initialize("plain", InstantOfTimeType, pvIndex == 98 ? 3 : 1, times, times, timeIndex, 0,
                     0, 0);
    return node;
}

// Over the replicas A0, B0, A1: rate q of each A; an impulse on go of A that
// also depends on B, each impulse worker worth its own number.
PerformanceVariableNode* replicaNode(int, int timeIndex) {
    double at1[] = {1.0};
    auto* node = new PlaceNode("q", 1.0);
    node->Initialize("goes", InstantOfTimeType, 1, at1, at1, timeIndex, 1, 1, 1);
    node->AddVariableDependency("q", "A");
    node->AddImpulseModelDependency("B", node->addImpulse("go", "A", 2, 0.0, 1.0));
    return node;
}

struct Machine : TestPVModel {
    explicit Machine(bool expand) : TestPVModel(new TestSAN("machine"), 2, expand, machineNode) {}
    TestSAN* san() { return static_cast<TestSAN*>(SubModel); }
};

void expectRewards(PerformanceVariableNode* node, double rate, double rateSquared, double impulse,
                   double impulseSquared) {
    SCOPED_TRACE(node->Name);
    EXPECT_EQ(node->RateReward, rate);
    EXPECT_EQ(node->RateRewardSquared, rateSquared);
    EXPECT_EQ(node->ImpulseReward, impulse);
    EXPECT_EQ(node->ImpulseRewardSquared, impulseSquared);
}

} // namespace

TEST(PVModel, TimePointsBecomeNodesOnlyWhenExpanded) {
    Machine plain(false);
    EXPECT_EQ(plain.NumPVs, 2);
    EXPECT_EQ(plain.timeIndices, (Ints{0, 0}));
    Machine expanded(true);
    ASSERT_EQ(expanded.NumPVs, 4);
    EXPECT_EQ(expanded.timeIndices, (Ints{0, 0, 1, 2}));
    EXPECT_EQ(expanded.PVList[3]->Id, 3);
    EXPECT_EQ(expanded.PVList[3]->StartTime, 100.0);
    EXPECT_EQ(expanded.StateSize(), 6);
    EXPECT_EQ(expanded.NumActions, 3);
}

TEST(PVModel, InitializeLinksEveryActionToTheNodesItAffects) {
    Machine model(true);
    TestSAN* san = model.san();
    EXPECT_EQ(elements(san->go.AffectedNodesByRateReward), (Ints{0, 1, 2, 3}));
    EXPECT_EQ(elements(san->go.AffectedNodesByImpulseReward), (Ints{0}));
    EXPECT_EQ(elements(san->go.AffectedNodes), (Ints{0, 1, 2, 3}));
    EXPECT_EQ(elements(san->spill.AffectedNodesByRateReward), (Ints{0}));
    EXPECT_EQ(elements(san->spill.AffectedNodesByImpulseReward), (Ints{}));
    EXPECT_EQ(elements(san->spill.AffectedNodes), (Ints{0}));
    for (int p = 0; p < 4; ++p) {
        EXPECT_EQ(elements(san->back.PVRateWorkers[p]), (Ints{0}));
        EXPECT_EQ(elements(san->spill.PVRateWorkers[p]), p == 0 ? Ints{0} : Ints{});
        EXPECT_EQ(elements(san->go.PVImpulseSets[p]), p == 0 ? Ints{0} : Ints{});
        EXPECT_EQ(elements(model.NoActionFiredYet.PVImpulseSets[p]), (Ints{}));
    }
    EXPECT_EQ(san->go.PVImpulseWorkerCounts[0][0], 1);
    EXPECT_EQ(san->go.PVImpulseWorkers[0][0][0], 0);
    EXPECT_EQ(san->go.PVImpulseWorkers[1], nullptr);
    EXPECT_EQ(model.NumRateDSActions, 3);
    EXPECT_EQ(model.NumImpulseDSActions, 1);
    ASSERT_EQ(model.NumAffectingActions, 3);
    EXPECT_EQ(model.AffectedNodeSets[2], &san->spill.AffectedNodes);
    // go reaches "level" by its rate and by its impulse and is listed once.
    Actions level(model.PVList[0]->NodeActions, model.PVList[0]->NodeActions + 3);
    EXPECT_EQ(model.PVList[0]->NumNodeActions, 3);
    EXPECT_EQ(level, (Actions{&san->go, &san->back, &san->spill}));
    EXPECT_EQ(model.PVList[2]->NumNodeActions, 2);
    EXPECT_EQ(model.PVList[2]->NodeActions[1], &san->back);
}

TEST(PVModel, FireActionLeavesTheRewardsOfTheNewStateAndOfTheFiring) {
    Machine model(true);
    TestSAN* san = model.san();
    PerformanceVariableNode* level = model.PVList[0];
    model.ConsiderOnly(nullptr, -1);
    short state[3];
    model.FireAction(state, &model.NoActionFiredYet);
    expectRewards(level, 0.0, 0.0, 0.0, 0.0);
    expectRewards(model.PVList[3], 0.5, 0.25, 0.0, 0.0);

    model.FireAction(state, &san->go);
    EXPECT_EQ(model.LastAction, &san->go);
    EXPECT_EQ(state[1], 1);
    expectRewards(level, 1.0, 1.0, 2.5, 6.25);
    expectRewards(model.PVList[1], 0.0, 0.0, 0.0, 0.0);
    model.FireAction(state, &san->back);
    expectRewards(level, 0.0, 0.0, 0.0, 0.0);
    model.FireAction(state, &san->go);
    model.AgeAction(reinterpret_cast<char*>(state), &san->go);
    EXPECT_EQ(model.LastAction, &model.NoActionFiredYet);
    expectRewards(level, 1.0, 1.0, 0.0, 0.0);

    Machine chosen(true);
    int indices[] = {3, 0, 2};
    chosen.ConsiderOnly(indices, 2);
    ASSERT_EQ(chosen.ConsideredPVs,
              (std::vector<PerformanceVariableNode*>{chosen.PVList[3], chosen.PVList[0]}));
    chosen.PVList[2]->RateReward = -1.0;
    chosen.FireAction(state, &chosen.NoActionFiredYet);
    EXPECT_EQ(chosen.PVList[2]->RateReward, -1.0);
    EXPECT_EQ(chosen.PVList[3]->RateReward, 0.5);
}

TEST(PVModel, ImpulseWorkersAreLinkedToTheActionOfTheirOwnInstance) {
    TestSAN* a0 = new TestSAN("A");
    TestSAN* b0 = new TestSAN("B");
    TestSAN* a1 = new TestSAN("A");
    TestPVModel model(new ReplicaModel({a0, b0, a1}, "replicas"), 1, false, replicaNode);
    PerformanceVariableNode* node = model.PVList[0];
    EXPECT_EQ(a0->go.PVImpulseWorkerCounts[0][0], 1);
    EXPECT_EQ(a1->go.PVImpulseWorkers[0][0][0], 1);
    EXPECT_EQ(elements(b0->go.AffectedNodesByImpulseReward), (Ints{}));
    EXPECT_EQ(elements(a1->go.PVRateWorkers[0]), (Ints{1}));
    model.ConsiderOnly(nullptr, -1);
    char state[18];
    model.FireAction(state, &a1->go);
    expectRewards(node, 1.0, 1.0, 1.0, 1.0);
    model.FireAction(state, &a0->go);
    expectRewards(node, 2.0, 2.0, 0.0, 0.0);
    model.FireAction(state, &b0->go);
    expectRewards(node, 2.0, 2.0, 0.0, 0.0);

    // A synchronizing action (a group whose isSync() is true) earns the
    // impulses of its member actions, searched depth first.
    struct Sync : BaseGroupClass {
        bool isSync() override { return true; }
    } inner, outer;
    inner.appendGroup(&a1->go);
    outer.appendGroup(&b0->go);
    outer.appendGroup(&inner);
    EXPECT_TRUE(node->ImpulseAffectedBy(&outer));
    node->CurrentReward(&outer);
    EXPECT_EQ(node->ImpulseReward, 1.0);
}

TEST(PVModel, SimulationAccumulatesRewardsOverTheObservationInterval) {
    Machine model(false);
    PerformanceVariableNode* level = model.PVList[0];
    model.ConsiderOnly(nullptr, -1);
    model.FireAction(&model.san()->go, 9.0);
    EXPECT_EQ(BaseModelClass::LastActionTime, 9.0);
    model.Accumulate(8.0);
    EXPECT_EQ(level->AccumulationState, 0);
    EXPECT_EQ(model.PVList[1]->AccumulationState, 2);
    model.Accumulate(10.0);
    EXPECT_EQ(level->AccumulationState, 1);
    model.Accumulate(10.5);
    EXPECT_EQ(level->AccumulationState, 2);
    // The worker's value q = 1 plus the impulse of the go firing, 2.5.
    expectRewards(level, 3.5, 7.25, 2.5, 6.25);

    model.PVReset();
    expectRewards(level, 0.0, 0.0, 0.0, 0.0);
    EXPECT_EQ(model.LastAction, &model.NoActionFiredYet);
    model.EndAccumulate(9.5); // within one time unit of the stop time: finished
    EXPECT_EQ(level->AccumulationState, 2);
    EXPECT_EQ(level->RateReward, 1.0);

    level->UpdateDependencies(); // the last of spill's nodes: its set is cleared
    EXPECT_EQ(model.san()->spill.AffectedNodes.size(), 0);
    EXPECT_EQ(model.san()->go.AffectedNodes.size(), 2);
}

TEST(PVModel, TheNodeListGrowsPastItsFirstHundredEntries) {
    TestPVModel many(new TestSAN("m"), 150, false, plainNode);
    ASSERT_EQ(many.NumPVs, 150);
    EXPECT_EQ(many.PVList[149]->Id, 149);
    // 98 single nodes, then three time points that cross the room of 100.
    TestPVModel crossing(new TestSAN("m"), 99, true, plainNode);
    ASSERT_EQ(crossing.NumPVs, 101);
    EXPECT_EQ(crossing.PVList[100]->StartTime, 3.0);

    testsupport::TempDir dir;
    TestPVModel none(new TestSAN("m"), 0, false, plainNode);
    EXPECT_EQ(none.AffectingActions, nullptr);
    none.WritePVTypeFile((dir.path() + "none.pvtype").c_str());
    EXPECT_EQ(testsupport::readFile(dir.path() + "none.pvtype"), "Version:1\nNumPV:0\n");
}

TEST(PVModel, WritesThePVTypeFile) {
    testsupport::TempDir dir;
    std::string path = dir.path() + "m.pvtype";
    Machine expanded(true);
    expanded.WritePVTypeFile(path.c_str());
    EXPECT_EQ(testsupport::readFile(path),
              testsupport::readFile(testsupport::testdata("pv/machine-expanded.pvtype")));
    Machine plain(false);
    plain.WritePVTypeFile(path.c_str());
    EXPECT_EQ(testsupport::readFile(path),
              testsupport::readFile(testsupport::testdata("pv/machine.pvtype")));
}

// Reward-model configuration errors found while the reward model is built: one
// line naming the variable and what it names, then status 0.
PerformanceVariableNode* misnamedNode(int which, int timeIndex) {
    static double at1[] = {1.0};
    auto* node = new PlaceNode();
    node->Initialize("broken", InstantOfTimeType, 1, at1, at1, timeIndex, 1, 1, 1);
    switch (which) {
    case 0:
        node->addImpulse("nosuch", "machine", 1, 0.0, 0.0);
        break;
    case 1:
        node->addImpulse("go", "nosuch", 1, 0.0, 0.0);
        break;
    case 2:
        node->addImpulse("go", "machine", 2, 0.0, 0.0);
        node->AddImpulseModelDependency("nosuch", 0);
        break;
    case 3:
        node->AddVariableDependency("nosuch", "machine");
        break;
    }
    return node;
}

template <int Which> PerformanceVariableNode* misnamed(int, int timeIndex) {
    return misnamedNode(Which, timeIndex);
}

TEST(PVModelDeathTest, NamesThatMatchNothingEndTheRunWithStatusZero) {
    const std::pair<TestPVModel::Factory, const char*> cases[] = {
        {misnamed<0>, "!! PVModel: performance variable \"broken\" has an impulse on action "
                      "\"nosuch\" of model \"machine\", which that model does not have\n"},
        {misnamed<1>, "!! PVModel: performance variable \"broken\" has an impulse on action "
                      "\"go\" of model \"nosuch\", but there is no such model\n"},
        {misnamed<2>, "!! PVModel: performance variable \"broken\" has an impulse on action "
                      "\"go\" that depends on model \"nosuch\", but there is no such model\n"},
        {misnamed<3>, "!! PVModel: performance variable \"broken\" depends on state variable "
                      "\"nosuch\" of model \"machine\", which that model does not have\n"},
    };
    for (const auto& [factory, message] : cases)
        EXPECT_EXIT(TestPVModel(new TestSAN("machine"), 1, false, factory),
                    ::testing::ExitedWithCode(0), ::testing::Eq(message));
}
