#include "pv/PVModel.h"

#include "actions/BaseGroupClass.h"
#include "base/Assert.h"
#include "base/Errors.h"
#include "base/FastSet.h"
#include "base/List.h"
#include "base/NewArray.h"
#include "pv/ImpulseNodeClass.h"
#include "pv/PerformanceVariableNode.h"
#include "state/BaseStateVariableClass.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <new>

namespace {

// Freezes an action's impulse sets (and those of a synchronizing action's
// members, depth first); a set reached twice is frozen once.
void freezeImpulseSets(BaseActionClass* action, int numPVs) {
    if (!action->IsPVImpulseDSAllocated())
        action->AllocatePVImpulseDS(numPVs);
    for (int p = 0; p < numPVs; ++p)
        if (!action->PVImpulseSets[p].isFrozen())
            action->PVImpulseSets[p].NoMoreModifications();
    if (!action->AffectedNodesByImpulseReward.isFrozen())
        action->AffectedNodesByImpulseReward.NoMoreModifications();
    if (action->isSync()) {
        int n = PerformanceVariableNode::NumSyncMembers(action);
        for (int m = 0; m < n; ++m)
            freezeImpulseSets(PerformanceVariableNode::SyncMember(action, m), numPVs);
    }
}

} // namespace

PVModel::PVModel() : LastAction(&NoActionFiredYet) {
    NoActionFiredYet.defineName("No Action Fired Yet");
    BaseModelClass::LastActionTime = 0.0;
}

PVModel::~PVModel() {
    Destruct();
}

// ---- State operations ----

void PVModel::listModels(const char* name, List<BaseModelClass>* models) {
    SubModel->listModels(name, models);
}

void PVModel::CurrentState(void* to) {
    SubModel->CurrentState(to);
}

void PVModel::listActions(List<BaseActionClass>* actions) {
    actions->append(ActionList, NumActions);
}

void PVModel::listGroups(List<BaseGroupClass>* groups) {
    groups->append(Groups, NumGroups);
}

void PVModel::SetState(void* from) {
    SubModel->SetState(from);
}

bool PVModel::GetStateMap(StateMap& map) {
    if (SubModel == nullptr)
        return BaseModelClass::GetStateMap(map);
    return SubModel->GetStateMap(map);
}

int PVModel::StateSize() {
    // The submodel's size as it is now (sharing may have changed it since Initialize).
    if (SubModel != nullptr)
        TotalStateSize = SANStateSize = SubModel->StateSize();
    return TotalStateSize;
}

bool PVModel::CompareState(void* a, void* b) {
    return SubModel->CompareState(a, b);
}

void PVModel::listActions(const char* name, List<BaseActionClass>* actions) {
    SubModel->listActions(name, actions);
}

void PVModel::listSVs(const char* modelName, const char* svName, List<BaseStateVariableClass>* svs,
                      List<BaseModelClass>* models) {
    SubModel->listSVs(modelName, svName, svs, models);
}

void PVModel::printState(std::ostream* os) {
    SubModel->printState(os);
}

// ---- Construction ----

void PVModel::CreatePVList(int numPVs, bool expandTimePoints) {
    int room = 100;
    PVList = newRawArray<PerformanceVariableNode*>(room);
    int count = 0;
    // Node ids double as positions in PVList; every reward model of the process
    // numbers its nodes from 0.
    PerformanceVariableNode::the_id = 0;
    for (int i = 0; i < numPVs; ++i) {
        PerformanceVariableNode* node = createPVNode(i, 0);
        GEN_ASSERT(node != nullptr, "PVModel");
        int t = node->GetNumTimePoints();
        if (count + t >= room) {
            int grown = 2 * (room + t);
            PerformanceVariableNode** larger = newRawArray<PerformanceVariableNode*>(grown);
            for (int k = 0; k < count; ++k)
                larger[k] = PVList[k];
            delete[] PVList;
            PVList = larger;
            room = grown;
        }
        PVList[count] = node;
        if (expandTimePoints && t >= 2) {
            for (int j = 1; j < t; ++j)
                PVList[count + j] = createPVNode(i, j);
            count += t;
        } else {
            count += 1;
        }
    }
    NumPVs = count;
}

void PVModel::Initialize() {
    NoActionFiredYet.AllocatePVRateDS(NumPVs);
    NoActionFiredYet.AllocatePVImpulseDS(NumPVs);
    for (int p = 0; p < NumPVs; ++p) {
        NoActionFiredYet.PVRateWorkers[p].NoMoreModifications();
        NoActionFiredYet.PVImpulseSets[p].NoMoreModifications();
    }
    NoActionFiredYet.AffectedNodesByImpulseReward.NoMoreModifications();
    NoActionFiredYet.AffectedNodesByRateReward.NoMoreModifications();

    // The submodel keeps ownership of its arrays; this model only reads them.
    Groups = SubModel->Groups;
    NumGroups = SubModel->NumGroups;
    Actions = SubModel->Actions;
    NumActions = SubModel->NumActions;
    ActionList = Actions;
    NumStateVariables = SubModel->NumStateVariables;

    for (int p = 0; p < NumPVs; ++p) {
        GEN_ASSERT(PVList[p]->Id == p, "PVModel");
        PVList[p]->FixReferences(SubModel);
    }
    MakeAffectedLists();
    MakeImpulseAffectedLists();
    CreateAffectedLists();

    SANStateSize = SubModel->StateSize();
    TotalStateSize = SANStateSize;
}

void PVModel::ConsiderOnly(int* indices, int count) {
    if (indices == nullptr) {
        ConsideredPVs.insert(ConsideredPVs.end(), PVList, PVList + NumPVs);
        return;
    }
    ConsideredPVs.reserve(ConsideredPVs.size() + count);
    for (int i = 0; i < count; ++i) {
        GEN_ASSERT(indices[i] >= 0 && indices[i] < NumPVs, "PVModel");
        ConsideredPVs.push_back(PVList[indices[i]]);
    }
}

// ---- Linking actions and nodes ----

namespace {

// A configuration error of the reward model found while it is built: one line
// naming the performance variable and what it names, then status 0, as for the
// other configuration errors of generated reward code.
[[noreturn]] void configurationError(const PerformanceVariableNode* node, const char* what,
                                     const char* first, const char* between, const char* second,
                                     const char* end) {
    std::cerr << "!! PVModel: performance variable \"" << (node->Name ? node->Name : "") << "\" "
              << what << (first ? first : "") << between << (second ? second : "") << end
              << std::endl;
    std::exit(0);
}

} // namespace

void PVModel::checkImpulseModels(const PerformanceVariableNode* node) {
    // Before the workers are grouped: a model of which there is no instance would
    // give an impulse no worker, and so a reward that is silently always 0.
    List<BaseModelClass> models;
    for (int j = 0; j < node->NumImpulses; ++j) {
        const ActionModelPairClass& pair = node->ImpulsePairs[j];
        models.clearList();
        SubModel->listModels(pair.Model, &models);
        if (models.getNumItems() == 0)
            configurationError(node, "has an impulse on action \"", pair.Action, "\" of model \"",
                               pair.Model, "\", but there is no such model");
        for (int d = 0; d < node->ImpulseModelDepCounts[j]; ++d) {
            models.clearList();
            SubModel->listModels(node->ImpulseModelDeps[j][d], &models);
            if (models.getNumItems() == 0)
                configurationError(node, "has an impulse on action \"", pair.Action,
                                   "\" that depends on model \"", node->ImpulseModelDeps[j][d],
                                   "\", but there is no such model");
        }
    }
}

void PVModel::MakeAffectedLists() {
    List<BaseStateVariableClass> svs;
    List<BaseModelClass> models;
    for (int PVCounter = 0; PVCounter < NumPVs; ++PVCounter) {
        PerformanceVariableNode* node = PVList[PVCounter];
        node->CreateModelGroupList();
        node->CreateWorkerList();
        node->FixWorkerList();
        for (int d = 0; d < node->NumVarDeps; ++d) {
            svs.clearList();
            models.clearList();
            listSVs(node->VarDeps[d].Model, node->VarDeps[d].Variable, &svs, &models);
            if (svs.getNumItems() == 0)
                configurationError(node, "depends on state variable \"", node->VarDeps[d].Variable,
                                   "\" of model \"", node->VarDeps[d].Model,
                                   "\", which that model does not have");
            for (int j = 0; j < svs.getNumItems(); ++j) {
                GEN_ASSERT(j < models.getNumItems(), "PVModel");
                BaseStateVariableClass* sv = svs.getItem(j);
                BaseModelClass* model = models.getItem(j);
                for (int k = 0; k < sv->getNumAffectingActions(); ++k) {
                    BaseActionClass* Action = sv->getAffectingAction(k);
                    if (!Action->IsPVRateDSAllocated()) {
                        Action->AllocatePVRateDS(NumPVs);
                        ++NumRateDSActions;
                    }
                    if (Action->PVRateWorkers[PVCounter].empty()) {
                        GEN_ASSERT(Action->AffectedNodesByRateReward.insert(PVCounter), "PVModel");
                        ++node->NumNodeActions;
                    }
                    node->AddPVWorkersToAction(Action, model);
                }
            }
        }
    }
    for (int a = 0; a < NumActions; ++a) {
        BaseActionClass* action = ActionList[a];
        if (!action->IsPVRateDSAllocated())
            action->AllocatePVRateDS(NumPVs);
        for (int p = 0; p < NumPVs; ++p)
            action->PVRateWorkers[p].NoMoreModifications();
        action->AffectedNodesByRateReward.NoMoreModifications();
    }
}

void PVModel::MakeImpulseAffectedLists() {
    List<BaseModelClass> models;
    List<BaseActionClass> actions;
    for (int PVCounter = 0; PVCounter < NumPVs; ++PVCounter) {
        PerformanceVariableNode* node = PVList[PVCounter];
        checkImpulseModels(node);
        node->CreateImpulseModelGroupList();
        node->CreateImpulseWorkerLists();
        node->FixImpulseWorkerLists();
        for (int j = 0; j < node->NumImpulses; ++j) {
            const ActionModelPairClass& pair = node->ImpulsePairs[j];
            models.clearList();
            SubModel->listModels(pair.Model, &models);
            for (int i = 0; i < models.getNumItems(); ++i) {
                BaseModelClass* model = models.getItem(i);
                actions.clearList();
                model->listActions(pair.Action, &actions);
                if (actions.getNumItems() == 0)
                    configurationError(node, "has an impulse on action \"", pair.Action,
                                       "\" of model \"", pair.Model,
                                       "\", which that model does not have");
                BaseActionClass* action = actions.getItem(0);
                if (!action->IsPVImpulseDSAllocated()) {
                    action->AllocatePVImpulseDS(NumPVs);
                    ++NumImpulseDSActions;
                }
                if (action->PVImpulseSets[PVCounter].empty()) {
                    action->AffectedNodesByImpulseReward.insert(PVCounter);
                    ++node->NumNodeActions;
                    action->PVImpulseWorkers[PVCounter] = newRawArray<int*>(node->NumImpulses);
                    action->PVImpulseWorkerCounts[PVCounter] = newRawArray<int>(node->NumImpulses);
                }
                int*& workers = action->PVImpulseWorkers[PVCounter][j];
                int& count = action->PVImpulseWorkerCounts[PVCounter][j];
                if (workers == nullptr) {
                    action->PVImpulseSets[PVCounter].insert(j);
                    workers = newRawArray<int>(node->NumImpulseWorkers[j]);
                }
                for (int k = 0; k < node->NumImpulseWorkers[j]; ++k)
                    if (node->ImpulseWorkers[j][k]->Model == model)
                        workers[count++] = k;
            }
        }
    }
    for (int a = 0; a < NumActions; ++a)
        freezeImpulseSets(ActionList[a], NumPVs);
}

void PVModel::CreateAffectedLists() {
    for (int p = 0; p < NumPVs; ++p) {
        PerformanceVariableNode* node = PVList[p];
        if (node->NumNodeActions != 0) {
            delete[] node->NodeActions;
            node->NodeActions = newRawArray<BaseActionClass*>(node->NumNodeActions);
        }
        // Room for every counted link; an action that links by both a rate and
        // an impulse reward is listed once.
        node->NodeActionRoom = node->NumNodeActions;
        node->NumNodeActions = 0;
    }
    int total = NumRateDSActions + NumImpulseDSActions;
    if (total == 0)
        return;
    AffectingActions = newRawArray<BaseActionClass*>(total);
    AffectedNodeSets = newRawArray<FastSet*>(total);
    for (int a = 0; a < NumActions; ++a) {
        BaseActionClass* action = ActionList[a];
        if (action->AffectedNodesByRateReward.size() == 0 &&
            action->AffectedNodesByImpulseReward.size() == 0)
            continue;
        CreateTotalPVAffectsList(action);
        GEN_ASSERT(NumAffectingActions < total, "PVModel");
        AffectingActions[NumAffectingActions] = action;
        AffectedNodeSets[NumAffectingActions] = &action->AffectedNodes;
        ++NumAffectingActions;
        for (int i = 0; i < action->AffectedNodes.size(); ++i) {
            PerformanceVariableNode* node = PVList[action->AffectedNodes[i]];
            GEN_ASSERT(node->NumNodeActions < node->NodeActionRoom, "PVModel");
            node->NodeActions[node->NumNodeActions++] = action;
        }
    }
}

void PVModel::CreateTotalPVAffectsList(BaseActionClass* Action) {
    GEN_ASSERT(Action->AffectedNodes.empty(), "PVModel");
    for (int i = 0; i < Action->AffectedNodesByImpulseReward.size(); ++i)
        Action->AffectedNodes.insert(Action->AffectedNodesByImpulseReward[i]);
    for (int i = 0; i < Action->AffectedNodesByRateReward.size(); ++i)
        Action->AffectedNodes.insert(Action->AffectedNodesByRateReward[i]);
    Action->AffectedNodes.NoMoreModifications();
}

// ---- Firing ----

void PVModel::FireAction(void* state, BaseActionClass* action) {
    action->Fire();
    LastAction = action;
    for (PerformanceVariableNode* node : ConsideredPVs)
        node->CurrentReward(action);
    SubModel->CurrentState(state);
}

void PVModel::AgeAction(char*, BaseActionClass*) {
    LastAction = &NoActionFiredYet;
    for (PerformanceVariableNode* node : ConsideredPVs)
        node->CurrentReward(&NoActionFiredYet);
}

void PVModel::FireAction(BaseActionClass* action, double time) {
    BaseModelClass::LastActionTime = time;
    LastAction = action->Fire();
}

void PVModel::Accumulate(double time) {
    for (PerformanceVariableNode* node : ConsideredPVs)
        node->Accumulate(time, BaseModelClass::LastActionTime, LastAction);
}

void PVModel::EndAccumulate(double time) {
    for (PerformanceVariableNode* node : ConsideredPVs)
        if (node->AccumulationState != 2)
            node->EndAccumulate(time, BaseModelClass::LastActionTime, LastAction);
}

void PVModel::PutPVState(void*) {
    for (PerformanceVariableNode* node : ConsideredPVs) {
        node->CurrentReward(&NoActionFiredYet);
        node->ImpulseReward = 0.0;
    }
}

void PVModel::PVReset() {
    for (int p = 0; p < NumPVs; ++p)
        if (PVList[p]->AccumulationState == 1 || PVList[p]->AccumulationState == 2)
            PVList[p]->Reset();
    LastAction = &NoActionFiredYet;
    BaseModelClass::LastActionTime = 0.0;
}

void PVModel::SteadyState() {
    PVReset();
}

// ---- The .pvtype file ----

void PVModel::WritePVTypeFile(const char* fileName) {
    std::ofstream out(fileName, std::ios::out | std::ios::trunc);
    if (!out) {
        std::cerr << "!! PVModel::WritePVTypeFile: cannot open \"" << fileName
                  << "\" for writing; no performance-variable types written" << std::endl;
        return;
    }
    out << "Version:1\n";
    out << "NumPV:" << NumPVs << '\n';
    for (int p = 0; p < NumPVs; ++p) {
        PerformanceVariableNode* node = PVList[p];
        out << "Name:" << node->Name << '\n';
        out << "Type:" << static_cast<int>(node->GetRewardType()) << '\n';
        out << "NumTimes:" << node->GetNumTimePoints() << '\n';
        for (int k = 0; k < node->GetNumTimePoints(); ++k) {
            out << "Start:" << node->GetStartTime(k) << '\n';
            out << "Stop:" << node->GetStopTime(k) << '\n';
        }
    }
}

void PVModel::WriteAbsorptionFile(const char* fileName) const {
    if (NumUntilAbsorption == 0) {
        std::remove(fileName);
        return;
    }
    std::ofstream out(fileName, std::ios::out | std::ios::trunc);
    if (!out) {
        std::cerr << "!! PVModel::WriteAbsorptionFile: cannot open \"" << fileName
                  << "\" for writing; the variables until absorption are not named" << std::endl;
        return;
    }
    out << "Version:1\n";
    out << "NumPV:" << NumUntilAbsorption << '\n';
    for (int p = 0; p < NumUntilAbsorption; ++p)
        out << "Name:" << UntilAbsorption[p] << '\n';
}

// ---- Teardown ----

void PVModel::FreeImpulseStructures(BaseActionClass* action) {
    if (action->IsPVImpulseDSAllocated()) {
        for (int p = 0; p < NumPVs; ++p) {
            delete[] action->PVImpulseWorkerCounts[p];
            if (action->PVImpulseWorkers[p] != nullptr) {
                for (int j = 0; j < PVList[p]->NumImpulses; ++j)
                    delete[] action->PVImpulseWorkers[p][j];
                delete[] action->PVImpulseWorkers[p];
            }
        }
        action->DeallocatePVImpulseDS();
        action->PVImpulseSets = nullptr;
        action->PVImpulseWorkers = nullptr;
        action->PVImpulseWorkerCounts = nullptr;
    }
    if (action->isSync()) {
        int n = PerformanceVariableNode::NumSyncMembers(action);
        for (int m = 0; m < n; ++m)
            FreeImpulseStructures(PerformanceVariableNode::SyncMember(action, m));
    }
}

void PVModel::Destruct() {
    if (NoActionFiredYet.IsPVRateDSAllocated()) {
        NoActionFiredYet.DeallocatePVRateDS();
        NoActionFiredYet.PVRateWorkers = nullptr;
    }
    FreeImpulseStructures(&NoActionFiredYet);

    for (int a = 0; a < NumActions; ++a) {
        BaseActionClass* action = ActionList[a];
        if (action->IsPVRateDSAllocated()) {
            action->DeallocatePVRateDS();
            action->PVRateWorkers = nullptr;
        }
        FreeImpulseStructures(action);
        PerformanceVariableNode::ForgetUpdates(action);
    }

    for (int p = 0; p < NumPVs; ++p) {
        delete[] PVList[p]->NodeActions;
        PVList[p]->NodeActions = nullptr;
        PVList[p]->NumNodeActions = 0;
    }
    delete[] AffectingActions;
    AffectingActions = nullptr;
    delete[] AffectedNodeSets;
    AffectedNodeSets = nullptr;
    NumAffectingActions = 0;

    for (int p = 0; p < NumPVs; ++p)
        delete PVList[p];
    delete[] PVList;
    PVList = nullptr;
    NumPVs = 0;
    ConsideredPVs.clear();

    delete SubModel;
    SubModel = nullptr;
    // The action and group arrays were the submodel's.
    Actions = nullptr;
    ActionList = nullptr;
    Groups = nullptr;
    NumActions = 0;
    NumGroups = 0;
}
