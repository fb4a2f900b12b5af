#include "models/SANModel.h"

#include "actions/Activity.h"
#include "base/Assert.h"
#include "base/Errors.h"
#include "models/StateMap.h"
#include "state/Place.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <new>
#include <set>

namespace {

// The first 256 prime numbers, the weights of the local-state hash.
constexpr std::array<std::uint32_t, 256> makePrimes() {
    std::array<std::uint32_t, 256> p{};
    int found = 0;
    for (std::uint32_t candidate = 2; found < 256; ++candidate) {
        bool prime = true;
        for (int i = 0; i < found && p[i] * p[i] <= candidate; ++i) {
            if (candidate % p[i] == 0) {
                prime = false;
                break;
            }
        }
        if (prime)
            p[found++] = candidate;
    }
    return p;
}

constexpr std::array<std::uint32_t, 256> primes = makePrimes();
static_assert(primes[0] == 2 && primes[255] == 1619);

template <class T> T** newPointerArray(int n) {
    T** a = new (std::nothrow) T*[n > 0 ? n : 0]();
    if (a == nullptr)
        MemoryAllocationError();
    return a;
}

bool sameName(const char* a, const char* b) {
    return a != nullptr && b != nullptr && std::strcmp(a, b) == 0;
}

} // namespace

// ---- SANModel ----

SANModel::SANModel() : Places(nullptr), ReadOnlyPlaces(nullptr), NumReadOnlyPlaces(0) {}

SANModel::SANModel(const char* name, int numPlaces, BaseStateVariableClass** places,
                   int numReadOnly, BaseStateVariableClass** readOnly, int numActivities,
                   Activity** activities, int numGroups, BaseGroupClass** groups)
    : SANModel() {
    initializeSANModelNow(name, numPlaces, places, numReadOnly, readOnly, numActivities, activities,
                          numGroups, groups);
}

SANModel::~SANModel() {
    delete[] Places;
    delete[] ReadOnlyPlaces;
    delete[] Actions;
    delete[] Groups;
}

void SANModel::initializeSANModelNow(const char* name, int numPlaces,
                                     BaseStateVariableClass** places, int numReadOnly,
                                     BaseStateVariableClass** readOnly, int numActivities,
                                     Activity** activities, int numGroups,
                                     BaseGroupClass** groups) {
    DefineName(name);
    NumStateVariables = numPlaces + numReadOnly;
    NumReadOnlyPlaces = numReadOnly;
    NumActions = numActivities;
    NumGroups = numGroups;

    delete[] Places;
    delete[] ReadOnlyPlaces;
    delete[] Actions;
    delete[] Groups;
    Places = newPointerArray<BaseStateVariableClass>(numPlaces);
    ReadOnlyPlaces = newPointerArray<BaseStateVariableClass>(numReadOnly);
    Actions = newPointerArray<BaseActionClass>(numActivities);
    Groups = newPointerArray<BaseGroupClass>(numGroups);
    SetPlaces(places);
    SetReadOnlyPlaces(readOnly);
    SetActions(activities);
    SetGroups(groups);
}

void SANModel::SetPlaces(BaseStateVariableClass** places) {
    for (int i = 0; i < numOwnPlaces(); ++i)
        Places[i] = places[i];
    stateSizeKnown = false;
}

void SANModel::SetReadOnlyPlaces(BaseStateVariableClass** readOnly) {
    for (int i = 0; i < NumReadOnlyPlaces; ++i)
        ReadOnlyPlaces[i] = readOnly[i];
}

void SANModel::SetActions(Activity** activities) {
    for (int i = 0; i < NumActions; ++i) {
        Actions[i] = activities[i];
        activities[i]->ParentModel = this;
    }
}

void SANModel::SetGroups(BaseGroupClass** groups) {
    for (int i = 0; i < NumGroups; ++i) {
        Groups[i] = groups[i];
        groups[i]->ParentModel = this;
    }
}

void SANModel::listModels(const char* name, List<BaseModelClass>* models) {
    if (sameName(name, Name))
        models->append(this);
}

int SANModel::StateSize() {
    // The sum afresh over the stored own places, so that it always matches the
    // places as they are now; CompareState keeps the result while the layout
    // version shows no change.
    int size = 0;
    for (int i = 0; i < numOwnPlaces(); ++i)
        if (Places[i]->getStored())
            size += Places[i]->StateSize();
    cachedStateSize = size;
    cachedLayoutVersion = BaseStateVariableClass::layoutVersion;
    stateSizeKnown = true;
    return size;
}

void SANModel::CurrentState(void* to) {
    char* p = static_cast<char*>(to);
    for (int i = 0; i < numOwnPlaces(); ++i) {
        BaseStateVariableClass* place = Places[i];
        if (place->getShared())
            continue;
        place->CurrentState(p);
        p += place->StateSize();
    }
}

void SANModel::SetState(void* from) {
    char* p = static_cast<char*>(from);
    for (int i = 0; i < numOwnPlaces(); ++i) {
        BaseStateVariableClass* place = Places[i];
        if (place->getShared())
            continue;
        place->SetState(p);
        p += place->StateSize();
    }
}

bool SANModel::GetStateMap(StateMap& map) {
    map.clear();
    std::uint32_t offset = 0;
    for (int i = 0; i < numOwnPlaces(); ++i) {
        BaseStateVariableClass* place = Places[i];
        if (place->getShared())
            continue;
        if (!place->MapState(map, offset)) {
            map.clear();
            return false;
        }
        offset += static_cast<std::uint32_t>(place->StateSize());
    }
    return true;
}

bool SANModel::PackStateCells() {
    if (PackedCells != nullptr)
        return true;
    StateMap map;
    const int size = StateSize();
    if (size <= 0 || !GetStateMap(map))
        return false;

    // Every byte of the vector in exactly one cell, each cell once, and each
    // cell's alignment one that the buffer's own alignment provides.
    constexpr std::size_t unit = sizeof(std::max_align_t);
    constexpr std::size_t maxAlignment = alignof(std::max_align_t);
    std::set<const char*> seen;
    std::uint32_t next = 0;
    for (const StateMap::Cell& c : map.cells()) {
        const int alignment = c.variable->CellAlignment();
        if (c.offset != next || alignment <= 0 ||
            maxAlignment % static_cast<std::size_t>(alignment) != 0 ||
            !seen.insert(c.address).second)
            return false;
        next += c.length;
    }
    if (next != static_cast<std::uint32_t>(size))
        return false;

    // The vector's layout is fixed (fields end to end, without padding), but
    // where it starts in the buffer is not: take the first start that puts
    // every cell at a multiple of its alignment (a char, then a short: one
    // byte in). The alignments divide maxAlignment, so a larger start repeats
    // a smaller one.
    std::size_t start = 0;
    for (; start < maxAlignment; ++start) {
        bool aligned = true;
        for (const StateMap::Cell& c : map.cells())
            aligned =
                aligned &&
                (start + c.offset) % static_cast<std::size_t>(c.variable->CellAlignment()) == 0;
        if (aligned)
            break;
    }
    if (start == maxAlignment)
        return false;

    const std::size_t units = (start + static_cast<std::size_t>(size) + unit - 1) / unit;
    std::unique_ptr<std::max_align_t[]> buffer(new (std::nothrow) std::max_align_t[units]);
    if (buffer == nullptr)
        MemoryAllocationError();
    char* base = reinterpret_cast<char*>(buffer.get()) + start;
    for (const StateMap::Cell& c : map.cells())
        c.variable->RelocateCell(base + c.offset);
    PackedCells = std::move(buffer);
    return true;
}

bool SANModel::CompareState(void* a, void* b) {
    // Called for every state found in the store: the size is recounted only
    // when a sharing flag or a structure's size has changed since.
    if (!stateSizeKnown || cachedLayoutVersion != BaseStateVariableClass::layoutVersion)
        StateSize();
    return std::memcmp(a, b, static_cast<std::size_t>(cachedStateSize)) == 0;
}

void SANModel::listActions(List<BaseActionClass>* actions) {
    actions->append(Actions, NumActions);
}

void SANModel::listGroups(List<BaseGroupClass>* groups) {
    groups->append(Groups, NumGroups);
}

void SANModel::listActions(const char* name, List<BaseActionClass>* actions) {
    for (int i = 0; i < NumActions; ++i) {
        if (sameName(name, Actions[i]->Name)) {
            actions->append(Actions[i]);
            return;
        }
    }
}

void SANModel::listSVs(const char* modelName, const char* svName, List<BaseStateVariableClass>* svs,
                       List<BaseModelClass>* models) {
    if (!sameName(modelName, Name))
        return;
    for (int i = 0; i < numOwnPlaces(); ++i) {
        if (sameName(svName, Places[i]->name)) {
            svs->append(Places[i]);
            models->append(this);
        }
    }
    for (int i = 0; i < NumReadOnlyPlaces; ++i) {
        if (sameName(svName, ReadOnlyPlaces[i]->name)) {
            svs->append(ReadOnlyPlaces[i]);
            models->append(this);
        }
    }
}

void SANModel::printState(std::ostream* os) {
    *os << "Model: (" << ModelId << ")" << (Name != nullptr ? Name : "") << '\n';
    for (int i = 0; i < numOwnPlaces(); ++i) {
        *os << "  ";
        Places[i]->printState(os);
    }
    for (int i = 0; i < NumReadOnlyPlaces; ++i) {
        *os << "  ";
        ReadOnlyPlaces[i]->printState(os);
    }
}

BaseStateVariableClass** SANModel::GetLocalStateVariables(std::ostream*) {
    return Places;
}

ModelType SANModel::GetModelType() {
    return AtomicSANModel;
}

int SANModel::GetNumberOfChildren() {
    return 0;
}

BaseModelClass* SANModel::GetChild(int) {
    GEN_UNREACHABLE("SANModel", "GetChild");
}

void SANModel::GetGlobalActions(ActionChain& out) {
    std::set<BaseActionClass*> own(Actions, Actions + NumActions);
    std::set<BaseActionClass*> global;
    for (int i = 0; i < numOwnPlaces(); ++i) {
        BaseStateVariableClass* place = Places[i];
        if (place->getStored())
            continue;
        for (List<BaseActionClass>* l : {place->getAffectingActions(), place->getEnabledActions()})
            for (int j = 0; j < l->getNumItems(); ++j)
                if (own.count(l->getItem(j)) != 0)
                    global.insert(l->getItem(j));
    }
    for (BaseActionClass* a : global)
        out.push_front(a);
}

void SANModel::GetLocalActions(ActionChain& out) {
    ActionChain global;
    GetGlobalActions(global);
    for (int i = 0; i < NumActions; ++i) {
        bool isGlobal = false;
        for (BaseActionClass* g : global)
            isGlobal = isGlobal || g == Actions[i];
        if (!isGlobal)
            out.push_front(Actions[i]);
    }
}

bool SANModel::HasLocalState() {
    return StateSize() > 0;
}

void SANModel::GetLocalState(State* s) {
    s->GetState(this);
}

void SANModel::SetLocalState(const State* s) {
    s->SetState(this);
}

void SANModel::ConstructLocalState(State*& s) {
    s = new (std::nothrow) LocalState(this);
    if (s == nullptr)
        MemoryAllocationError();
}

void SANModel::DestructLocalState(State* s) {
    delete s;
}

void SANModel::PrintSANModelInfo() {
    std::printf("SANModelInfo\n");
    std::printf("Number of Actions = %i, Number of Groups = %i, Number of State Variables = %i\n",
                NumActions, NumGroups, NumStateVariables);
    for (int i = 0; i < NumActions; ++i) {
        BaseActionClass* a = Actions[i];
        std::printf("ActionName = %s\n", a->Name);
        std::printf("Group Id = %i\n", a->GroupID);
        std::printf("DistributionType = %i\n", static_cast<int>(a->DistributionType));
        std::printf("ExecutionPolicy = %i\n", static_cast<int>(a->ExecutionPolicy));
        std::printf("Number of affected state variables = %i\n", a->AffectedSVs.getNumItems());
        std::printf("Number of enabling state variables = %i\n", a->EnablingSVs.getNumItems());
    }
    std::printf("\n");
    for (int i = 0; i < NumGroups; ++i)
        std::printf("Group Name = %s \n", Groups[i]->Name);
    for (int i = 0; i < numOwnPlaces(); ++i)
        std::printf("Place Name = %s\n", Places[i]->name);
    for (int i = 0; i < NumReadOnlyPlaces; ++i)
        std::printf("Read Only Place Name = %s\n", ReadOnlyPlaces[i]->name);
}

bool checkLocalSVs(SANModel* model, Place** places) {
    int n = model->NumStateVariables - model->NumReadOnlyPlaces;
    for (int i = 0; i < n; ++i)
        if (model->Places[i] != places[i])
            return false;
    return true;
}

bool checkReadOnlyPlaces(SANModel* model, BaseStateVariableClass** readOnly) {
    for (int i = 0; i < model->NumReadOnlyPlaces; ++i)
        if (model->ReadOnlyPlaces[i] != readOnly[i])
            return false;
    return true;
}

bool checkLocalActions(SANModel* model, Activity** activities) {
    for (int i = 0; i < model->NumActions; ++i)
        if (model->Actions[i] != activities[i])
            return false;
    return true;
}

// ---- SANModel::LocalState ----

SANModel::LocalState::LocalState(SANModel* model) : Data(nullptr), Size(model->StateSize()) {
    Data = new (std::nothrow) char[Size > 0 ? Size : 0];
    if (Data == nullptr)
        MemoryAllocationError();
}

SANModel::LocalState::~LocalState() {
    delete[] Data;
}

std::uint32_t SANModel::LocalState::hash() const {
    std::uint32_t h = 0;
    for (int i = 0; i < Size; ++i) {
        // Each byte counts as a signed 8-bit value, widened to 32 bits.
        auto byte = static_cast<std::uint32_t>(
            static_cast<std::int32_t>(static_cast<signed char>(Data[i])));
        h += byte * primes[static_cast<std::size_t>(i) % primes.size()];
    }
    return h;
}

int SANModel::LocalState::compare(const State& other) const {
    const LocalState* localOther = dynamic_cast<const LocalState*>(&other);
    GEN_ASSERT(localOther != nullptr, "SANModel");
    GEN_ASSERT(localOther->Size >= Size, "SANModel");
    return std::memcmp(Data, localOther->Data, static_cast<std::size_t>(Size));
}

void SANModel::LocalState::print() {
    for (int i = 0; i < Size; ++i)
        std::printf("%5d", static_cast<int>(static_cast<signed char>(Data[i])));
    std::printf("\n");
}

int SANModel::LocalState::fwriteState(std::FILE* f) {
    std::int32_t size = Size;
    if (std::fwrite(&size, sizeof size, 1, f) != 1)
        return 1;
    return std::fwrite(Data, 1, static_cast<std::size_t>(Size), f) < static_cast<std::size_t>(Size)
               ? 1
               : 0;
}

int SANModel::LocalState::freadState(std::FILE* f) {
    std::int32_t size = 0;
    if (std::fread(&size, sizeof size, 1, f) != 1)
        return 1;
    // The buffer is sized for this model: a record of another size is refused
    // (and its bytes are left unread).
    if (size != Size)
        return 1;
    return std::fread(Data, 1, static_cast<std::size_t>(Size), f) < static_cast<std::size_t>(Size)
               ? 1
               : 0;
}

const State& SANModel::LocalState::operator=(const State& other) {
    if (&other == this)
        return *this;
    const LocalState* _localS = dynamic_cast<const LocalState*>(&other);
    GEN_ASSERT(_localS != nullptr, "SANModel");
    if (Size != _localS->Size)
        gen_detail::assertionFailed("SANModel", "LocalState::operator=", "size == _localS->size");
    std::memcpy(Data, _localS->Data, static_cast<std::size_t>(Size));
    return *this;
}

void SANModel::LocalState::SetState(const BaseModelClass* model) const {
    // Restoring changes the model, not the snapshot.
    const_cast<BaseModelClass*>(model)->SetState(Data);
}

void SANModel::LocalState::GetState(const BaseModelClass* model) {
    const_cast<BaseModelClass*>(model)->CurrentState(Data);
}
