#include "models/BaseModelClass.h"

#include "actions/BaseActionClass.h"
#include "base/Assert.h"
#include "base/Errors.h"
#include "models/StateMap.h"
#include "state/BaseStateVariableClass.h"

#include <iostream>

double BaseModelClass::LastActionTime = 0.0;

std::uint32_t State::hash() const {
    return 1;
}

int State::compare(const State&) const {
    return 1;
}

State::~State() = default;

BaseModelClass::BaseModelClass()
    : NumStateVariables(0), NumActions(0), NumGroups(0), Groups(nullptr), Name(nullptr), ModelId(0),
      ParentId(0), Actions(nullptr) {
    static int globalModelId = 0;
    ModelId = ++globalModelId;
    ParentId = ModelId;
}

BaseModelClass::~BaseModelClass() {
    delete[] Name;
}

char* BaseModelClass::DefineName(const char* name) {
    char* copy = copyText(name);
    delete[] Name;
    Name = copy;
    return Name;
}

int BaseModelClass::getNumStateVariables() {
    return NumStateVariables;
}

void BaseModelClass::printState(std::ostream*) {}

void BaseModelClass::printState() {
    printState(&std::cout);
}

BaseStateVariableClass** BaseModelClass::GetLocalStateVariables(std::ostream*) {
    return nullptr;
}

BaseStateVariableClass** BaseModelClass::GetSharedStateVariables() {
    return nullptr;
}

BaseStateVariableClass* BaseModelClass::getMainSharedVariable(BaseStateVariableClass*) {
    return nullptr;
}

List<BaseStateVariableClass>* BaseModelClass::getListOfSharedVariables(BaseStateVariableClass*) {
    return nullptr;
}

void BaseModelClass::AddAffectArc(BaseStateVariableClass* sv, BaseActionClass* action) {
    sv->appendAffectingAction(action);
    action->addAffectedSV(sv);
}

void BaseModelClass::AddEnableArc(BaseStateVariableClass* sv, BaseActionClass* action) {
    sv->appendEnabledAction(action);
    action->addEnablingSV(sv);
}

ModelType BaseModelClass::GetModelType() {
    GEN_UNREACHABLE("BaseModelClass", "GetModelType");
}

int BaseModelClass::GetNumberOfChildren() {
    GEN_UNREACHABLE("BaseModelClass", "GetNumberOfChildren");
}

BaseModelClass* BaseModelClass::GetChild(int) {
    GEN_UNREACHABLE("BaseModelClass", "GetChild");
}

void BaseModelClass::GetLocalActions(ActionChain&) {
    GEN_UNREACHABLE("BaseModelClass", "GetLocalActions");
}

void BaseModelClass::GetGlobalActions(ActionChain&) {
    GEN_UNREACHABLE("BaseModelClass", "GetGlobalActions");
}

bool BaseModelClass::HasLocalState() {
    GEN_UNREACHABLE("BaseModelClass", "HasLocalState");
}

void BaseModelClass::GetLocalState(State*) {
    GEN_UNREACHABLE("BaseModelClass", "GetLocalState");
}

void BaseModelClass::SetLocalState(const State*) {
    GEN_UNREACHABLE("BaseModelClass", "SetLocalState");
}

void BaseModelClass::ConstructLocalState(State*&) {
    GEN_UNREACHABLE("BaseModelClass", "ConstructLocalState");
}

void BaseModelClass::DestructLocalState(State*) {
    GEN_UNREACHABLE("BaseModelClass", "DestructLocalState");
}

bool BaseModelClass::GetStateMap(StateMap& map) {
    map.clear();
    return false;
}
