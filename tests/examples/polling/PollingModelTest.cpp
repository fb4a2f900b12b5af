// The polling model's generated classes in-process: the study's experiments and
// overrides, the SAN's layout (one array variable plus two places), its
// activities' behaviour at the edges of the cycle, and the reward variable's
// value and wiring through the array variable.

#include "GlobalVariables.h"
#include "pollingRewPV0.h"
#include "pollingRewPVModel.h"
#include "pollingSAN.h"
#include "study_pollingRangeStudy.h"

#include <gtest/gtest.h>

#include <cstring>
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
    // Loads a state and returns the activity named `name`.
    BaseActionClass* in(const std::vector<short>& state, const char* name) {
        std::vector<short> copy(state);
        san->SetState(copy.data());
        for (int i = 0; i < san->NumActions; ++i)
            if (std::strcmp(san->Actions[i]->Name, name) == 0)
                return san->Actions[i];
        ADD_FAILURE() << "no activity " << name;
        return nullptr;
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

TEST_F(PollingSAN, RatesFollowNWhenAsked) {
    build(4);
    EXPECT_DOUBLE_EQ(san->arrival[0].Rate(), 0.25);
    EXPECT_DOUBLE_EQ(san->skip.Rate(), 200.0);
    EXPECT_DOUBLE_EQ(san->start.Rate(), 200.0);
    EXPECT_DOUBLE_EQ(san->serve.Rate(), 1.0);
    N = 5; // the rate is read at every call, like every global variable
    EXPECT_DOUBLE_EQ(san->arrival[3].ReturnDistributionParameters()[0], 0.2);
}

TEST_F(PollingSAN, ServerWrapsRoundFromTheLastStation) {
    build(3);
    // Skipping the empty last station polls station 1 next.
    BaseActionClass* skip = in(vectorOf({1, 1, 0}, 3, 0), "skip");
    ASSERT_TRUE(skip->Enabled());
    EXPECT_FALSE(in(vectorOf({1, 1, 0}, 3, 0), "start")->Enabled());
    skip = in(vectorOf({1, 1, 0}, 3, 0), "skip");
    skip->Enabled();
    skip->Fire();
    EXPECT_EQ(currentState(*san), vectorOf({1, 1, 0}, 1, 0));

    // Serving the last station empties it and polls station 1.
    BaseActionClass* serve = in(vectorOf({0, 1, 1}, 3, 1), "serve");
    ASSERT_TRUE(serve->Enabled());
    serve->Fire();
    EXPECT_EQ(currentState(*san), vectorOf({0, 1, 0}, 1, 0));
}

TEST_F(PollingSAN, ServingBlocksPollingAndTheServedStationsArrivals) {
    build(3);
    std::vector<short> serving2 = vectorOf({0, 1, 0}, 2, 1);
    san->SetState(serving2.data());
    EXPECT_EQ(enabledActivities(*san), (std::vector<std::string>{"arrival1", "arrival3", "serve"}));

    std::vector<short> polling2 = vectorOf({0, 1, 0}, 2, 0);
    san->SetState(polling2.data());
    EXPECT_EQ(enabledActivities(*san), (std::vector<std::string>{"arrival1", "arrival3", "start"}));
    BaseActionClass* start = in(polling2, "start");
    start->Enabled();
    start->Fire();
    EXPECT_EQ(currentState(*san), serving2);
}

TEST(PollingRewardModel, CountsTheStationsHoldingAJob) {
    const int saved = N;
    N = 4;
    {
        pollingRewPVModel model(false);
        ASSERT_EQ(model.NumPVs, 1);
        PerformanceVariableNode* waiting = model.PVList[0];
        EXPECT_STREQ(waiting->Name, "waiting");
        model.ConsiderOnly(nullptr, -1);

        std::vector<short> state = vectorOf({1, 0, 1, 0}, 3, 1);
        model.SetState(state.data());
        auto* san = static_cast<pollingSAN*>(model.SubModel);
        std::vector<short> next(state.size());
        model.FireAction(next.data(), &san->arrival[1]);
        EXPECT_EQ(next, vectorOf({1, 1, 1, 0}, 3, 1));
        EXPECT_DOUBLE_EQ(waiting->RateReward, 3.0);
        EXPECT_DOUBLE_EQ(waiting->ImpulseReward, 0.0);

        model.FireAction(next.data(), &san->serve);
        EXPECT_EQ(next, vectorOf({1, 1, 0, 0}, 4, 0));
        EXPECT_DOUBLE_EQ(waiting->RateReward, 2.0);
    }
    N = saved;
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
