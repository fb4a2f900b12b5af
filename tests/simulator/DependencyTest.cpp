// The trajectory looks again only at the activities whose declared enabling
// places a firing changes. On the two-unit model (duplex.san) these tests check
// that this gives the very path a look at every activity gives, and what
// happens when a declaration is missing: the probe notices and falls back to
// looking at everything, and a run without the probe stops with one line
// naming both activities.

#include "Simulator.h"
#include "StreamSampler.h"
#include "Trajectory.h"
#include "firing/ActionTable.h"
#include "pv/PVModel.h"
#include "simulator/ModelUnderTest.h"
#include "state/BaseStateVariableClass.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

extern double mu; // the model's repair rate, which the repair activity reads at each firing

namespace {

constexpr double Never = std::numeric_limits<double>::infinity();

// Records each firing's time and every impulse.
struct Recorder {
    std::vector<double> seen;
    void span(double, double to, Trajectory& path) {
        seen.push_back(to);
        seen.push_back(path.rates()[0]);
    }
    void impulse(double time, int node, double value) {
        seen.push_back(time);
        seen.push_back(node + value);
    }
};

class Dependencies : public ModelUnderTest {
protected:
    // The timed activity of that name.
    static BaseActionClass* activity(const char* name) {
        for (std::uint32_t i = 0; i < Actions->numTimed(); ++i)
            if (std::strcmp(Actions->timed()[i]->Name, name) == 0)
                return Actions->timed()[i];
        return nullptr;
    }
    // While it exists, the place `working` does not list `failure` among the
    // activities that read it, as a model whose code reads a place it does not
    // declare; the model is put right again however the test ends.
    struct HiddenReader {
        HiddenReader() : Failure(activity("failure")), Working(Failure->EnablingSVs.getItem(0)) {
            Working->removeEnabledAction(Failure);
        }
        ~HiddenReader() { Working->appendEnabledAction(Failure); }
        HiddenReader(const HiddenReader&) = delete;
        HiddenReader& operator=(const HiddenReader&) = delete;
        BaseActionClass* Failure;
        BaseStateVariableClass* Working;
    };
};

TEST_F(Dependencies, LookingAtTheAffectedActivitiesGivesThePathOfAFullScan) {
    std::vector<double> paths[2];
    for (int full = 0; full < 2; ++full) {
        Trajectory path(Model, *Actions);
        path.followDependencies(full == 0);
        ASSERT_EQ(path.scansAll(), full == 1);
        StreamSampler sampler(7);
        Recorder recorder;
        for (int replication = 0; replication < 50; ++replication) {
            path.start(sampler.stream(static_cast<std::uint64_t>(replication)), recorder);
            path.runUntil(3.0, 1000, recorder);
        }
        paths[full] = recorder.seen;
    }
    ASSERT_GT(paths[0].size(), 400u);
    EXPECT_EQ(paths[0], paths[1]);
}

TEST_F(Dependencies, ARateThatReadsAnUndeclaredPlaceIsAskedAgain) {
    // Without `working` among the places failure declares, a repair changes
    // failure's rate (lambda times the units working) unannounced; with fast
    // repairs both units are never down at once in these paths, so failure
    // never needs to be enabled again, only its rate followed.
    std::vector<double> paths[2];
    HiddenReader hidden;
    mu = 1000.0;
    for (int full = 0; full < 2; ++full) {
        Trajectory path(Model, *Actions);
        path.followDependencies(full == 0);
        StreamSampler sampler(5);
        Recorder recorder;
        try {
            for (int replication = 0; replication < 20; ++replication) {
                path.start(sampler.stream(static_cast<std::uint64_t>(replication)), recorder);
                path.runUntil(2.0, 1000, recorder);
            }
        } catch (const SimulationError& e) {
            ADD_FAILURE() << e.what();
        }
        paths[full] = recorder.seen;
    }
    mu = 2.0;
    ASSERT_GT(paths[0].size(), 100u);
    EXPECT_EQ(paths[0], paths[1]);
}

TEST_F(Dependencies, ThePathsOfADeclaredModelPassTheProbe) {
    Trajectory path(Model, *Actions);
    path.followDependencies(true);
    StreamSampler sampler(3);
    EXPECT_TRUE(path.probeDependencies(sampler.stream(0), Never, 2000));
    EXPECT_FALSE(path.scansAll());
    EXPECT_EQ(path.events(), 0u);
}

TEST_F(Dependencies, AnUndeclaredReaderIsFoundAndEveryActivityLookedAt) {
    bool passed = true, scansAll = false;
    {
        HiddenReader hidden;
        Trajectory path(Model, *Actions);
        path.followDependencies(true);
        StreamSampler sampler(3);
        passed = path.probeDependencies(sampler.stream(0), 2.0, 2000);
        scansAll = path.scansAll();
    }
    EXPECT_FALSE(passed);
    EXPECT_TRUE(scansAll);
}

TEST_F(Dependencies, AnUnprobedRunStopsAtTheFirstCheckThatFindsAMiss) {
    std::string message;
    {
        HiddenReader hidden;
        Trajectory path(Model, *Actions);
        path.followDependencies(true);
        StreamSampler sampler(11);
        Recorder recorder;
        try {
            for (int replication = 0; replication < 1000; ++replication) {
                path.start(sampler.stream(static_cast<std::uint64_t>(replication)), recorder);
                path.runUntil(5.0, 1000, recorder);
            }
        } catch (const SimulationError& e) {
            message = e.what();
        }
    }
    EXPECT_NE(message.find("activity failure changed its enabling or rate after a firing of "
                           "repair"),
              std::string::npos)
        << message;
}

} // namespace
