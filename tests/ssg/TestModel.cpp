#include "TestModel.h"

#include "actions/Activity.h"
#include "models/SANModel.h"
#include "pv/InstantOfTime.h"
#include "pv/PerformanceVariableNode.h"
#include "ssg/StateSpaceGen.h"
#include "state/Place.h"

#include <gtest/gtest.h>

#include <cstring>
#include <iostream>
#include <memory>

namespace testmodel {

short Marking::operator[](int i) const {
    return Places[i]->getMark();
}
void Marking::set(int i, int value) const {
    Places[i]->setMark(static_cast<short>(value));
}

Predicate holds(int place, int value) {
    return [=](const Marking& m) { return m[place] == value; };
}
Effect put(int place, int value) {
    return [=](const Marking& m) { m.set(place, value); };
}
Effect add(int place, int delta) {
    return [=](const Marking& m) { m.set(place, m[place] + delta); };
}
std::function<double(const Marking&)> markingOf(int place) {
    return [=](const Marking& m) { return static_cast<double>(m[place]); };
}

namespace {

class TestActivity : public Activity {
public:
    TestActivity(const ActivitySpec& shape, const std::vector<Place*>& places)
        : Shape(shape), Marks(places) {
        ActivityInitialize(shape.name.c_str(), 0, shape.type, DefaultPolicy, 0, 0, false);
    }
    bool Enabled() override {
        PreviousEnabled = CurrentEnabled;
        CurrentEnabled = Shape.enabled(Marks);
        return CurrentEnabled;
    }
    double Rate() override { return Shape.rate; }
    double Weight() override { return Shape.weight; }
    int Rank() override { return Shape.rank; }
    double ErlangParamM() override { return Shape.erlangM; }
    double* ReturnDistributionParameters() override {
        Parameters[0] = Shape.type == Deterministic ? Shape.delay : Shape.rate;
        return Parameters;
    }
    BaseActionClass* Fire() override {
        Shape.fire(Marks);
        return this;
    }
    void LinkVariables() override {}

private:
    const ActivitySpec& Shape; // owned by the reward model's table
    Marking Marks;
    double Parameters[1] = {0.0};
};

class TestSAN : public SANModel {
public:
    explicit TestSAN(const ModelShape& shape) {
        for (const auto& [name, initial] : shape.places) {
            OwnedPlaces.push_back(std::make_unique<Place>(name.c_str(), initial));
            PlacePointers.push_back(OwnedPlaces.back().get());
        }
        std::vector<BaseGroupClass*> groups; // own groups first, then the shared ones
        std::vector<Activity*> activities;
        for (const ActivitySpec& a : shape.activities) {
            Activities.push_back(std::make_unique<TestActivity>(a, PlacePointers));
            activities.push_back(Activities.back().get());
            if (a.group < 0) {
                activities.back()->GroupID = static_cast<int>(groups.size());
                groups.push_back(activities.back());
            }
        }
        for (std::size_t g = 0; g < shape.groups.size(); ++g) {
            int id = static_cast<int>(groups.size());
            Shared.push_back(std::make_unique<BaseGroupClass>(
                shape.groups[g].c_str(), id, Exponential, DefaultPolicy, 0, 0, false));
            for (std::size_t i = 0; i < activities.size(); ++i) {
                if (shape.activities[i].group == static_cast<int>(g)) {
                    Shared.back()->appendGroup(activities[i]);
                    activities[i]->GroupID = id;
                }
            }
            groups.push_back(Shared.back().get());
        }
        std::vector<BaseStateVariableClass*> places(PlacePointers.begin(), PlacePointers.end());
        initializeSANModelNow("test", static_cast<int>(places.size()), places.data(), 0, nullptr,
                              static_cast<int>(activities.size()), activities.data(),
                              static_cast<int>(groups.size()), groups.data());
    }

    std::vector<Place*> PlacePointers;

private:
    std::vector<std::unique_ptr<Place>> OwnedPlaces;
    std::vector<std::unique_ptr<TestActivity>> Activities;
    std::vector<std::unique_ptr<BaseGroupClass>> Shared;
};

using RewardFunction = std::function<double(const Marking&)>;

class TestWorker : public InstantOfTime {
public:
    explicit TestWorker(const RewardFunction& reward) : Function(reward) {
        NumModelRefs = 1;
        ModelRefs = new BaseModelClass** [1] { &Model };
    }
    ~TestWorker() override { delete[] ModelRefs; }
    double Reward_Function() override {
        return Function(Marking(static_cast<TestSAN*>(Model)->PlacePointers));
    }

private:
    const RewardFunction& Function;  // owned by the reward model's table
    BaseModelClass* Model = nullptr; // not owned; set by the node
};

class TestNode : public PerformanceVariableNode {
public:
    TestNode(const std::string& name, const RewardFunction& reward, int timeIndex)
        : Function(reward) {
        ModelRefs = &Slot;
        double times[] = {0.0};
        Initialize(name.c_str(), InstantOfTimeType, 1, times, times, timeIndex, 0, 1, 0);
        AddModelDependency("test");
    }
    ~TestNode() override {
        for (int w = 0; Workers != nullptr && w < NumWorkers; ++w) {
            if (Workers[w] != nullptr)
                delete[] Workers[w]->Name;
            delete Workers[w];
        }
    }
    void CreateWorkerList() override {
        for (int w = 0; w < NumWorkers; ++w)
            Workers[w] = new TestWorker(Function);
    }

private:
    const RewardFunction& Function;
    BaseModelClass* Slot = nullptr;
};

} // namespace

TestPVModel::TestPVModel(ModelShape shape) : Shape(std::move(shape)) {
    SubModel = new TestSAN(Shape);
    DefineName("testPVModel");
    PerformanceVariableNode::the_id = 0; // a node's number is its position in this model
    CreatePVList(static_cast<int>(Shape.rewards.size()), false);
    Initialize();
}

PerformanceVariableNode* TestPVModel::createPVNode(int pvIndex, int timeIndex) {
    const auto& [name, reward] = Shape.rewards[static_cast<std::size_t>(pvIndex)];
    return new TestNode(name, reward, timeIndex);
}

Outcome runGenerator(PVModel* model, const testsupport::TempDir& dir, int traceLevel, short absorb,
                     double hashValue, const char* traceFile) {
    char* traceName = traceFile ? strdup((dir.path() + traceFile).c_str()) : nullptr;
    std::ios::fmtflags flags = std::cout.flags();
    testing::internal::CaptureStdout();
    {
        StateSpaceGen generator(model, dir.path().c_str(), "run", absorb, hashValue, nullptr,
                                nullptr, traceName);
        generator.TraceLevel = traceLevel;
        generator.InitializeTrace();
        generator.GenStateSpace();
    }
    Outcome run;
    run.out = testing::internal::GetCapturedStdout();
    std::cout.flags(flags);
    run.out.erase(run.out.rfind("Computation Time (user + system): "));
    run.arm = testsupport::readFile(dir.path() + "run.arm");
    run.var = testsupport::readFile(dir.path() + "run.var");
    run.det = testsupport::readFile(dir.path() + "run.det");
    return run;
}

std::string armHeader(int count, int placeholder) {
    std::string digits = std::to_string(count);
    return "1\n" + digits + "\n" + std::string(placeholder - 1 - digits.size(), ' ') + "\n";
}

} // namespace testmodel
