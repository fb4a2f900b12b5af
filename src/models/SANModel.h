#pragma once
// SANModel: one atomic SAN model, holding its own places, the places it only
// reads, its activities and its groups. Its local state is the packed bytes of
// its non-shared own places in place order. LocalState is the SAN's snapshot:
// a byte vector with a hash, an ordering and a binary file form.

#include "models/BaseModelClass.h"

#include <cstddef>
#include <memory>

class Activity;
class Place;

class SANModel : public BaseModelClass {
public:
    // Snapshot of a SAN's local state.
    class LocalState : public State {
    public:
        explicit LocalState(SANModel* model); // Size = model's StateSize(); Data uninitialised
        LocalState(const LocalState&) = delete;

        std::uint32_t hash() const override;            // prime-weighted sum of the bytes
        int compare(const State& other) const override; // memcmp over Size bytes
        void print() override;                          // each byte as "%5d", then a newline
        int fwriteState(std::FILE* f) override;         // Size (4 bytes), then the bytes
        int freadState(std::FILE* f) override;          // a record of the same Size
        const State& operator=(const State& other) override;
        // Assignment between two snapshots goes through the checked copy above.
        LocalState& operator=(const LocalState& other) {
            operator=(static_cast<const State&>(other));
            return *this;
        }
        ~LocalState() override;
        void SetState(const BaseModelClass* model) const override;
        void GetState(const BaseModelClass* model) override;
        void* GetStatePtr() override { return Data; }

        char* Data; // owned buffer of Size bytes
        int Size;
    };

    SANModel();
    SANModel(const char* name, int numPlaces, BaseStateVariableClass** places, int numReadOnly,
             BaseStateVariableClass** readOnly, int numActivities, Activity** activities,
             int numGroups, BaseGroupClass** groups);
    ~SANModel() override;

    void listModels(const char* name, List<BaseModelClass>* models) override;
    void CurrentState(void* to) override;
    void listActions(List<BaseActionClass>* actions) override;
    void listGroups(List<BaseGroupClass>* groups) override;
    void SetState(void* from) override;
    int StateSize() override;
    bool CompareState(void* a, void* b) override;
    void listActions(const char* name, List<BaseActionClass>* actions) override;
    void listSVs(const char* modelName, const char* svName, List<BaseStateVariableClass>* svs,
                 List<BaseModelClass>* models) override;
    using BaseModelClass::printState;
    void printState(std::ostream* os) override;
    BaseStateVariableClass** GetLocalStateVariables(std::ostream* os) override; // Places
    ModelType GetModelType() override;                                          // AtomicSANModel
    int GetNumberOfChildren() override;                                         // 0
    BaseModelClass* GetChild(int i) override;                                   // assertion failure
    void GetLocalActions(ActionChain& out) override;
    void GetGlobalActions(ActionChain& out) override;
    bool HasLocalState() override; // StateSize() > 0
    void GetLocalState(State* s) override;
    void SetLocalState(const State* s) override;
    void ConstructLocalState(State*& s) override;
    void DestructLocalState(State* s) override;
    // The cells of the own places that the state walk visits, in its order.
    bool GetStateMap(StateMap& map) override;

    // Moves the cell of every place in the state vector into one buffer that
    // the model owns, in state-vector order, so that the model's state is one
    // vector in memory (its map is one run). Call once the model is complete:
    // after every sharing and every LinkVariables(). The contract: every
    // pointer to a cell is registered with its place (registerPointer), as
    // sharing already requires, because only registered pointers follow the
    // cell; the places must not be shared afterwards, nor used after the model
    // is destroyed. Answers true when the cells are packed (also when they
    // already were); false, leaving every cell where it was, when the state
    // cannot be one buffer: a variable that cannot list or move its cells, a
    // cell that appears twice in the vector, bytes of the vector that no cell
    // fills, or cells that no start of the vector in the buffer aligns all at
    // once (the vector may start off the buffer's alignment: a char, then a
    // short, starts one byte in; a short before and after a char cannot).
    bool PackStateCells();
    bool statePacked() const { return PackedCells != nullptr; }

    // Takes the model's name, places, activities and groups (copying the arrays)
    // and makes itself the parent model of every activity and group.
    void initializeSANModelNow(const char* name, int numPlaces, BaseStateVariableClass** places,
                               int numReadOnly, BaseStateVariableClass** readOnly,
                               int numActivities, Activity** activities, int numGroups,
                               BaseGroupClass** groups);
    // Overwrite the entries of the existing arrays (counts unchanged).
    void SetPlaces(BaseStateVariableClass** places);
    void SetReadOnlyPlaces(BaseStateVariableClass** readOnly);
    void SetActions(Activity** activities);
    void SetGroups(BaseGroupClass** groups);
    void PrintSANModelInfo();

    BaseStateVariableClass** Places;         // owned array of the own places; places not owned
    BaseStateVariableClass** ReadOnlyPlaces; // owned array; places not owned
    int NumReadOnlyPlaces;

private:
    int numOwnPlaces() const { return NumStateVariables - NumReadOnlyPlaces; }

    // The buffer that holds every cell once PackStateCells has moved them;
    // owned; null until then.
    std::unique_ptr<std::max_align_t[]> PackedCells;

    // The last StateSize(), for CompareState while no variable's sharing flags and
    // no structure's size have changed.
    int cachedStateSize = 0;
    unsigned long cachedLayoutVersion = 0;
    bool stateSizeKnown = false;
};

// True when the array holds exactly the model's own places / read-only places /
// activities, in order (true for a count of 0).
bool checkLocalSVs(SANModel* model, Place** places);
bool checkReadOnlyPlaces(SANModel* model, BaseStateVariableClass** readOnly);
bool checkLocalActions(SANModel* model, Activity** activities);
