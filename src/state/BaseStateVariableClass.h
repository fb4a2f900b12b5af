#pragma once
// BaseStateVariableClass: one named piece of a model's state. It packs its
// value into a state vector and back, prints itself, and keeps the actions
// that change it and the actions whose enabling reads it. Variables of a
// sharing group use the action lists of the group's representative.

#include "base/List.h"

#include <iosfwd>

class BaseActionClass;

class BaseStateVariableClass {
public:
    BaseStateVariableClass();
    BaseStateVariableClass(const char* name, const char* prefix);
    BaseStateVariableClass(const BaseStateVariableClass&) = delete;
    BaseStateVariableClass& operator=(const BaseStateVariableClass&) = delete;

    // Virtual operations, in this order.
    virtual ~BaseStateVariableClass();
    virtual int StateSize() = 0;             // bytes occupied in a state vector
    virtual void SetState(void* from) = 0;   // reads the value from `from`
    virtual void CurrentState(void* to) = 0; // writes the value to `to`
    virtual void printState(std::ostream* out);
    virtual void printState(); // printState(&std::cout)
    virtual void printStateVal(std::ostream* out);
    virtual void share(BaseStateVariableClass* other) = 0;
    virtual void appendAffectingAction(BaseActionClass* a);
    virtual void removeAffectingAction(BaseActionClass* a);
    virtual void replaceAffectingAction(BaseActionClass* oldAction, BaseActionClass* newAction);
    virtual void addSelfAsEnablingSVToAction(BaseActionClass* a);
    virtual void addSelfAsAffectedSVToAction(BaseActionClass* a);
    virtual void removeSelfFromEnablingSVOfAction(BaseActionClass* a);
    virtual void removeSelfFromAffectedSVOfAction(BaseActionClass* a);
    virtual List<BaseStateVariableClass>* getLeafNodes(); // new list, owned by the caller
    virtual int getNumLeafNodes();
    virtual bool isLeafNode();
    virtual void appendEnabledAction(BaseActionClass* a);
    virtual void removeEnabledAction(BaseActionClass* a);
    virtual void replaceEnabledAction(BaseActionClass* oldAction, BaseActionClass* newAction);

    void SetName(const char* n);   // replaces the name by a copy
    void SetPrefix(const char* p); // replaces the prefix by a copy
    const char* getName() const { return name; }

    bool getShared() const { return shared; }
    void setShared(bool s);
    bool getStored() const { return stored; }
    void setStored(bool s);
    bool getFunctionallyShared() const { return functionallyShared; }
    void setFunctionallyShared(bool s) { functionallyShared = s; }
    int getSharingCount() const { return sharingCount; }

    List<BaseActionClass>* getAffectingActions() const { return SVAffectingActions; }
    List<BaseActionClass>* getEnabledActions() const { return SVEnabledActions; }
    // Replace the list pointer; the old list is not freed.
    void setAffectingActions(List<BaseActionClass>* l) { SVAffectingActions = l; }
    void setEnabledActions(List<BaseActionClass>* l) { SVEnabledActions = l; }
    // Append each item of `l`, in order, to the variable's own list.
    void copyAffectingActions(List<BaseActionClass>* l);
    void copyEnabledActions(List<BaseActionClass>* l);
    int getNumAffectingActions() const;
    int getNumEnabledActions() const;
    // The action at position i, or null (with a message on standard error) when i is
    // not below the count.
    BaseActionClass* getAffectingAction(int i) const;
    BaseActionClass* getEnabledAction(int i) const;
    void printAffectingActions() const;
    void printEnabledActions() const;

    // Counts every change of any variable's shared or stored flag (through the
    // setters or by assignment) and of a structured variable's size, so that a
    // model can cache figures derived from them (its state size) and notice when
    // they have changed.
    static unsigned long layoutVersion;

    // A flag that decides which variables a state vector holds: every change of
    // its value, also by direct assignment, counts in layoutVersion. Reads as bool.
    class LayoutFlag {
    public:
        LayoutFlag(bool v) : value(v) {} // NOLINT: converts from bool like the flag it replaces
        LayoutFlag(const LayoutFlag&) = default;
        LayoutFlag& operator=(bool v) {
            if (v != value)
                ++layoutVersion;
            value = v;
            return *this;
        }
        LayoutFlag& operator=(const LayoutFlag& other) { return *this = other.value; }
        operator bool() const { return value; }

    private:
        bool value;
    };

protected:
    // After `from` joined a sharing group whose representative is `to`: every action
    // in from's (now the group's) lists names `to` instead of `from` in its list of
    // affected or enabling state variables.
    static void redirectActions(BaseStateVariableClass* from, BaseStateVariableClass* to);

public:
    char* name;              // owned
    char* prefix;            // owned; stored only
    LayoutFlag shared;       // takes part in a sharing group
    LayoutFlag stored;       // owns its storage (unshared, or a group's representative)
    bool functionallyShared; // kept and reported only
    int sharingCount;        // value pointers registered (a representative: its whole group's)
    List<BaseActionClass>* SVAffectingActions; // owned while `stored`; else the representative's
    List<BaseActionClass>* SVEnabledActions;   // owned while `stored`; else the representative's
};
