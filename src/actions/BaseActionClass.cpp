#include "actions/BaseActionClass.h"

#include "base/Errors.h"
#include "state/BaseStateVariableClass.h"

#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <new>

int BaseActionClass::MaxID = 0;

namespace {

// Allocation failure of the reward structures ends the run with status 1.
[[noreturn]] void rewardStructureFailure(const char* where) {
    std::cerr << "!! Memory allocation error in BaseActionClass::" << where << std::endl;
    std::exit(1);
}

// The reward structures have a failure message of their own, so their arrays
// come from malloc, which returns null without calling the process's
// new-handler (that would give the general memory report instead). A set array
// keeps its count in a header before the sets, for their destruction.
constexpr std::size_t SetHeader = alignof(std::max_align_t);
static_assert(SetHeader >= sizeof(std::size_t) && SetHeader % alignof(FastSet) == 0);

FastSet* newSets(int n, const char* where) {
    std::size_t count = n > 0 ? static_cast<std::size_t>(n) : 0;
    // Room for one set at least, so that the pointer handed out lies inside the
    // block (leak checkers follow it) even when there are no sets.
    void* block = std::malloc(SetHeader + (count > 0 ? count : 1) * sizeof(FastSet));
    if (block == nullptr)
        rewardStructureFailure(where);
    *static_cast<std::size_t*>(block) = count;
    FastSet* sets = reinterpret_cast<FastSet*>(static_cast<char*>(block) + SetHeader);
    std::size_t built = 0;
    try {
        for (; built < count; ++built)
            new (sets + built) FastSet();
    } catch (const std::bad_alloc&) {
        // The sets already built are destroyed before the message.
        while (built > 0)
            sets[--built].~FastSet();
        std::free(block);
        rewardStructureFailure(where);
    }
    return sets;
}

void deleteSets(FastSet* sets) {
    if (sets == nullptr)
        return;
    char* block = reinterpret_cast<char*>(sets) - SetHeader;
    std::size_t count = *reinterpret_cast<std::size_t*>(block);
    for (std::size_t i = 0; i < count; ++i)
        sets[i].~FastSet();
    std::free(block);
}

template <class T> T* newZeroedArray(int n, const char* where) {
    T* a = static_cast<T*>(std::calloc(n > 0 ? static_cast<std::size_t>(n) : 1, sizeof(T)));
    if (a == nullptr)
        rewardStructureFailure(where);
    return a;
}

} // namespace

BaseActionClass::BaseActionClass()
    : GroupID(0), ExecutionPolicy(DefaultPolicy), Disabled(true), Reactivation(false),
      Name(copyText("default")), Fired(false), DistributionType(Exponential), ParentModel(nullptr),
      PVImpulseSets(nullptr), PVImpulseWorkers(nullptr), PVImpulseWorkerCounts(nullptr),
      PVRateWorkers(nullptr), Phase(1), ID(MaxID++) {}

BaseActionClass::BaseActionClass(const char* name, int groupId, Distribution dist,
                                 ExecutionPolicyType policy, int numAffected, int numEnabling,
                                 bool reactivation)
    : BaseActionClass() {
    BaseActionClassInitialize(name, groupId, dist, policy, numAffected, numEnabling, reactivation);
}

BaseActionClass::~BaseActionClass() {
    delete[] Name;
}

void BaseActionClass::BaseActionClassInitialize(const char* name, int groupId, Distribution dist,
                                                ExecutionPolicyType policy, int, int,
                                                bool reactivation) {
    defineName(name);
    Reactivation = reactivation;
    GroupID = groupId;
    DistributionType = dist;
    ExecutionPolicy = policy;
}

char* BaseActionClass::defineName(const char* name) {
    char* copy = copyText(name);
    delete[] Name;
    Name = copy;
    return Name;
}

bool BaseActionClass::isSync() {
    return false;
}
bool BaseActionClass::Enabled() {
    return false;
}
double BaseActionClass::Weight() {
    return 0.0;
}
double BaseActionClass::Rate() {
    return 0.0;
}
bool BaseActionClass::ReactivationPredicate() {
    return false;
}
bool BaseActionClass::ReactivationFunction() {
    return false;
}
double BaseActionClass::SampleDistribution() {
    return 0.0;
}
double* BaseActionClass::ReturnDistributionParameters() {
    return nullptr;
}
void BaseActionClass::SetFired(int fired) {
    Fired = fired != 0;
}
BaseActionClass* BaseActionClass::Fire() {
    return nullptr;
}
int BaseActionClass::Rank() {
    return 0;
}
bool BaseActionClass::EnablingChange() {
    return false;
}
bool BaseActionClass::IsAMember(BaseActionClass* a) {
    return a == this;
}
double BaseActionClass::Probability(BaseActionClass*) {
    return 1.0;
}
BaseActionClass* BaseActionClass::getPrintedAction() {
    return this;
}
double BaseActionClass::ErlangParamM() {
    return 1.0;
}

void BaseActionClass::printAffectedState(std::ostream* os) {
    for (int i = 0; i < AffectedSVs.getNumItems(); ++i)
        AffectedSVs[i]->printState(os);
}

void BaseActionClass::printEnablingState(std::ostream* os) {
    for (int i = 0; i < EnablingSVs.getNumItems(); ++i)
        EnablingSVs[i]->printState(os);
}

void BaseActionClass::addEnablingSV(BaseStateVariableClass* sv) {
    if (sv->isLeafNode())
        EnablingSVs.append(sv);
    else
        sv->addSelfAsEnablingSVToAction(this);
}

void BaseActionClass::removeEnablingSV(BaseStateVariableClass* sv) {
    if (sv->isLeafNode())
        EnablingSVs.remove(sv);
    else
        sv->removeSelfFromEnablingSVOfAction(this);
}

void BaseActionClass::addAffectedSV(BaseStateVariableClass* sv) {
    if (sv->isLeafNode())
        AffectedSVs.append(sv);
    else
        sv->addSelfAsAffectedSVToAction(this);
}

void BaseActionClass::removeAffectedSV(BaseStateVariableClass* sv) {
    if (sv->isLeafNode())
        AffectedSVs.remove(sv);
    else
        sv->removeSelfFromAffectedSVOfAction(this);
}

void BaseActionClass::AllocatePVRateDS(int n) {
    PVRateWorkers = newSets(n, "AllocatePVRateDS()");
}

void BaseActionClass::AllocatePVImpulseDS(int n) {
    PVImpulseSets = newSets(n, "AllocatePVImpulseDS()");
    PVImpulseWorkers = newZeroedArray<int**>(n, "AllocatePVImpulseDS()");
    PVImpulseWorkerCounts = newZeroedArray<int*>(n, "AllocatePVImpulseDS()");
}

// The pointers are cleared as well, so that a second release does nothing.
void BaseActionClass::DeallocatePVRateDS() {
    deleteSets(PVRateWorkers);
    PVRateWorkers = nullptr;
}

void BaseActionClass::DeallocatePVImpulseDS() {
    deleteSets(PVImpulseSets);
    std::free(PVImpulseWorkers);
    std::free(PVImpulseWorkerCounts);
    PVImpulseSets = nullptr;
    PVImpulseWorkers = nullptr;
    PVImpulseWorkerCounts = nullptr;
}

void BaseActionClass::PrintInfo() {
    std::cout << "********* " << Name << "**********" << std::endl;
    std::cout << std::endl;
    std::cout << "Enabled by:" << std::endl;
    for (int i = 0; i < EnablingSVs.getNumItems(); ++i)
        std::cout << "           " << EnablingSVs[i]->name << std::endl;
    std::cout << "Affects:" << std::endl;
    for (int i = 0; i < AffectedSVs.getNumItems(); ++i)
        std::cout << "           " << AffectedSVs[i]->name << std::endl;
    std::cout << "Group ID = " << GroupID << std::endl;
    std::cout << "Execution Policy = " << static_cast<int>(ExecutionPolicy) << std::endl;
    std::cout << "Disabled = " << (Disabled ? 1 : 0) << std::endl;
    std::cout << "Reactivation = " << (Reactivation ? 1 : 0) << std::endl;
    std::cout << "DistributionType = " << static_cast<int>(DistributionType) << std::endl;
}
