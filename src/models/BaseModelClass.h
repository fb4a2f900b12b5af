#pragma once
// BaseModelClass: the interface of every model (an atomic SAN, the reward model
// that wraps it). Through it the generator and the reward model list a model's
// actions, groups and state variables, pack and unpack its state into a byte
// vector, compare states and print them. State is an abstract snapshot of one
// model's state.

#include "base/List.h"

#include <cstdint>
#include <cstdio>
#include <forward_list>
#include <iosfwd>

class BaseActionClass;
class BaseGroupClass;
class BaseStateVariableClass;
class BaseModelClass;
class StateMap;

// Kind of a model, as GetModelType() reports it.
enum ModelType : int {
    AtomicSANModel = 1, // an atomic SAN
    CompositeModel = 2, // a model made of submodels
    RewardModel = 3,    // a reward (performance-variable) model
};

// The list of actions that GetLocalActions / GetGlobalActions add to (at the front).
using ActionChain = std::forward_list<BaseActionClass*>;

// Abstract snapshot of one model's state.
class State {
public:
    State() = default;
    State(const State&) = delete;

    // Virtual operations, in this order.
    virtual std::uint32_t hash() const;            // 1
    virtual int compare(const State& other) const; // 1
    virtual void print() = 0;
    virtual int fwriteState(std::FILE* f) = 0; // true (non-zero) on failure
    virtual int freadState(std::FILE* f) = 0;  // true (non-zero) on failure
    virtual const State& operator=(const State& other) = 0;
    virtual ~State();
    virtual void
    SetState(const BaseModelClass* model) const = 0;        // restore the model from the snapshot
    virtual void GetState(const BaseModelClass* model) = 0; // capture the model's state
    virtual void* GetStatePtr() = 0;
};

class BaseModelClass {
public:
    BaseModelClass();
    BaseModelClass(const BaseModelClass&) = delete;
    BaseModelClass& operator=(const BaseModelClass&) = delete;

    // Virtual operations, in this order.
    virtual ~BaseModelClass();
    virtual int getNumStateVariables();
    virtual void listModels(const char* name, List<BaseModelClass>* models) = 0;
    virtual void CurrentState(void* to) = 0;
    virtual void listActions(List<BaseActionClass>* actions) = 0;
    virtual void listGroups(List<BaseGroupClass>* groups) = 0;
    virtual void SetState(void* from) = 0;
    virtual int StateSize() = 0;
    virtual bool CompareState(void* a, void* b) = 0;
    virtual void listActions(const char* name, List<BaseActionClass>* actions) = 0;
    virtual void listSVs(const char* modelName, const char* svName,
                         List<BaseStateVariableClass>* svs, List<BaseModelClass>* models) = 0;
    virtual void printState(std::ostream* os); // nothing
    virtual void printState();                 // printState(&std::cout)
    virtual BaseStateVariableClass** GetLocalStateVariables(std::ostream* os);         // null
    virtual BaseStateVariableClass** GetSharedStateVariables();                        // null
    virtual BaseStateVariableClass* getMainSharedVariable(BaseStateVariableClass* sv); // null
    virtual List<BaseStateVariableClass>*
    getListOfSharedVariables(BaseStateVariableClass* sv); // null
    virtual void AddAffectArc(BaseStateVariableClass* sv, BaseActionClass* action);
    virtual void AddEnableArc(BaseStateVariableClass* sv, BaseActionClass* action);
    // The operations below fail with an assertion in the base: a model kind that
    // supports one overrides it.
    virtual ModelType GetModelType();
    virtual int GetNumberOfChildren();
    virtual BaseModelClass* GetChild(int i);
    virtual void GetLocalActions(ActionChain& out);
    virtual void GetGlobalActions(ActionChain& out);
    virtual bool HasLocalState();
    virtual void GetLocalState(State* s);
    virtual void SetLocalState(const State* s);
    virtual void ConstructLocalState(State*& s);
    virtual void DestructLocalState(State* s);
    // Fills `map` with the address of every cell of the model's state vector
    // (see StateMap) and answers true, or answers false when the model cannot
    // describe its state that way (the base does: its state then moves only
    // through SetState and CurrentState). The generator takes the map once,
    // checks it against SetState and CurrentState, and then saves and restores
    // states through it. A model class that overrides SetState or
    // CurrentState to do more than copy its cells must override this too and
    // answer false.
    virtual bool GetStateMap(StateMap& map);

    char* DefineName(const char* name); // replaces Name by a copy; returns the copy
    void SetParentId(int id) { ParentId = id; }

    static double LastActionTime; // time of the last fired action (kept by the reward model)

    int NumStateVariables; // own places plus read-only places
    int NumActions;
    int NumGroups;
    BaseGroupClass** Groups;   // owned array; groups not owned
    char* Name;                // owned; null until set
    int ModelId;               // unique, from 1 in construction order
    int ParentId;              // the enclosing model's id; ModelId until set
    BaseActionClass** Actions; // owned array; actions not owned
};
