#include "state/StructStateVariable.h"

#include "actions/BaseActionClass.h"
#include "base/Assert.h"
#include "base/Errors.h"

#include <new>
#include <ostream>

namespace {

// Bytes a field occupies in the packed layout.
int fieldSize(const BaseStructStateVariable::fieldType& f) {
    switch (f.type) {
    case ShortElement:
        return 2;
    case IntElement:
        return 4;
    case CharElement:
        return 1;
    case DoubleElement:
        return 8;
    case FloatElement:
        return 4;
    default:
        return f.var->StateSize();
    }
}

} // namespace

BaseStructStateVariable::BaseStructStateVariable() : stateSize(0) {}

BaseStructStateVariable::BaseStructStateVariable(const char* name, const char* prefix)
    : BaseStateVariableClass(name, prefix), stateSize(-1) {}

BaseStructStateVariable::BaseStructStateVariable(const char* name, const char* prefix,
                                                 const ArrayType* types, int n)
    : BaseStructStateVariable(name, prefix) {
    makeArrays(types, n);
}

BaseStructStateVariable::~BaseStructStateVariable() = default;

void BaseStructStateVariable::makeArrays(const ArrayType* types, int n) {
    for (int i = 0; i < n; ++i)
        fields.push_back(field(types[i], nullptr));
    stateSize = -1;
    ++layoutVersion;
}

BaseStructStateVariable::fieldType BaseStructStateVariable::field(ArrayType t,
                                                                  BaseStateVariableClass* v) const {
    return fieldType{v, t};
}

int BaseStructStateVariable::calculateStateSize() {
    int size = 0;
    for (const fieldType& f : fields)
        size += fieldSize(f);
    return size;
}

int BaseStructStateVariable::StateSize() {
    // Computed afresh: generated code may add fields, or replace a field's
    // variable, after a first call. A changed size counts as a change of layout.
    int size = calculateStateSize();
    if (size != stateSize) {
        if (stateSize >= 0)
            ++layoutVersion;
        stateSize = size;
    }
    return size;
}

void BaseStructStateVariable::CurrentState(void* to) {
    char* p = static_cast<char*>(to);
    for (const fieldType& f : fields) {
        f.var->CurrentState(p);
        p += fieldSize(f);
    }
}

void BaseStructStateVariable::SetState(void* from) {
    char* p = static_cast<char*>(from);
    for (const fieldType& f : fields) {
        f.var->SetState(p);
        p += fieldSize(f);
    }
}

void BaseStructStateVariable::printState(std::ostream* out) {
    *out << name << " = {" << std::endl;
    for (const fieldType& f : fields) {
        *out << ".";
        f.var->printState(out);
    }
    *out << "}" << std::endl;
}

void BaseStructStateVariable::share(BaseStateVariableClass* other) {
    BaseStructStateVariable* otherStruct = dynamic_cast<BaseStructStateVariable*>(other);
    GEN_ASSERT(otherStruct, "StructStateVariable");
    ShareWith(otherStruct);
}

void BaseStructStateVariable::ShareWith(BaseStructStateVariable* otherStruct) {
    // Sharing within one group would free the group's own action lists.
    GEN_ASSERT(otherStruct != this, "StructStateVariable");
    GEN_ASSERT(otherStruct->holder != holder, "StructStateVariable");

    auto otheri = otherStruct->fields.begin();
    for (const fieldType& f : fields) {
        GEN_ASSERT(otheri != otherStruct->fields.end(), "StructStateVariable");
        f.var->share(otheri->var);
        ++otheri;
    }

    // As for places: a stored other joins this structure's group; an other that
    // was itself absorbed already brings its group's holder, which takes in this
    // structure's whole group.
    if (otherStruct->getStored())
        holder->absorb(otherStruct);
    else
        otherStruct->holder->absorb(holder);
}

void BaseStructStateVariable::absorb(BaseStructStateVariable* other) {
    GEN_ASSERT(holder == this && other->holder == other, "StructStateVariable");
    SVAffectingActions->append(other->SVAffectingActions);
    SVEnabledActions->append(other->SVEnabledActions);
    delete other->SVAffectingActions;
    delete other->SVEnabledActions;

    // The other and every structure it had absorbed now use this group's lists.
    other->absorbedMembers.push_back(other);
    for (BaseStructStateVariable* member : other->absorbedMembers) {
        member->SVAffectingActions = SVAffectingActions;
        member->SVEnabledActions = SVEnabledActions;
        member->holder = this;
        absorbedMembers.push_back(member);
    }
    other->absorbedMembers.clear();

    other->setShared(true);
    other->setStored(false);
    redirectActions(other, this);
}

void BaseStructStateVariable::appendAffectingAction(BaseActionClass* a) {
    for (const fieldType& f : fields)
        f.var->appendAffectingAction(a);
    BaseStateVariableClass::appendAffectingAction(a);
}

void BaseStructStateVariable::appendEnabledAction(BaseActionClass* a) {
    BaseStateVariableClass::appendEnabledAction(a);
    for (const fieldType& f : fields)
        f.var->appendEnabledAction(a);
}

void BaseStructStateVariable::addSelfAsEnablingSVToAction(BaseActionClass* a) {
    for (const fieldType& f : fields)
        f.var->addSelfAsEnablingSVToAction(a);
}

void BaseStructStateVariable::addSelfAsAffectedSVToAction(BaseActionClass* a) {
    for (const fieldType& f : fields)
        f.var->addSelfAsAffectedSVToAction(a);
}

void BaseStructStateVariable::removeSelfFromEnablingSVOfAction(BaseActionClass* a) {
    for (const fieldType& f : fields)
        f.var->removeSelfFromEnablingSVOfAction(a);
}

void BaseStructStateVariable::removeSelfFromAffectedSVOfAction(BaseActionClass* a) {
    for (const fieldType& f : fields)
        f.var->removeSelfFromAffectedSVOfAction(a);
}

List<BaseStateVariableClass>* BaseStructStateVariable::getLeafNodes() {
    List<BaseStateVariableClass>* leaves = new (std::nothrow) List<BaseStateVariableClass>();
    if (leaves == nullptr)
        MemoryAllocationError();
    for (const fieldType& f : fields) {
        List<BaseStateVariableClass>* childTemp = f.var->getLeafNodes();
        GEN_ASSERT(childTemp, "StructStateVariable");
        leaves->append(childTemp);
        delete childTemp;
    }
    return leaves;
}

int BaseStructStateVariable::getNumLeafNodes() {
    int n = 0;
    for (const fieldType& f : fields)
        n += f.var->getNumLeafNodes();
    return n == 0 ? 1 : n;
}

bool BaseStructStateVariable::isLeafNode() {
    return fields.empty();
}
