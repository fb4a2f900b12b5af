#include "TestModel.h"

#include "actions/Activity.h"
#include "actions/BaseGroupClass.h"
#include "models/SANModel.h"
#include "pv/InstantOfTime.h"
#include "pv/PerformanceVariableNode.h"
#include "state/Place.h"

#include <memory>

namespace testmodel {

short Marking::operator[](int i) const {
    return Places[i]->getMark();
}
void Marking::set(int i, int value) const {
    Places[i]->setMark(static_cast<short>(value));
}

namespace {

class TestActivity : public Activity {
public:
    TestActivity(const ActivitySpec& spec, const std::vector<Place*>& places)
        : Spec(spec), Marks(places) {
        ActivityInitialize(spec.name.c_str(), 0, spec.type, DefaultPolicy, 0, 0, false);
    }
    bool Enabled() override {
        PreviousEnabled = CurrentEnabled;
        CurrentEnabled = Spec.enabled(Marks);
        return CurrentEnabled;
    }
    double Rate() override { return Spec.rate(Marks); }
    double Weight() override { return Spec.weight(Marks); }
    int Rank() override { return Spec.rank(Marks); }
    double ErlangParamM() override { return Spec.erlangM; }
    double* ReturnDistributionParameters() override {
        Parameters[0] = Spec.type == Deterministic ? Spec.delay : Rate();
        return Parameters;
    }
    BaseActionClass* Fire() override {
        Spec.fire(Marks);
        return this;
    }
    void LinkVariables() override {}

private:
    const ActivitySpec& Spec; // owned by the model's spec
    Marking Marks;
    double Parameters[1] = {0.0};
};

class TestSAN : public SANModel {
public:
    explicit TestSAN(const ModelSpec& spec) {
        for (const auto& [name, initial] : spec.places)
            Places_.push_back(std::make_unique<Place>(name.c_str(), initial));
        for (const auto& place : Places_)
            PlacePointers.push_back(place.get());
        for (const ActivitySpec& activity : spec.activities)
            Activities.push_back(std::make_unique<TestActivity>(activity, PlacePointers));

        // Own groups first, in activity order, then the shared groups.
        std::vector<BaseGroupClass*> groups;
        for (std::size_t i = 0; i < Activities.size(); ++i) {
            if (spec.activities[i].group < 0) {
                Activities[i]->GroupID = static_cast<int>(groups.size());
                groups.push_back(Activities[i].get());
            }
        }
        for (std::size_t g = 0; g < spec.groups.size(); ++g) {
            int id = static_cast<int>(groups.size());
            SharedGroups.push_back(std::make_unique<BaseGroupClass>(
                spec.groups[g].c_str(), id, Exponential, DefaultPolicy, 0, 0, false));
            for (std::size_t i = 0; i < Activities.size(); ++i) {
                if (spec.activities[i].group == static_cast<int>(g)) {
                    SharedGroups.back()->appendGroup(Activities[i].get());
                    Activities[i]->GroupID = id;
                }
            }
            groups.push_back(SharedGroups.back().get());
        }

        std::vector<BaseStateVariableClass*> places(PlacePointers.begin(), PlacePointers.end());
        std::vector<Activity*> activities;
        for (const auto& activity : Activities)
            activities.push_back(activity.get());
        initializeSANModelNow("test", static_cast<int>(places.size()), places.data(), 0, nullptr,
                              static_cast<int>(activities.size()), activities.data(),
                              static_cast<int>(groups.size()), groups.data());
    }

    std::vector<Place*> PlacePointers;

private:
    std::vector<std::unique_ptr<Place>> Places_;
    std::vector<std::unique_ptr<TestActivity>> Activities;
    std::vector<std::unique_ptr<BaseGroupClass>> SharedGroups;
};

class TestWorker : public InstantOfTime {
public:
    explicit TestWorker(const Value& reward) : Reward_(reward) {
        NumModelRefs = 1;
        ModelRefs = new BaseModelClass** [1] { &Model };
    }
    ~TestWorker() override { delete[] ModelRefs; }
    double Reward_Function() override {
        return Reward_(Marking(static_cast<TestSAN*>(Model)->PlacePointers));
    }

private:
    const Value& Reward_;            // owned by the model's spec
    BaseModelClass* Model = nullptr; // not owned; set by the node
};

class TestNode : public PerformanceVariableNode {
public:
    TestNode(const std::string& name, const Value& reward, int timeIndex) : Reward_(reward) {
        ModelRefs = &ModelSlot;
        double starts[] = {0.0};
        double stops[] = {0.0};
        Initialize(name.c_str(), InstantOfTimeType, 1, starts, stops, timeIndex, 0, 1, 0);
        AddModelDependency("test");
    }
    ~TestNode() override {
        for (int w = 0; Workers != nullptr && w < NumWorkers; ++w)
            delete Workers[w];
    }
    void CreateWorkerList() override {
        for (int w = 0; w < NumWorkers; ++w)
            Workers[w] = new TestWorker(Reward_);
    }

private:
    const Value& Reward_; // owned by the model's spec
    BaseModelClass* ModelSlot = nullptr;
};

} // namespace

TestPVModel::TestPVModel(ModelSpec spec) : Spec(std::move(spec)) {
    SubModel = new TestSAN(Spec);
    DefineName("testPVModel");
    // A node's number is its position in the list: each test model starts at 0.
    PerformanceVariableNode::the_id = 0;
    CreatePVList(static_cast<int>(Spec.rewards.size()), false);
    Initialize();
}

PerformanceVariableNode* TestPVModel::createPVNode(int pvIndex, int timeIndex) {
    const auto& [name, reward] = Spec.rewards[static_cast<std::size_t>(pvIndex)];
    return new TestNode(name, reward, timeIndex);
}

} // namespace testmodel
