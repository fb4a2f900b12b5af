// The polling model's generated classes in-process: the study's experiments and
// overrides, the SAN's layout (one array variable plus two places, activities
// and groups), the array's packing and sharing, and the reward variable's wiring
// through the array. The chain's behaviour is checked end to end in PollingRunTest.

#include "GlobalVariables.h"
#include "pollingRewPV0.h"
#include "pollingRewPVModel.h"
#include "pollingSAN.h"
#include "study_pollingRangeStudy.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

// The packed state vector: the stations' markings, the server's station, serving.
std::vector<short> vectorOf(const std::vector<short>& jobs, short server, short serving) {
    std::vector<short> v(jobs);
    v.push_back(server);
    v.push_back(serving);
    return v;
}

std::vector<short> currentState(BaseModelClass& model) {
    std::vector<short> v(static_cast<std::size_t>(model.StateSize()) / sizeof(short));
    model.CurrentState(v.data());
    return v;
}

// Names of the enabled activities of the model in its present state.
std::vector<std::string> enabledActivities(pollingSAN& san) {
    std::vector<std::string> names;
    for (int i = 0; i < san.NumActions; ++i)
        if (san.Actions[i]->Enabled())
            names.push_back(san.Actions[i]->Name);
    return names;
}

// Builds a pollingSAN for n stations (N restored afterwards).
struct PollingSAN : ::testing::Test {
    void build(int n) {
        saved = N;
        N = n;
        san = std::make_unique<pollingSAN>();
    }
    void TearDown() override {
        san.reset();
        N = saved;
    }
    int saved = 0;
    std::unique_ptr<pollingSAN> san;
};

} // namespace

TEST(PollingStudy, ExperimentsRangeNFromTwoToTwenty) {
    study_pollingRangeStudy study;
    ASSERT_EQ(study.GetNumGVs(), 1);
    EXPECT_STREQ(study.GetGVName(0), "N");
    EXPECT_STREQ(study.GetGVType(0), "int");
    ASSERT_EQ(study.GetNumExps(), 19);
    for (int k = 0; k < study.GetNumExps(); ++k) {
        study.SetGVs(k);
        EXPECT_EQ(N, k + 2);
    }
    EXPECT_STREQ(study.GetDefaultVantorRoot(), "/usr/share/vantor-2.4/");
}

TEST(PollingStudy, PrintsTheExperimentsValue) {
    study_pollingRangeStudy study;
    testing::internal::CaptureStdout();
    study.PrintGlobalValues(3);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "The Global Variable values for experiment Experiment 4 are:\nN\tint\t5\n");
}

TEST(PollingStudy, OverridesAndLooksUpNByName) {
    study_pollingRangeStudy study;
    study.SetGVs(0);
    EXPECT_EQ(study.GetGVValue("N"), static_cast<void*>(&N));
    study.overrideGVs("i:N:0x10");
    EXPECT_EQ(N, 16);
    const int seven = 7;
    study.OverrideGVValue("N", &seven);
    EXPECT_EQ(N, 7);

    testing::internal::CaptureStderr();
    EXPECT_EQ(study.GetGVValue("n"), nullptr);
    study.OverrideGVValue("M", &seven);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "!! study_pollingRangeStudy::GetGVValue: Global Variable n does not exist.\n"
              "!! study_pollingRangeStudy::OverrideGVValue: Global Variable M does not exist.\n");
    EXPECT_EQ(N, 7);
}

TEST(PollingStudy, RebuildsTheRewardModelForTheCurrentN) {
    study_pollingRangeStudy study;
    study.SetGVs(1); // N = 3
    PVModel* first = study.GetPVModel(false);
    EXPECT_EQ(first->StateSize(), 2 * 3 + 4);
    study.SetGVs(5); // N = 7
    PVModel* second = study.GetPVModel(false);
    EXPECT_EQ(second->StateSize(), 2 * 7 + 4);
    EXPECT_EQ(second->NumActions, 7 + 3);
}

TEST_F(PollingSAN, StationsAreOneArrayVariableOfShortPlaces) {
    build(3);
    ASSERT_EQ(san->getNumStateVariables(), 3);
    EXPECT_EQ(san->Places[0], san->stations);
    EXPECT_EQ(san->Places[1], san->server);
    EXPECT_EQ(san->Places[2], san->serving);

    pollingSAN::stationsArray& stations = *san->stations;
    ASSERT_EQ(stations.getSize(), 3);
    EXPECT_FALSE(stations.isLeafNode());
    EXPECT_EQ(stations.StateSize(), 6);
    std::unique_ptr<List<BaseStateVariableClass>> leaves(stations.getLeafNodes());
    ASSERT_EQ(leaves->getNumItems(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(stations.getType(i), ShortElement);
        EXPECT_EQ(leaves->getItem(i), stations.element[i]);
        EXPECT_EQ(std::string(leaves->getItem(i)->getName()), "station" + std::to_string(i + 1));
    }

    std::ostringstream text;
    san->printState(&text);
    EXPECT_EQ(text.str().substr(text.str().find('\n') + 1),
              "  stations = {\n.station1 = 0\n.station2 = 0\n.station3 = 0\n}\n"
              "  server = 1\n  serving = 0\n");
}

TEST_F(PollingSAN, ArrayPacksItsFieldsAsTheStructureWalkDoes) {
    build(5);
    pollingSAN::stationsArray& stations = *san->stations;
    const std::vector<short> jobs = {1, 0, 1, 1, 0};
    std::vector<short> copy(jobs);
    stations.SetState(copy.data());
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(stations.element[i]->getMark(), jobs[static_cast<std::size_t>(i)]);

    // The array's own packing must give the bytes of the generic field-by-field walk.
    std::vector<short> own(5), generic(5);
    stations.CurrentState(own.data());
    stations.BaseStructStateVariable::CurrentState(generic.data());
    EXPECT_EQ(own, jobs);
    EXPECT_EQ(generic, jobs);
}

TEST(PollingStations, SharedArraysKeepTheirMarkingPointers) {
    // After sharing, the array reads the group's cells, not the freed ones.
    pollingSAN::stationsArray a(2);
    pollingSAN::stationsArray b(2);
    a.share(&b);
    b.element[1]->setMark(1);
    EXPECT_EQ(a.mark(1), 1);
    std::vector<short> packed(2);
    b.CurrentState(packed.data());
    EXPECT_EQ(packed, (std::vector<short>{0, 1}));
}

TEST_F(PollingSAN, StartsEmptyWithTheServerPollingStationOne) {
    build(4);
    EXPECT_EQ(san->StateSize(), 12);
    EXPECT_EQ(currentState(*san), vectorOf({0, 0, 0, 0}, 1, 0));

    ASSERT_EQ(san->NumActions, 7);
    ASSERT_EQ(san->NumGroups, 7);
    const char* names[] = {"arrival1", "arrival2", "arrival3", "arrival4",
                           "skip",     "start",    "serve"};
    for (int i = 0; i < 7; ++i) {
        EXPECT_STREQ(san->Actions[i]->Name, names[i]);
        EXPECT_EQ(san->Actions[i]->GroupID, i);
        EXPECT_EQ(static_cast<BaseActionClass*>(san->Groups[i]), san->Actions[i]);
        EXPECT_EQ(san->Actions[i]->DistributionType, Exponential);
    }
    EXPECT_EQ(enabledActivities(*san),
              (std::vector<std::string>{"arrival1", "arrival2", "arrival3", "arrival4", "skip"}));
}

TEST(PollingRewardModel, LinksEveryActivityThatChangesAStation) {
    const int saved = N;
    N = 5;
    {
        pollingRewPVModel model(false);
        auto* san = static_cast<pollingSAN*>(model.SubModel);
        // The variable depends on the array "stations": the arrivals and serve,
        // which affect it through the array, reach the node; skip and start do not.
        PerformanceVariableNode* waiting = model.PVList[0];
        std::vector<BaseActionClass*> linked(waiting->NodeActions,
                                             waiting->NodeActions + waiting->NumNodeActions);
        std::vector<BaseActionClass*> expected;
        for (int i = 0; i < 5; ++i)
            expected.push_back(&san->arrival[i]);
        expected.push_back(&san->serve);
        EXPECT_EQ(linked, expected);
    }
    N = saved;
}
