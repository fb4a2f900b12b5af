#include "state/BaseStateVariableClass.h"

#include "actions/BaseActionClass.h"
#include "base/Errors.h"

#include <iostream>
#include <new>

unsigned long BaseStateVariableClass::layoutVersion = 0;

namespace {

List<BaseActionClass>* newActionList() {
    List<BaseActionClass>* l = new (std::nothrow) List<BaseActionClass>();
    if (l == nullptr)
        MemoryAllocationError();
    return l;
}

} // namespace

BaseStateVariableClass::BaseStateVariableClass() : BaseStateVariableClass("default", "") {}

BaseStateVariableClass::BaseStateVariableClass(const char* name, const char* prefix)
    : name(copyText(name)), prefix(copyText(prefix)), shared(false), stored(true),
      functionallyShared(false), sharingCount(0), SVAffectingActions(newActionList()),
      SVEnabledActions(newActionList()) {}

BaseStateVariableClass::~BaseStateVariableClass() {
    if (stored) {
        delete SVAffectingActions;
        delete SVEnabledActions;
    }
    delete[] name;
    delete[] prefix;
}

void BaseStateVariableClass::printState(std::ostream*) {}

void BaseStateVariableClass::printState() {
    printState(&std::cout);
}

void BaseStateVariableClass::printStateVal(std::ostream*) {}

void BaseStateVariableClass::appendAffectingAction(BaseActionClass* a) {
    SVAffectingActions->append(a);
}

void BaseStateVariableClass::removeAffectingAction(BaseActionClass* a) {
    SVAffectingActions->remove(a);
}

void BaseStateVariableClass::replaceAffectingAction(BaseActionClass* oldAction,
                                                    BaseActionClass* newAction) {
    SVAffectingActions->replaceItem(oldAction, newAction);
}

void BaseStateVariableClass::addSelfAsEnablingSVToAction(BaseActionClass* a) {
    a->addEnablingSV(this);
}

void BaseStateVariableClass::addSelfAsAffectedSVToAction(BaseActionClass* a) {
    a->addAffectedSV(this);
}

void BaseStateVariableClass::removeSelfFromEnablingSVOfAction(BaseActionClass* a) {
    a->removeEnablingSV(this);
}

void BaseStateVariableClass::removeSelfFromAffectedSVOfAction(BaseActionClass* a) {
    a->removeAffectedSV(this);
}

List<BaseStateVariableClass>* BaseStateVariableClass::getLeafNodes() {
    List<BaseStateVariableClass>* leaves = new (std::nothrow) List<BaseStateVariableClass>();
    if (leaves == nullptr)
        MemoryAllocationError();
    leaves->append(this);
    return leaves;
}

int BaseStateVariableClass::getNumLeafNodes() {
    return 1;
}

bool BaseStateVariableClass::isLeafNode() {
    return true;
}

void BaseStateVariableClass::appendEnabledAction(BaseActionClass* a) {
    SVEnabledActions->append(a);
}

void BaseStateVariableClass::removeEnabledAction(BaseActionClass* a) {
    SVEnabledActions->remove(a);
}

void BaseStateVariableClass::replaceEnabledAction(BaseActionClass* oldAction,
                                                  BaseActionClass* newAction) {
    SVEnabledActions->replaceItem(oldAction, newAction);
}

void BaseStateVariableClass::SetName(const char* n) {
    char* copy = copyText(n);
    delete[] name;
    name = copy;
}

void BaseStateVariableClass::SetPrefix(const char* p) {
    char* copy = copyText(p);
    delete[] prefix;
    prefix = copy;
}

void BaseStateVariableClass::setShared(bool s) {
    shared = s; // counted in layoutVersion by the flag itself
}

void BaseStateVariableClass::setStored(bool s) {
    stored = s;
}

void BaseStateVariableClass::copyAffectingActions(List<BaseActionClass>* l) {
    for (int i = 0; i < l->getNumItems(); ++i)
        SVAffectingActions->append(l->getItem(i));
}

void BaseStateVariableClass::copyEnabledActions(List<BaseActionClass>* l) {
    for (int i = 0; i < l->getNumItems(); ++i)
        SVEnabledActions->append(l->getItem(i));
}

int BaseStateVariableClass::getNumAffectingActions() const {
    return SVAffectingActions->getNumItems();
}

int BaseStateVariableClass::getNumEnabledActions() const {
    return SVEnabledActions->getNumItems();
}

BaseActionClass* BaseStateVariableClass::getAffectingAction(int i) const {
    if (i >= SVAffectingActions->getNumItems()) {
        std::cerr << "!! BaseStateVariableClass::getAffectingAction(int): "
                  << " AffectingAction index out of bounds" << std::endl;
        return nullptr;
    }
    return SVAffectingActions->getItem(i);
}

BaseActionClass* BaseStateVariableClass::getEnabledAction(int i) const {
    if (i >= SVEnabledActions->getNumItems()) {
        std::cerr << "!! BaseStateVariableClass::getEnabledAction(int): "
                  << " EnabledAction index out of bounds" << std::endl;
        return nullptr;
    }
    return SVEnabledActions->getItem(i);
}

void BaseStateVariableClass::printAffectingActions() const {
    std::cout << "Affecting actions for " << name << ":" << std::endl;
    SVAffectingActions->printList();
}

void BaseStateVariableClass::printEnabledActions() const {
    std::cout << "Enabled actions for " << name << ":" << std::endl;
    SVEnabledActions->printList();
}

void BaseStateVariableClass::redirectActions(BaseStateVariableClass* from,
                                             BaseStateVariableClass* to) {
    List<BaseActionClass>* affecting = from->SVAffectingActions;
    for (int i = 0; i < affecting->getNumItems(); ++i)
        affecting->getItem(i)->AffectedSVs.replaceItem(from, to);
    List<BaseActionClass>* enabled = from->SVEnabledActions;
    for (int i = 0; i < enabled->getNumItems(); ++i)
        enabled->getItem(i)->EnablingSVs.replaceItem(from, to);
}
