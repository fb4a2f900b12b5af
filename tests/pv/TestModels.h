#pragma once
// Small models for the reward-machinery tests: a three-place SAN, a model made
// of several such SANs (replicas), nodes and workers that read one place, and
// a reward model whose nodes come from a factory function.

#include "actions/Activity.h"
#include "models/SANModel.h"
#include "pv/ImpulseNodeClass.h"
#include "pv/InstantOfTime.h"
#include "pv/PVModel.h"
#include "pv/PerformanceVariableNode.h"
#include "state/Place.h"

#include <vector>

namespace pvtest {

// Moves a token from `from` to `to`; enabled while `from` holds one.
struct MoveActivity : Activity {
    MoveActivity(const char* name, int groupId);
    bool Enabled() override;
    double Rate() override { return 1.0; }
    BaseActionClass* Fire() override;
    void LinkVariables() override {}
    Place* from = nullptr;
    Place* to = nullptr;
};

// Places p (1), q (0), r (0); go moves p to q, back q to p, spill q to r.
struct TestSAN : SANModel {
    explicit TestSAN(const char* name);
    ~TestSAN() override;
    Place* p;
    Place* q;
    Place* r;
    MoveActivity go{"go", 0};
    MoveActivity back{"back", 1};
    MoveActivity spill{"spill", 2};
};

// A model made of SANs (owned), listed and packed in order.
struct ReplicaModel : BaseModelClass {
    ReplicaModel(std::vector<TestSAN*> parts, const char* name);
    ~ReplicaModel() override;
    void listModels(const char* n, List<BaseModelClass>* l) override;
    void CurrentState(void* to) override;
    void listActions(List<BaseActionClass>* l) override;
    void listGroups(List<BaseGroupClass>* l) override;
    void SetState(void* from) override;
    int StateSize() override { return 6 * static_cast<int>(parts.size()); }
    bool CompareState(void*, void*) override { return false; }
    void listActions(const char* n, List<BaseActionClass>* l) override;
    void listSVs(const char* m, const char* v, List<BaseStateVariableClass>* svs,
                 List<BaseModelClass>* models) override;
    std::vector<TestSAN*> parts;
};

// The marking of the place named `place` of a TestSAN.
short markingOf(BaseModelClass* model, const char* place);

// Worker with two model references: scale × the marking of `place` in the first.
struct PlaceWorker : InstantOfTime {
    PlaceWorker(const char* place, double scale);
    ~PlaceWorker() override { delete[] ModelRefs; }
    double Reward_Function() override { return scale * markingOf(first, place); }
    BaseModelClass* first = nullptr;
    BaseModelClass* second = nullptr;
    const char* place;
    double scale;
};

// Impulse worth scale × the marking of `place` in the watched model plus
// perWorker × its worker number; the registered object owns the workers it makes.
struct CountingImpulse : ImpulseNodeClass {
    CountingImpulse(int refs, const char* place, double scale, double perWorker);
    ~CountingImpulse() override;
    void EndAccumulate(double) override {}
    double Impulse_Function() override;
    void Accumulate(double, double) override { CurrentReward(); }
    void CurrentReward() override;
    void Reset() override { ImpulseNodeClass::Reset(); }
    ImpulseNodeClass** CreateWorkerList(int count) override;
    BaseModelClass* first = nullptr;
    BaseModelClass* second = nullptr;
    const char* place;
    double scale;
    double perWorker;
    std::vector<ImpulseNodeClass*> created;
};

// Node whose workers are PlaceWorkers; owns its workers and registered impulses.
struct PlaceNode : PerformanceVariableNode {
    PlaceNode(const char* place = "q", double scale = 1.0) : place(place), scale(scale) {
        ModelRefs = &slot;
    }
    ~PlaceNode() override;
    void CreateWorkerList() override;
    CountingImpulse* addImpulse(const char* action, const char* model, int refs, double scale,
                                double perWorker);
    BaseModelClass* slot = nullptr;
    const char* place;
    double scale;
    std::vector<ImpulseNodeClass*> impulses;
};

// Reward model over `submodel` (owned) whose nodes come from `factory`.
struct TestPVModel : PVModel {
    using Factory = PerformanceVariableNode* (*)(int pvIndex, int timeIndex);
    TestPVModel(BaseModelClass* submodel, int numPVs, bool expand, Factory factory);
    PerformanceVariableNode* createPVNode(int pvIndex, int timeIndex) override;
    Factory factory;
    std::vector<int> timeIndices; // of every node created, in order
};

} // namespace pvtest
