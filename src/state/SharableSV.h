#pragma once
// SharableSV<C>: a scalar state variable whose storage cell can be shared with
// other variables (equivalence sharing). Every pointer that must always address
// the variable's cell is registered as a SharedPointerElement; when the
// variable joins a group, all registered pointers are moved to the group's cell.
//
// Representatives: the group's representative is the one stored member; it owns
// the cell, the group's action lists and every element of the group. When a
// group is absorbed into another, every member's `representative` is updated to
// the new owner of the cell, so `representative` always names the stored
// variable and chains of sharing never lose a registered pointer.

#include "base/Assert.h"
#include "base/Errors.h"
#include "models/StateMap.h"
#include "state/BaseStateVariableClass.h"

#include <cstring>
#include <new>
#include <ostream>

template <class C> class SharableSV;

// One registered pointer: `pointer` is the address of a C* that must always
// point at the group's storage cell; `owner` is the variable the pointer
// belongs to (null for a pointer of no variable, such as a place's Mark or an
// activity's marking pointer).
template <class C = short> class SharedPointerElement {
public:
    SharedPointerElement(C** pointer, SharableSV<C>* owner, SharedPointerElement* next)
        : pointer(pointer), owner(owner), next(next) {}
    SharedPointerElement(const SharedPointerElement&) = delete;
    SharedPointerElement& operator=(const SharedPointerElement&) = delete;

    SharableSV<C>* getOwner() const { return owner; }
    SharedPointerElement* getNext() const { return next; }

    C** pointer;                // not owned
    SharableSV<C>* owner;       // not owned; null for an owner-less pointer
    SharedPointerElement* next; // not owned (the list's holder owns every element)
};

template <class C> class SharableSV : public BaseStateVariableClass {
public:
    using Element = SharedPointerElement<C>;

    SharableSV();
    ~SharableSV() override;

    int StateSize() override { return static_cast<int>(sizeof(C)); }
    void SetState(void* from) override { std::memcpy(value, from, sizeof(C)); }
    void CurrentState(void* to) override { std::memcpy(to, value, sizeof(C)); }
    using BaseStateVariableClass::printState;
    void printState(std::ostream* out) override; // "name = value" and a newline
    void printStateVal(std::ostream* out) override;
    void share(BaseStateVariableClass* other) override;
    void appendAffectingAction(BaseActionClass* a) override;
    // The cell is the group's storage cell, sizeof(C) bytes.
    bool MapState(StateMap& map, std::uint32_t offset) override {
        map.add(this, value, offset, sizeof(C));
        return true;
    }
    int CellAlignment() override { return static_cast<int>(alignof(C)); }
    // Moves the group's cell to `to`; from then on the cell belongs to the
    // holder of `to`, and the group can no longer be shared.
    void RelocateCell(char* to) override;

    Element* getHead() const { return elements; }
    SharableSV* getRepresentative() const { return representative; }

    // Registers &value with this variable as owner.
    void registerMyself();
    // Registers a pointer of no variable (owner null) with the representative of
    // this variable's group and points it at the group's cell, so that it follows
    // the cell through every later sharing.
    void registerPointer(C** pointer);
    // Makes the whole group of TheOtherPointer (a representative or an unshared
    // variable) part of this representative's group.
    void Register(SharableSV* TheOtherPointer);

    C* value;                   // the storage cell; owned while `stored`
    Element* elements;          // registered pointers; owned (a representative holds its group's)
    SharableSV* representative; // the stored variable of this variable's group (itself if unshared)
    bool cellOwned = true;      // false once RelocateCell has moved the cell into another's buffer

private:
    void push(C** pointer, SharableSV* owner);
};

template <class C>
SharableSV<C>::SharableSV() : value(nullptr), elements(nullptr), representative(this) {
    value = new (std::nothrow) C();
    if (value == nullptr)
        MemoryAllocationError();
    registerMyself();
}

template <class C> SharableSV<C>::~SharableSV() {
    if (stored && cellOwned)
        delete value;
    for (Element* e = elements; e != nullptr;) {
        Element* next = e->next;
        delete e;
        e = next;
    }
    elements = nullptr;
}

template <class C> void SharableSV<C>::printState(std::ostream* out) {
    *out << name << " = " << +*value << std::endl;
}

template <class C> void SharableSV<C>::printStateVal(std::ostream* out) {
    *out << +*value;
}

template <class C> void SharableSV<C>::push(C** pointer, SharableSV* owner) {
    Element* e = new (std::nothrow) Element(pointer, owner, elements);
    if (e == nullptr)
        MemoryAllocationError();
    elements = e;
    ++sharingCount;
}

template <class C> void SharableSV<C>::registerMyself() {
    Element* NextElement = new (std::nothrow) Element(&value, this, elements);
    if (NextElement == nullptr)
        MemoryAllocationError();
    GEN_ASSERT(NextElement->getOwner(), "state/SharableSV");
    elements = NextElement;
    ++sharingCount;
}

template <class C> void SharableSV<C>::registerPointer(C** pointer) {
    SharableSV* holder = representative;
    *pointer = holder->value;
    holder->push(pointer, nullptr);
}

template <class C> void SharableSV<C>::Register(SharableSV* TheOtherPointer) {
    GEN_ASSERT(representative == this, "state/SharableSV");
    GEN_ASSERT(TheOtherPointer != this, "state/SharableSV");
    GEN_ASSERT(SVAffectingActions, "state/SharableSV");
    GEN_ASSERT(SVEnabledActions, "state/SharableSV");
    GEN_ASSERT(TheOtherPointer->getHead(), "state/SharableSV");
    // Sharing happens before the cells are packed: a moved cell cannot be freed.
    GEN_ASSERT(cellOwned && TheOtherPointer->cellOwned, "state/SharableSV");
    SharableSV* x = TheOtherPointer;

    // The absorbed group's cell goes; every pointer of the group moves to ours.
    delete x->value;
    x->value = value;
    Element* last = nullptr;
    for (Element* e = x->elements; e != nullptr; e = e->next) {
        *e->pointer = value;
        last = e;
    }
    x->representative = this;
    x->setShared(true);
    x->setStored(false);

    // One pair of action lists for the merged group.
    SVAffectingActions->append(x->SVAffectingActions);
    SVEnabledActions->append(x->SVEnabledActions);
    delete x->SVAffectingActions;
    delete x->SVEnabledActions;
    x->SVAffectingActions = SVAffectingActions;
    x->SVEnabledActions = SVEnabledActions;
    for (Element* e = x->elements; e != nullptr; e = e->next) {
        if (SharableSV* owner = e->getOwner()) {
            owner->SVAffectingActions = SVAffectingActions;
            owner->SVEnabledActions = SVEnabledActions;
            owner->representative = this;
        }
    }

    // The representative holds (and owns) every element of its group.
    last->next = elements;
    elements = x->elements;
    x->elements = nullptr;
    sharingCount += x->sharingCount;
}

template <class C> void SharableSV<C>::RelocateCell(char* to) {
    SharableSV* holder = representative;
    C* cell = new (to) C(*holder->value);
    if (holder->cellOwned)
        delete holder->value;
    holder->cellOwned = false;
    // The representative holds every registered pointer of the group, each
    // member's own `value` among them.
    for (Element* e = holder->elements; e != nullptr; e = e->next)
        *e->pointer = cell;
}

template <class C> void SharableSV<C>::share(BaseStateVariableClass* other) {
    SharableSV* otherSV = dynamic_cast<SharableSV*>(other);
    GEN_ASSERT(otherSV, "state/SharableSV");
    // Sharing within one group would free the group's own cell.
    GEN_ASSERT(otherSV->representative != representative, "state/SharableSV");

    if (otherSV->stored && !stored) {
        representative->Register(otherSV);
    } else if (otherSV->stored) {
        setShared(true);
        *value = *otherSV->value;
        Register(otherSV);
    } else if (stored) {
        otherSV->representative->Register(this);
    } else {
        otherSV->representative->Register(representative);
    }
    redirectActions(otherSV, representative);
}

template <class C> void SharableSV<C>::appendAffectingAction(BaseActionClass* a) {
    if (elements == nullptr || representative != this)
        return;
    for (Element* e = elements; e != nullptr; e = e->next)
        if (SharableSV* owner = e->getOwner())
            owner->BaseStateVariableClass::appendAffectingAction(a);
}
