#include "pv/PerformanceVariableNode.h"

#include "actions/BaseActionClass.h"
#include "actions/BaseGroupClass.h"
#include "base/Assert.h"
#include "base/Errors.h"
#include "base/FastSet.h"
#include "base/List.h"
#include "base/NewArray.h"
#include "models/BaseModelClass.h"
#include "pv/ImpulseNodeClass.h"
#include "pv/PerformanceVariableWorker.h"

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>
#include <unordered_map>

int PerformanceVariableNode::the_id = 0;

namespace {

// Ends the run when generated code adds more than the room it gave to Initialize:
// a configuration error of the reward model, which ends with status 0 like the
// other errors found while the reward model is built.
[[noreturn]] void refuseAddition(const char* operation, const char* node, const char* what,
                                 int room, const char* name) {
    std::cerr << "!! PerformanceVariableNode::" << operation << ": performance variable \""
              << (node != nullptr ? node : "") << "\" has room for " << room << ' ' << what
              << "; cannot add \"" << name << "\"" << std::endl;
    std::exit(0);
}

// How many nodes have updated since each action last fired (UpdateDependencies).
std::unordered_map<const BaseActionClass*, int>& updatedNodeCounts() {
    static std::unordered_map<const BaseActionClass*, int> counts;
    return counts;
}

int countModels(BaseModelClass* submodel, const char* name, List<BaseModelClass>& scratch) {
    scratch.clearList();
    submodel->listModels(name, &scratch);
    return scratch.getNumItems();
}

} // namespace

PerformanceVariableNode::~PerformanceVariableNode() {
    delete[] VarDeps;
    delete[] ModelGroups;
    for (int d = 0; d < NumModelDeps; ++d)
        delete[] ModelDeps[d];
    delete[] ModelDeps;
    for (int i = 0; i < NumImpulses; ++i) {
        if (ImpulseModelDeps != nullptr && ImpulseModelDeps[i] != nullptr) {
            for (int d = 0; d < ImpulseModelDepCounts[i]; ++d)
                delete[] ImpulseModelDeps[i][d];
            delete[] ImpulseModelDeps[i];
        }
        if (ImpulseModelGroups != nullptr)
            delete[] ImpulseModelGroups[i];
        if (ImpulseWorkers != nullptr)
            delete[] ImpulseWorkers[i];
    }
    delete[] ImpulseModelGroups;
    delete[] ImpulseWorkers;
    delete[] NumImpulseWorkers;
    delete[] ImpulseNodes;
    delete[] ImpulseModelDeps;
    delete[] ImpulseModelDepCounts;
    delete[] ImpulsePairs;
    delete[] ImpulseActionModelCounts;
    delete[] Workers;
    delete[] NodeActions;
    delete[] Name;
    delete[] StartTimes;
    delete[] StopTimes;
}

void PerformanceVariableNode::Initialize(char const* name, RewardType type, int numTimePoints,
                                         double* starts, double* stops, int timeIndex,
                                         int numImpulses, int numModelDeps, int numVarDeps) {
    GEN_ASSERT(Id < 0, "PerformanceVariableNode");
    Id = the_id++;
    Type = type;
    InitializeTimeArrays(numTimePoints, starts, stops);
    if (timeIndex >= 0 && timeIndex < numTimePoints) {
        StartTime = StartTimes[timeIndex];
        StopTime = StopTimes[timeIndex];
        IntervalLength = StopTime - StartTime;
    }
    Name = copyText(name);

    VarDepRoom = numVarDeps;
    ModelDepRoom = numModelDeps;
    ImpulseRoom = numImpulses;
    if (numVarDeps > 0)
        VarDeps = newRawArray<VarModelPairClass>(numVarDeps);
    if (numModelDeps > 0)
        ModelDeps = newRawArray<char*>(numModelDeps);
    if (numImpulses > 0) {
        ImpulseNodes = newRawArray<ImpulseNodeClass*>(numImpulses);
        ImpulseWorkers = newRawArray<ImpulseNodeClass**>(numImpulses);
        NumImpulseWorkers = newRawArray<int>(numImpulses);
        ImpulseActionModelCounts = newRawArray<int>(numImpulses);
        ImpulseModelDeps = newRawArray<char**>(numImpulses);
        ImpulseModelDepCounts = newRawArray<int>(numImpulses);
        ImpulsePairs = newRawArray<ActionModelPairClass>(numImpulses);
    }
}

void PerformanceVariableNode::InitializeTimeArrays(int n, double* starts, double* stops) {
    double* newStarts = newRawArray<double>(n);
    double* newStops = newRawArray<double>(n);
    for (int k = 0; k < n; ++k) {
        newStarts[k] = starts[k];
        newStops[k] = stops[k];
    }
    delete[] StartTimes;
    delete[] StopTimes;
    StartTimes = newStarts;
    StopTimes = newStops;
    NumTimePoints = n;
}

void PerformanceVariableNode::AddVariableDependency(const char* variable, const char* model) {
    if (NumVarDeps >= VarDepRoom)
        refuseAddition("AddVariableDependency", Name, "variable dependencies", VarDepRoom,
                       variable);
    VarDeps[NumVarDeps].SetPair(variable, model);
    ++NumVarDeps;
    AddModelDependency(model);
}

void PerformanceVariableNode::AddModelDependency(const char* model) {
    if (IsDependentOnModel(model))
        return;
    if (NumModelDeps >= ModelDepRoom)
        refuseAddition("AddModelDependency", Name, "model dependencies", ModelDepRoom, model);
    ModelDeps[NumModelDeps++] = copyText(model);
}

bool PerformanceVariableNode::IsDependentOnModel(const char* model) const {
    for (int d = 0; d < NumModelDeps; ++d)
        if (std::strcmp(ModelDeps[d], model) == 0)
            return true;
    return false;
}

void PerformanceVariableNode::FixReferences(BaseModelClass* model) {
    ModelRefs[0] = model;
    GetNumberOfWorkers();
    GetNumberOfImpulseWorkers();
    delete[] Workers;
    Workers = newRawArray<PerformanceVariableWorker*>(NumWorkers);
}

void PerformanceVariableNode::GetNumberOfWorkers() {
    NumWorkers = NumModelDeps != 0 ? 1 : 0;
    List<BaseModelClass> models;
    for (int d = 0; d < NumModelDeps; ++d)
        NumWorkers *= countModels(ModelRefs[0], ModelDeps[d], models);
}

void PerformanceVariableNode::CreateModelGroupList() {
    delete[] ModelGroups;
    ModelGroups = newRawArray<ModelGroupClass>(NumWorkers);
    for (int w = 0; w < NumWorkers; ++w)
        ModelGroups[w].CreateModelList(NumModelDeps);

    // The first dependency varies slowest: each dependency divides the stride
    // by its number of instances.
    int stride = NumWorkers;
    List<BaseModelClass> models;
    for (int d = 0; d < NumModelDeps; ++d) {
        int n = countModels(ModelRefs[0], ModelDeps[d], models);
        if (n == 0) {
            std::cerr << "Number of " << ModelDeps[d] << "'s was " << 0
                      << ".  Model cannot be created.\n";
            if (ModelRefs[0]->Name != nullptr)
                std::cerr << "Model Name was: " << ModelRefs[0]->Name << "\n.";
            else
                std::cerr << "Model Name was: NULL\n";
            std::cerr.flush();
            std::exit(0);
        }
        stride /= n;
        int index = -1;
        for (int w = 0; w < NumWorkers; ++w) {
            if (w % stride == 0)
                index = (index + 1) % n;
            ModelGroups[w].SetModel(d, models.getItem(index));
        }
    }
}

void PerformanceVariableNode::FixWorkerList() {
    for (int w = 0; w < NumWorkers; ++w) {
        PerformanceVariableWorker* worker = Workers[w];
        GEN_ASSERT(worker != nullptr, "PerformanceVariableNode");
        GEN_ASSERT(worker->NumModelRefs >= NumModelDeps, "PerformanceVariableNode");
        worker->StartTime = StartTime;
        worker->StopTime = StopTime;
        worker->DefineName(Name, w);
        worker->PVId = Id;
        for (int d = 0; d < NumModelDeps; ++d)
            *worker->ModelRefs[d] = ModelGroups[w].Models[d];
    }
}

void PerformanceVariableNode::AddPVWorkersToAction(BaseActionClass* action, BaseModelClass* model) {
    for (int w = 0; w < NumWorkers; ++w)
        if (ModelGroups[w].IsDependentOnModel(model))
            action->PVRateWorkers[Id].insert(w);
}

void PerformanceVariableNode::DefineName(const char* name) {
    for (int w = 0; w < NumWorkers; ++w)
        if (Workers[w] != nullptr)
            Workers[w]->DefineName(name, w);
    for (int i = 0; i < NumImpulses; ++i) {
        if (ImpulseWorkers[i] == nullptr)
            continue;
        for (int k = 0; k < NumImpulseWorkers[i]; ++k)
            ImpulseWorkers[i][k]->DefineName(name, i, k);
    }
}

void PerformanceVariableNode::CurrentReward(BaseActionClass* action) {
    RateReward = 0.0;
    RateRewardSquared = 0.0;
    for (int w = 0; w < NumWorkers; ++w) {
        PerformanceVariableWorker* worker = Workers[w];
        worker->CurrentReward();
        RateReward += worker->Reward;
        RateRewardSquared += worker->RewardSquared;
    }

    ImpulseReward = 0.0;
    ImpulseRewardSquared = 0.0;
    if (action->AffectedNodesByImpulseReward.contains(Id))
        AddImpulseValues(action, ImpulseReward, ImpulseRewardSquared);
    // A synchronizing action also earns the impulses of its member actions.
    if (action->isSync())
        AddMemberImpulseValues(action, ImpulseReward, ImpulseRewardSquared);
}

double PerformanceVariableNode::FiringImpulse(BaseActionClass* action) {
    double sum = 0.0;
    double squares = 0.0;
    if (action->AffectedNodesByImpulseReward.contains(Id))
        AddImpulseValues(action, sum, squares);
    if (action->isSync())
        AddMemberImpulseValues(action, sum, squares);
    return sum;
}

void PerformanceVariableNode::AddImpulseValues(BaseActionClass* action, double& sum,
                                               double& squares) {
    FastSet& impulses = action->PVImpulseSets[Id];
    int* const* workerLists = action->PVImpulseWorkers[Id];
    const int* workerCounts = action->PVImpulseWorkerCounts[Id];
    int numImpulses = impulses.size();
    for (int i = 0; i < numImpulses; ++i) {
        int j = impulses[i];
        const int* workers = workerLists[j];
        int count = workerCounts[j];
        ImpulseNodeClass** impulseWorkers = ImpulseWorkers[j];
        for (int k = 0; k < count; ++k) {
            ImpulseNodeClass* worker = impulseWorkers[workers[k]];
            worker->CurrentReward();
            sum += worker->Value;
            squares += worker->ValueSquared;
        }
    }
}

void PerformanceVariableNode::AddMemberImpulseValues(BaseActionClass* action, double& sum,
                                                     double& squares) {
    int n = NumSyncMembers(action);
    for (int m = 0; m < n; ++m) {
        BaseActionClass* member = SyncMember(action, m);
        if (member->AffectedNodesByImpulseReward.contains(Id))
            AddImpulseValues(member, sum, squares);
        if (member->isSync())
            AddMemberImpulseValues(member, sum, squares);
    }
}

bool PerformanceVariableNode::ImpulseAffectedBy(BaseActionClass* action) const {
    if (action->AffectedNodesByImpulseReward.contains(Id))
        return true;
    if (!action->isSync())
        return false;
    int n = NumSyncMembers(action);
    for (int m = 0; m < n; ++m)
        if (ImpulseAffectedBy(SyncMember(action, m)))
            return true;
    return false;
}

void PerformanceVariableNode::Reset() {
    RateReward = 0.0;
    RateRewardSquared = 0.0;
    ImpulseReward = 0.0;
    ImpulseRewardSquared = 0.0;
    AccumulationState = 0;
    for (int w = 0; w < NumWorkers; ++w)
        if (Workers[w] != nullptr)
            Workers[w]->Reset();
    for (int i = 0; i < NumImpulses; ++i) {
        if (ImpulseWorkers[i] == nullptr)
            continue;
        for (int k = 0; k < NumImpulseWorkers[i]; ++k)
            ImpulseWorkers[i][k]->Reset();
    }
}

// ---- Impulses ----

int PerformanceVariableNode::ImpulseModelDepRoom(int impulse) const {
    int room = ImpulseNodes[impulse]->NumModelRefs;
    return room > 0 ? room : 1;
}

void PerformanceVariableNode::AddImpulse(const char* action, const char* model,
                                         ImpulseNodeClass* node) {
    int i = GetImpulseNumber(node);
    if (i < 0) {
        if (NumImpulses >= ImpulseRoom)
            refuseAddition("AddImpulse", Name, "impulses", ImpulseRoom, action);
        i = NumImpulses;
        ImpulseNodes[i] = node;
        // A node without model references still gets room for its action's model.
        ImpulseModelDeps[i] = newRawArray<char*>(ImpulseModelDepRoom(i));
        ++NumImpulses;
    }
    ImpulsePairs[i].SetPair(action, model);
    AddImpulseModelDependency(model, node);
}

void PerformanceVariableNode::AddImpulseModelDependency(const char* model, ImpulseNodeClass* node) {
    int i = GetImpulseNumber(node);
    if (i < 0) {
        std::cerr << "Model Dependency requested on undefined impulse."
                  << "  Check code generator.  Error code GP0001.\n";
        std::cerr.flush();
        std::exit(0);
    }
    if (!IsDependentOnImpulseModel(model, i))
        AddImpulseModelDependency(model, i);
}

void PerformanceVariableNode::AddImpulseModelDependency(const char* model, int impulse) {
    GEN_ASSERT(impulse >= 0 && impulse < NumImpulses, "PerformanceVariableNode");
    int room = ImpulseModelDepRoom(impulse);
    if (ImpulseModelDepCounts[impulse] >= room)
        refuseAddition("AddImpulseModelDependency", Name, "impulse model names", room, model);
    ImpulseModelDeps[impulse][ImpulseModelDepCounts[impulse]++] = copyText(model);
}

void PerformanceVariableNode::AddImpulseActionDependency(const char* action, const char* model,
                                                         int impulse) {
    GEN_ASSERT(impulse >= 0 && impulse < NumImpulses, "PerformanceVariableNode");
    ImpulsePairs[impulse].SetPair(action, model);
}

bool PerformanceVariableNode::IsDependentOnImpulseModel(const char* model, int impulse) const {
    for (int d = 0; d < ImpulseModelDepCounts[impulse]; ++d)
        if (std::strcmp(ImpulseModelDeps[impulse][d], model) == 0)
            return true;
    return false;
}

int PerformanceVariableNode::GetImpulseNumber(const ImpulseNodeClass* node) const {
    for (int i = 0; i < NumImpulses; ++i)
        if (ImpulseNodes[i] == node)
            return i;
    return -1;
}

void PerformanceVariableNode::GetNumberOfImpulseWorkers() {
    List<BaseModelClass> models;
    for (int i = 0; i < NumImpulses; ++i) {
        NumImpulseWorkers[i] = 1;
        for (int d = 0; d < ImpulseModelDepCounts[i]; ++d)
            NumImpulseWorkers[i] *= countModels(ModelRefs[0], ImpulseModelDeps[i][d], models);
        ImpulseActionModelCounts[i] = countModels(ModelRefs[0], ImpulsePairs[i].Model, models);
        if (!IsDependentOnImpulseModel(ImpulsePairs[i].Model, i))
            NumImpulseWorkers[i] *= ImpulseActionModelCounts[i];
    }
}

void PerformanceVariableNode::CreateImpulseWorkerLists() {
    for (int i = 0; i < NumImpulses; ++i) {
        delete[] ImpulseWorkers[i];
        ImpulseWorkers[i] = ImpulseNodes[i]->CreateWorkerList(NumImpulseWorkers[i]);
    }
}

// The workers of an impulse fall into one block per instance of the action's
// model; block b watches instance b. Within a block, the dependency on the
// action's own model names instance b too, and the other dependencies run
// through every combination of their instances, the first varying slowest.
void PerformanceVariableNode::CreateImpulseModelGroupList() {
    delete[] ImpulseModelGroups;
    ImpulseModelGroups = newRawArray<ModelGroupClass*>(NumImpulses);
    List<BaseModelClass> models;
    for (int i = 0; i < NumImpulses; ++i) {
        int workers = NumImpulseWorkers[i];
        int blocks = ImpulseActionModelCounts[i];
        int deps = ImpulseModelDepCounts[i];
        ImpulseModelGroups[i] = newRawArray<ModelGroupClass>(workers);
        for (int w = 0; w < workers; ++w)
            ImpulseModelGroups[i][w].CreateModelList(deps);
        if (workers == 0 || blocks < 1 || deps < 1)
            continue;
        int blockSize = workers / blocks;
        int stride = blockSize;
        for (int d = 0; d < deps; ++d) {
            int n = countModels(ModelRefs[0], ImpulseModelDeps[i][d], models);
            bool actionModel = std::strcmp(ImpulseModelDeps[i][d], ImpulsePairs[i].Model) == 0;
            if (!actionModel)
                stride /= n;
            for (int w = 0; w < workers; ++w) {
                int block = w / blockSize;
                int index = actionModel ? block : ((w % blockSize) / stride) % n;
                ImpulseModelGroups[i][w].SetModel(d, models.getItem(index));
            }
        }
    }
}

void PerformanceVariableNode::FixImpulseWorkerLists() {
    List<BaseModelClass> instances;
    for (int i = 0; i < NumImpulses; ++i) {
        int workers = NumImpulseWorkers[i];
        int blocks = countModels(ModelRefs[0], ImpulsePairs[i].Model, instances);
        if (workers == 0 || blocks == 0)
            continue;
        int blockSize = workers / blocks;
        for (int w = 0; w < workers; ++w) {
            ImpulseNodeClass* worker = ImpulseWorkers[i][w];
            GEN_ASSERT(worker != nullptr, "PerformanceVariableNode");
            worker->StartTime = StartTime;
            worker->StopTime = StopTime;
            worker->PVId = Id;
            worker->DefineName(Name, i, w);
            worker->Model = instances.getItem(w / blockSize);
            // A worker without model references (room for one name) has none to bind.
            for (int d = 0; d < ImpulseModelDepCounts[i] && d < worker->NumModelRefs; ++d)
                *worker->ModelRefs[d] = ImpulseModelGroups[i][w].Models[d];
        }
    }
}

// ---- Accumulation for simulation ----

void PerformanceVariableNode::Accumulate(double now, double last, BaseActionClass* action) {
    if (AccumulationState == 2 || now < StartTime)
        return;
    CommonAccumulate(now, last, action);
    if (now > StopTime) {
        AccumulationState = 2;
        TotalAccumulation();
    } else {
        AccumulationState = 1;
    }
}

void PerformanceVariableNode::EndAccumulate(double now, double last, BaseActionClass* action) {
    if (AccumulationState == 2)
        return;
    CommonAccumulate(now, last, action);
    for (int i = 0; i < NumImpulses; ++i)
        for (int k = 0; k < NumImpulseWorkers[i]; ++k)
            ImpulseWorkers[i][k]->EndAccumulate(now);
    if (now + 1.0 > StopTime) {
        AccumulationState = 2;
        TotalAccumulation();
    } else {
        AccumulationState = 1;
    }
}

void PerformanceVariableNode::UpdateAccumulate(double now) {
    if (now > StopTime) {
        AccumulationState = 2;
        TotalAccumulation();
    } else {
        AccumulationState = 1;
    }
}

void PerformanceVariableNode::CommonAccumulate(double now, double last, BaseActionClass* action) {
    double sum = 0.0;
    for (int w = 0; w < NumWorkers; ++w) {
        Workers[w]->Accumulate(now, last);
        sum += Workers[w]->Reward;
    }
    if (Type != InstantOfTimeType && NumWorkers > 0) {
        double weight = Workers[0]->Weight;
        RateReward += weight * sum;
        RateRewardSquared += weight * sum * sum;
    }
    bool own = action->AffectedNodesByImpulseReward.contains(Id);
    if (!own && !(action->isSync() && ImpulseAffectedBy(action)))
        return;
    if (own)
        AccumulateImpulseWorkers(now, last, action);
    if (action->isSync()) {
        int n = NumSyncMembers(action);
        for (int m = 0; m < n; ++m)
            CommonAccumulate(now, last, SyncMember(action, m));
    }
}

void PerformanceVariableNode::AccumulateImpulseWorkers(double now, double last,
                                                       BaseActionClass* action) {
    FastSet& impulses = action->PVImpulseSets[Id];
    for (int i = 0; i < impulses.size(); ++i) {
        int j = impulses[i];
        const int* workers = action->PVImpulseWorkers[Id][j];
        int count = action->PVImpulseWorkerCounts[Id][j];
        for (int k = 0; k < count; ++k)
            ImpulseWorkers[j][workers[k]]->Accumulate(now, last);
    }
}

void PerformanceVariableNode::TotalAccumulation() {
    if (Type == InstantOfTimeType && NumWorkers > 0) {
        double sum = 0.0;
        for (int w = 0; w < NumWorkers; ++w)
            sum += Workers[w]->Reward;
        double weight = Workers[0]->Weight;
        RateReward += weight * sum;
        RateRewardSquared += weight * sum * sum;
    }
    ImpulseReward = 0.0;
    ImpulseRewardSquared = 0.0;
    for (int i = 0; i < NumImpulses; ++i) {
        for (int k = 0; k < NumImpulseWorkers[i]; ++k) {
            ImpulseReward += ImpulseWorkers[i][k]->Value;
            ImpulseRewardSquared += ImpulseWorkers[i][k]->ValueSquared;
        }
    }
    RateReward += ImpulseReward;
    RateRewardSquared += ImpulseRewardSquared;
}

void PerformanceVariableNode::ForgetUpdates(const BaseActionClass* action) {
    updatedNodeCounts().erase(action);
}

void PerformanceVariableNode::UpdateDependencies() {
    auto& counts = updatedNodeCounts();
    for (int a = 0; a < NumNodeActions; ++a) {
        BaseActionClass* action = NodeActions[a];
        int& updated = counts[action];
        if (++updated >= action->AffectedNodes.size()) {
            action->AffectedNodes.clear();
            counts.erase(action);
        }
    }
}

int PerformanceVariableNode::NumSyncMembers(BaseActionClass* action) {
    auto* group = dynamic_cast<BaseGroupClass*>(action);
    return group != nullptr ? group->NumMembers : 0;
}

BaseActionClass* PerformanceVariableNode::SyncMember(BaseActionClass* action, int i) {
    return static_cast<BaseGroupClass*>(action)->Members[i];
}
