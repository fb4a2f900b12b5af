#include "actions/BaseGroupClass.h"

#include "base/Assert.h"
#include "base/Errors.h"
#include "distributions/UserDistributions.h"
#include "state/BaseStateVariableClass.h"

#include <iostream>
#include <new>
#include <string>

namespace {

template <class T> T* newArray(int n) {
    T* a = new (std::nothrow) T[n > 0 ? n : 0]();
    if (a == nullptr)
        MemoryAllocationError();
    return a;
}

} // namespace

BaseGroupClass::BaseGroupClass()
    : Members(nullptr), SelectedAction(nullptr), WeightDistribution(nullptr), MaxRank(0),
      NumMembers(0), NumWeights(0), Capacity(0) {}

BaseGroupClass::BaseGroupClass(const char* name, int groupId, Distribution dist,
                               ExecutionPolicyType policy, int numAffected, int numEnabling,
                               bool reactivation)
    : BaseGroupClass() {
    BaseActionClassInitialize(name, groupId, dist, policy, numAffected, numEnabling, reactivation);
}

BaseGroupClass::BaseGroupClass(const char* name, int groupId, Distribution dist,
                               ExecutionPolicyType policy, int numAffected, int numEnabling,
                               bool reactivation, int n)
    : BaseGroupClass() {
    Members = newArray<BaseGroupClass*>(n);
    Capacity = n;
    BaseActionClassInitialize(name, groupId, dist, policy, numAffected, numEnabling, reactivation);
}

BaseGroupClass::~BaseGroupClass() {
    delete[] Members;
    delete[] WeightDistribution;
}

void BaseGroupClass::BaseGroupClassInitialize(const char* name, int groupId, Distribution dist,
                                              ExecutionPolicyType policy, int numAffected,
                                              int numEnabling, bool reactivation) {
    BaseActionClassInitialize(name, groupId, dist, policy, numAffected, numEnabling, reactivation);
}

void BaseGroupClass::initialize(int n, const char* name) {
    enlargeArrays(n);
    defineName(name);
    SelectedAction = nullptr;
    MaxRank = 0;
    NumWeights = 0;
}

bool BaseGroupClass::Enabled() {
    // Every member is asked: each call advances that member's enabled history.
    bool any = false;
    for (int i = 0; i < NumMembers; ++i)
        if (Members[i]->Enabled())
            any = true;
    return any;
}

double BaseGroupClass::Weight() {
    GEN_ASSERT(SelectedAction != nullptr, "BaseGroupClass");
    return SelectedAction->Weight();
}

double BaseGroupClass::Rate() {
    GEN_ASSERT(SelectedAction != nullptr, "BaseGroupClass");
    return SelectedAction->Rate();
}

bool BaseGroupClass::ReactivationPredicate() {
    return false;
}

bool BaseGroupClass::ReactivationFunction() {
    return false;
}

double BaseGroupClass::SampleDistribution() {
    GEN_ASSERT(SelectedAction != nullptr, "BaseGroupClass");
    return SelectedAction->SampleDistribution();
}

BaseActionClass* BaseGroupClass::Fire() {
    GEN_ASSERT(SelectedAction != nullptr, "BaseGroupClass");
    BaseActionClass* fired = SelectedAction->Fire();
    SelectedAction = nullptr;
    return fired;
}

int BaseGroupClass::Rank() {
    GEN_ASSERT(SelectedAction != nullptr, "BaseGroupClass");
    return SelectedAction->Rank();
}

bool BaseGroupClass::EnablingChange() {
    bool any = false;
    for (int i = 0; i < NumMembers; ++i)
        if (Members[i]->EnablingChange())
            any = true;
    return any;
}

bool BaseGroupClass::IsAMember(BaseActionClass* a) {
    for (int i = 0; i < NumMembers; ++i)
        if (Members[i] == a)
            return true;
    return false;
}

double BaseGroupClass::Probability(BaseActionClass* a) {
    double total = 0.0;
    int top = 0;
    BaseGroupClass* holder = nullptr;
    for (int i = 0; i < NumMembers; ++i) {
        BaseGroupClass* x = Members[i];
        if (x->Enabled()) {
            if (x->Rank() > top) {
                top = x->Rank();
                total = 0.0;
            }
            if (x->Rank() == top)
                total += x->Weight();
        }
        if (x == a || x->IsAMember(a))
            holder = x;
    }
    // The caller passes a member of this group or of one of its member groups.
    GEN_ASSERT(holder != nullptr, "BaseGroupClass");
    if (holder->Rank() < top)
        return 0.0;
    if (total == 0.0)
        std::cout << "BaseGroupClass::Probability() TotalWeight is zero.\n";
    double p = holder->Weight() / total;
    return p * holder->Probability(a);
}

void BaseGroupClass::printEnablingState(std::ostream* os) {
    BaseActionClass* shown = NumMembers > 0 ? Members[0] : this;
    for (int i = 0; i < shown->EnablingSVs.getNumItems(); ++i)
        shown->EnablingSVs[i]->printState(os);
}

BaseActionClass* BaseGroupClass::getPrintedAction() {
    return NumMembers > 0 ? Members[0] : this;
}

double BaseGroupClass::CalculateWeightDistribution() {
    GEN_ASSERT(NumMembers <= Capacity, "BaseGroupClass");
    if (WeightDistribution == nullptr)
        WeightDistribution = newArray<WeightEntry>(Capacity);

    int i = 0;
    for (; i < NumMembers && !Members[i]->Enabled(); ++i)
        Members[i]->Disabled = true;
    if (i == NumMembers)
        return -1.0;

    BaseGroupClass* first = Members[i];
    MaxRank = first->Rank();
    first->Disabled = false;
    WeightDistribution[0] = {first->Weight(), first};
    int k = 0;
    for (++i; i < NumMembers; ++i) {
        BaseGroupClass* x = Members[i];
        if (!x->Enabled() || x->Rank() < MaxRank) {
            x->Disabled = true;
        } else if (x->Rank() == MaxRank) {
            ++k;
            x->Disabled = false;
            WeightDistribution[k] = {WeightDistribution[k - 1].weight + x->Weight(), x};
        } else {
            // A higher rank starts the table again; members accepted at the lower
            // rank keep Disabled false.
            MaxRank = x->Rank();
            WeightDistribution[0] = {x->Weight(), x};
            x->Disabled = false;
            k = 0;
        }
    }
    NumWeights = k + 1;
    return WeightDistribution[k].weight;
}

bool BaseGroupClass::SelectAction() {
    // The variate is drawn before the weights are computed, one per call.
    double u = TheDistribution->generator->rnd();
    double total = CalculateWeightDistribution();
    if (total < 0.0)
        return false;
    double target = total * u;

    // First entry whose cumulative weight exceeds the target; the last when none does.
    int lo = 0;
    int hi = NumWeights - 1;
    while (lo < hi) {
        int mid = (lo + hi) / 2;
        if (WeightDistribution[mid].weight <= target)
            lo = mid + 1;
        else
            hi = mid;
    }
    BaseGroupClass* chosen = WeightDistribution[lo].member;
    chosen->SelectAction();
    SelectedAction = chosen->SelectedAction;
    return true;
}

void BaseGroupClass::setGroupId(int id) {
    for (int i = 0; i < NumMembers; ++i)
        Members[i]->setGroupId(id);
}

int BaseGroupClass::setMember(BaseGroupClass* member, int index) {
    if (index < 0 || index >= NumMembers) {
        char where[] = "Array out of bounds (BaseGroupClass::setMember()";
        ArrayOutOfBoundsError(where);
        return -1;
    }
    Members[index] = member;
    return index;
}

int BaseGroupClass::appendGroup(BaseGroupClass* member) {
    if (NumMembers == Capacity)
        enlargeArrays(NumMembers + 1);
    Members[NumMembers++] = member;
    return NumMembers;
}

int BaseGroupClass::appendMembers(BaseGroupClass* other) {
    int added = other->NumMembers;
    if (NumMembers + added > Capacity)
        enlargeArrays(NumMembers + added);
    for (int i = 0; i < added; ++i)
        Members[NumMembers + i] = other->Members[i];
    NumMembers += added;
    return NumMembers;
}

void BaseGroupClass::enlargeArrays(int n) {
    GEN_ASSERT(n >= NumMembers, "BaseGroupClass");
    BaseGroupClass** members = newArray<BaseGroupClass*>(n);
    for (int i = 0; i < NumMembers; ++i)
        members[i] = Members[i];
    delete[] Members;
    Members = members;
    delete[] WeightDistribution;
    WeightDistribution = newArray<WeightEntry>(n);
    NumWeights = 0;
    Capacity = n;
}

void BaseGroupClass::replaceMember(BaseActionClass* oldMember, BaseActionClass* newMember) {
    if (SelectedAction == oldMember)
        SelectedAction = newMember;
    for (int i = 0; i < NumMembers; ++i) {
        if (Members[i] == oldMember) {
            BaseGroupClass* replacement = dynamic_cast<BaseGroupClass*>(newMember);
            GEN_ASSERT(replacement != nullptr || newMember == nullptr, "BaseGroupClass");
            Members[i] = replacement;
        }
    }
}

void BaseGroupClass::printGroup() {
    std::cout << "** Members of Group " << Name << std::endl;
    printGroup("", 0);
}

void BaseGroupClass::printGroup(const char* prefix, int indent) {
    for (int i = 0; i < NumMembers; ++i) {
        BaseGroupClass* member = Members[i];
        std::cout << std::string(static_cast<std::size_t>(indent), ' ') << "[" << prefix << i
                  << "] " << member->Name << std::endl;
        if (member->NumMembers > 1) {
            std::string childPrefix = prefix + std::to_string(i) + ".";
            member->printGroup(childPrefix.c_str(), indent + 2);
        }
    }
}

void BaseGroupClass::PrintInfo() {
    std::cout << "************ Group: " << Name << " ****************" << std::endl;
    std::cout << "Contains the following actions:" << std::endl;
    for (int i = 0; i < NumMembers; ++i)
        std::cout << "  " << Members[i]->Name << std::endl;
    std::cout << "Selected Action = " << (SelectedAction != nullptr ? SelectedAction->Name : "none")
              << std::endl;
}
