// Performance-variable nodes on their own: worker combinations over model
// dependencies, impulse workers in blocks, and the configuration errors.

#include "TestModels.h"

#include <gtest/gtest.h>

using namespace pvtest;

namespace {

double at5[] = {5.0};

// Two replicas of A and three of B, listed A0, B0, A1, B1, B2.
struct Replicas {
    TestSAN* a[2] = {new TestSAN("A"), new TestSAN("A")};
    TestSAN* b[3] = {new TestSAN("B"), new TestSAN("B"), new TestSAN("B")};
    ReplicaModel model{{a[0], b[0], a[1], b[1], b[2]}, "replicas"};
};

PlaceNode* newNode(int numImpulses, int numModelDeps, int numVarDeps) {
    auto* node = new PlaceNode();
    node->Initialize("v", InstantOfTimeType, 1, at5, at5, 0, numImpulses, numModelDeps, numVarDeps);
    return node;
}

void buildImpulseWorkers(PerformanceVariableNode* node, BaseModelClass* submodel) {
    node->FixReferences(submodel);
    node->CreateImpulseModelGroupList();
    node->CreateImpulseWorkerLists();
    node->FixImpulseWorkerLists();
}

} // namespace

TEST(PerformanceVariableNode, InitializeNumbersNodesAndCopiesTheirTimePoints) {
    double starts[] = {24.0, 1.0, 2.0};
    double stops[] = {24.0, 3.0, 7.5};
    PlaceNode first;
    PlaceNode second;
    first.Initialize("r", InstantOfTimeType, 3, starts, stops, 0, 0, 0, 0);
    second.Initialize("s", IntervalOfTimeType, 3, starts, stops, 2, 0, 0, 0);
    starts[2] = -1.0; // the nodes hold their own copies
    EXPECT_EQ(second.Id, first.Id + 1);
    EXPECT_EQ(first.IntervalLength, 0.0);
    EXPECT_EQ(second.StartTime, 2.0);
    EXPECT_EQ(second.IntervalLength, 5.5);
    EXPECT_EQ(second.GetStartTime(2), 2.0);
}

TEST(PerformanceVariableNode, WorkersRunThroughEveryCombinationFirstDependencySlowest) {
    Replicas r;
    PlaceNode* node = newNode(0, 2, 0);
    node->AddModelDependency("A");
    node->AddModelDependency("B");
    node->AddModelDependency("A");
    EXPECT_EQ(node->NumModelDeps, 2);
    node->FixReferences(&r.model);
    node->CreateModelGroupList();
    node->CreateWorkerList();
    node->FixWorkerList();
    ASSERT_EQ(node->NumWorkers, 6);
    for (int w = 0; w < 6; ++w) {
        SCOPED_TRACE(w);
        auto* worker = static_cast<PlaceWorker*>(node->Workers[w]);
        EXPECT_EQ(worker->first, r.a[w / 3]); // worker 4 gets A1 and B1
        EXPECT_EQ(worker->second, r.b[w % 3]);
        EXPECT_EQ(worker->WorkerNumber, w);
        EXPECT_EQ(worker->PVId, node->Id);
        EXPECT_STREQ(worker->Name, "v");
        EXPECT_EQ(worker->StopTime, 5.0);
    }
    r.a[1]->q->setMark(2); // each worker reads q of its A instance
    node->CurrentReward(&r.a[0]->go);
    EXPECT_EQ(node->RateReward, 6.0);
    EXPECT_EQ(node->RateRewardSquared, 12.0);
    delete node;
}

TEST(PerformanceVariableWorker, NameBelongsToTheNodeThatFreesItBeforeDeletingTheWorker) {
    // A generated node frees each worker's name, then deletes the worker: the
    // worker's destructor must leave the name alone.
    auto* worker = new PlaceWorker("q", 1.0);
    worker->DefineName("v", 0);
    char* name = worker->Name;
    delete worker;
    EXPECT_STREQ(name, "v");
    delete[] name;
}

TEST(PerformanceVariableNode, ImpulseWorkersFallIntoOneBlockPerInstanceOfTheActionsModel) {
    Replicas r;
    PlaceNode* alone = newNode(1, 0, 0);
    alone->addImpulse("go", "A", 1, 0.0, 0.0);
    buildImpulseWorkers(alone, &r.model);
    ASSERT_EQ(alone->NumImpulseWorkers[0], 2);
    EXPECT_EQ(alone->ImpulseWorkers[0][1]->Model, r.a[1]);

    // With a further dependency on B, block b names A_b and runs through every B.
    PlaceNode* node = newNode(1, 0, 0);
    CountingImpulse* impulse = node->addImpulse("go", "A", 2, 0.0, 0.0);
    node->AddImpulseModelDependency("B", impulse);
    node->AddImpulseModelDependency("B", impulse);
    EXPECT_EQ(node->ImpulseModelDepCounts[0], 2);
    buildImpulseWorkers(node, &r.model);
    ASSERT_EQ(node->NumImpulseWorkers[0], 6);
    for (int w = 0; w < 6; ++w) {
        SCOPED_TRACE(w);
        auto* worker = static_cast<CountingImpulse*>(node->ImpulseWorkers[0][w]);
        EXPECT_EQ(worker->Model, r.a[w / 3]);
        EXPECT_EQ(worker->first, r.a[w / 3]);
        EXPECT_EQ(worker->second, r.b[w % 3]);
        EXPECT_EQ(worker->WorkerNumber, w);
        EXPECT_EQ(worker->ImpulseNumber, 0);
    }
    delete alone;
    delete node;
}

TEST(PerformanceVariableNode, RegisteringAnImpulseNodeAgainReplacesItsPair) {
    PlaceNode* node = newNode(2, 0, 0);
    CountingImpulse* impulse = node->addImpulse("go", "A", 2, 0.0, 0.0);
    node->AddImpulse("back", "B", impulse);
    EXPECT_EQ(node->NumImpulses, 1);
    EXPECT_STREQ(node->ImpulsePairs[0].Action, "back");
    EXPECT_EQ(node->ImpulseModelDepCounts[0], 2);
    CountingImpulse unknown(1, nullptr, 0.0, 0.0);
    EXPECT_EQ(node->GetImpulseNumber(&unknown), -1);
    delete node;
}

TEST(PerformanceVariableNodeDeathTest, ConfigurationErrorsEndTheRunWithStatusZero) {
    Replicas r;
    PlaceNode* node = newNode(1, 2, 0);
    node->AddModelDependency("A");
    node->AddModelDependency("C");
    node->FixReferences(&r.model);
    EXPECT_EXIT(node->CreateModelGroupList(), ::testing::ExitedWithCode(0),
                ::testing::Eq("Number of C's was 0.  Model cannot be created.\n"
                              "Model Name was: replicas\n."));
    ReplicaModel unnamed({new TestSAN("A")}, nullptr);
    node->FixReferences(&unnamed);
    EXPECT_EXIT(node->CreateModelGroupList(), ::testing::ExitedWithCode(0),
                ::testing::Eq("Number of C's was 0.  Model cannot be created.\n"
                              "Model Name was: NULL\n"));

    const char* gp0001 = "Model Dependency requested on undefined impulse.  Check code "
                         "generator.  Error code GP0001.\n";
    CountingImpulse unregistered(1, nullptr, 0.0, 0.0);
    EXPECT_EXIT(node->AddImpulseModelDependency("A", &unregistered), ::testing::ExitedWithCode(0),
                ::testing::Eq(gp0001));
    node->addImpulse("go", "A", 1, 0.0, 0.0);
    EXPECT_EXIT(node->AddImpulseModelDependency("A", &unregistered), ::testing::ExitedWithCode(0),
                ::testing::Eq(gp0001));
    delete node;
}

TEST(PerformanceVariableNodeDeathTest, AdditionsBeyondTheRoomGivenToInitializeAreRefused) {
    PlaceNode* node = newNode(1, 1, 1);
    node->AddVariableDependency("p", "A");
    node->AddModelDependency("A"); // held already: needs no room
    EXPECT_EXIT(node->AddVariableDependency("q", "A"), ::testing::ExitedWithCode(0),
                ::testing::Eq("!! PerformanceVariableNode::AddVariableDependency: performance "
                              "variable \"v\" has room for 1 variable dependencies; cannot add "
                              "\"q\"\n"));
    EXPECT_EXIT(node->AddModelDependency("B"), ::testing::ExitedWithCode(0),
                "has room for 1 model dependencies; cannot add \"B\"");
    // An impulse node without model references still has room for its action's model.
    CountingImpulse* impulse = node->addImpulse("go", "A", 0, 0.0, 0.0);
    EXPECT_EQ(node->ImpulseModelDepCounts[0], 1);
    EXPECT_EXIT(node->AddImpulseModelDependency("B", impulse), ::testing::ExitedWithCode(0),
                "has room for 1 impulse model names; cannot add \"B\"");
    EXPECT_EXIT(node->addImpulse("back", "A", 1, 0.0, 0.0), ::testing::ExitedWithCode(0),
                "has room for 1 impulses; cannot add \"back\"");
    delete node;
}
