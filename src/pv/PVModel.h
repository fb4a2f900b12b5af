#pragma once
// PVModel: the top model of a run. It wraps the submodel that the user built
// together with its performance (reward) variables: to the generator it is the
// whole model. It hands out the submodel's state vector, fires actions and
// recomputes every considered variable's reward after each firing, links every
// action to the variables whose value it can change, and writes the .pvtype
// file. Generated code derives one reward model per user reward model; the
// derived class builds the submodel and supplies createPVNode.

#include "actions/BaseActionClass.h"
#include "models/BaseModelClass.h"

#include <iosfwd>
#include <vector>

class FastSet;
class PerformanceVariableNode;

class PVModel : public BaseModelClass {
public:
    PVModel();
    // Runs Destruct().
    ~PVModel() override;
    PVModel(const PVModel&) = delete;
    PVModel& operator=(const PVModel&) = delete;

    // State operations: the state vector is exactly the submodel's.
    void listModels(const char* name, List<BaseModelClass>* models) override;
    void CurrentState(void* to) override;
    void listActions(List<BaseActionClass>* actions) override; // every action of the model
    void listGroups(List<BaseGroupClass>* groups) override;    // the model's group array
    void SetState(void* from) override;
    int StateSize() override; // TotalStateSize
    bool CompareState(void* a, void* b) override;
    void listActions(const char* name, List<BaseActionClass>* actions) override;
    void listSVs(const char* modelName, const char* svName, List<BaseStateVariableClass>* svs,
                 List<BaseModelClass>* models) override;
    using BaseModelClass::printState;
    void printState(std::ostream* os) override; // the submodel's state
    bool GetStateMap(StateMap& map) override;   // the submodel's map

    // A new node for performance variable pvIndex at time point timeIndex.
    virtual PerformanceVariableNode* createPVNode(int pvIndex, int timeIndex) = 0;

    // Creates the nodes of numPVs variables; with expandTimePoints, one node
    // per time point of a variable with several.
    void CreatePVList(int numPVs, bool expandTimePoints);
    // Finishes construction: copies the submodel's actions and groups, builds
    // every node's workers and links actions and nodes.
    void Initialize();
    // The nodes whose rewards FireAction computes: all with a null index array,
    // else the nodes at the first count positions the array gives.
    void ConsiderOnly(int* indices, int count);

    // Fires the action, recomputes the considered nodes' rewards and writes the
    // new state vector into `state`. Runs once per transition: no allocation.
    void FireAction(void* state, BaseActionClass* action);
    // The reward side of a phase advance: rewards recomputed as if no action had fired.
    void AgeAction(char* state, BaseActionClass* action);
    // Simulation: fires the action at the time; no reward is computed.
    void FireAction(BaseActionClass* action, double time);
    void Accumulate(double time);
    void EndAccumulate(double time);
    void PutPVState(void* state);
    void PVReset();
    void SteadyState();
    void RemakeAffectedLists() {}

    // Writes the performance variables' names, types and time points.
    void WritePVTypeFile(const char* fileName);
    // Writes the names of the variables to report until absorption (UntilAbsorption)
    // to `fileName`, or, when there are none, removes a file left under that name.
    void WriteAbsorptionFile(const char* fileName) const;

    // Linking steps run by Initialize.
    void MakeAffectedLists();
    void MakeImpulseAffectedLists();
    void CreateAffectedLists();
    void CreateTotalPVAffectsList(BaseActionClass* Action);

    // Releases everything the model owns, the submodel last.
    void Destruct();

    PerformanceVariableNode** PVList = nullptr; // owned, with the nodes
    int NumPVs = 0;
    BaseModelClass* SubModel = nullptr;           // owned; built by the derived class
    BaseActionClass* LastAction;                  // not owned; initially &NoActionFiredYet
    BaseActionClass** ActionList = nullptr;       // the submodel's action array; not owned
    BaseActionClass** AffectingActions = nullptr; // owned array; actions affecting a node
    FastSet** AffectedNodeSets = nullptr;         // owned array; each action's AffectedNodes
    int NumRateDSActions = 0;
    int NumImpulseDSActions = 0;
    int NumAffectingActions = 0;
    int SANStateSize = 0;
    int TotalStateSize = 0;
    // Stands for "no action" when rewards are computed (the initial state);
    // its Fire() changes nothing.
    BaseActionClass NoActionFiredYet;
    std::vector<PerformanceVariableNode*> ConsideredPVs; // not owning
    // The variables whose rewards the solver reports until absorption, by name:
    // set by a generated reward model that asks for them, else none. Not owned
    // (string literals of the derived class).
    const char* const* UntilAbsorption = nullptr;
    int NumUntilAbsorption = 0;

private:
    // Ends the run (status 0, a configuration error of the reward model) when an
    // impulse of `node` names a model, or depends on one, of which there is no
    // instance.
    void checkImpulseModels(const PerformanceVariableNode* node);
    void FreeImpulseStructures(BaseActionClass* action);
};
