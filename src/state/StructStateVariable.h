#pragma once
// BaseStructStateVariable: a state variable made of an ordered list of fields,
// each a state variable itself (a scalar or another structure), packed end to
// end without padding and shared field by field. Generated array and structure
// variables derive from it and fill in the fields. Also the typed memory helpers
// that move values of a known type in and out of untyped memory.

#include "state/BaseStateVariableClass.h"

#include <cstring>
#include <vector>

// Element types of a structured variable's fields. The size rule gives the
// scalars fixed widths and takes every other value as a composite whose size
// is the field variable's own StateSize().
enum ArrayType : int {
    ShortElement = 0,     // 2 bytes
    IntElement = 1,       // 4 bytes
    CharElement = 2,      // 1 byte: any one-byte scalar (char or bool)
    DoubleElement = 3,    // 8 bytes
    FloatElement = 4,     // 4 bytes
    ArrayElement = 5,     // composite: an array variable
    StructElement = 6,    // composite: a structure variable
    UnorderedElement = 7, // composite: an unordered collection
};

class BaseStructStateVariable : public BaseStateVariableClass {
public:
    // One field: its state variable (not owned) and its element type.
    struct fieldType {
        BaseStateVariableClass* var;
        ArrayType type;
    };

    BaseStructStateVariable();
    BaseStructStateVariable(const char* name, const char* prefix);
    BaseStructStateVariable(const char* name, const char* prefix, const ArrayType* types, int n);
    ~BaseStructStateVariable() override;

    int StateSize() override; // computed afresh (kept in stateSize)
    void SetState(void* from) override;
    void CurrentState(void* to) override;
    using BaseStateVariableClass::printState;
    void printState(std::ostream* out) override;
    void share(BaseStateVariableClass* other) override;
    void appendAffectingAction(BaseActionClass* a) override;
    void addSelfAsEnablingSVToAction(BaseActionClass* a) override;
    void addSelfAsAffectedSVToAction(BaseActionClass* a) override;
    void removeSelfFromEnablingSVOfAction(BaseActionClass* a) override;
    void removeSelfFromAffectedSVOfAction(BaseActionClass* a) override;
    List<BaseStateVariableClass>* getLeafNodes() override;
    int getNumLeafNodes() override;
    bool isLeafNode() override;
    void appendEnabledAction(BaseActionClass* a) override;
    virtual void ShareWith(BaseStructStateVariable* otherStruct);
    virtual fieldType field(ArrayType t, BaseStateVariableClass* v) const;

    // Appends a field of each type (variables filled in later); forgets the size.
    void makeArrays(const ArrayType* types, int n);
    int getSize() const { return static_cast<int>(fields.size()); }
    ArrayType getType(int i) const { return fields[i].type; }
    int calculateStateSize(); // the size, computed afresh

    int stateSize;                 // cached size in bytes; -1 while unknown
    std::vector<fieldType> fields; // owned storage; the field variables are not owned

    // The stored structure of this one's sharing group (itself while unshared or
    // stored): the one that owns the group's action lists. Not owned.
    BaseStructStateVariable* holder = this;
    // In a holder: the structures its group absorbed (not owned), so that a later
    // sharing can move them all to another holder.
    std::vector<BaseStructStateVariable*> absorbedMembers;

private:
    // Makes `other` (a holder) and its whole group part of this holder's group.
    void absorb(BaseStructStateVariable* other);
};

// Typed memory helpers: values are copied byte for byte in host byte order; the
// addresses need no alignment. Meant for short, int, double, float, char, bool.
template <class T> void readMemory2(void* from, T* to) {
    std::memcpy(to, from, sizeof(T));
}
template <class T> void readArray(T* to, void* from, int n) {
    std::memcpy(to, from, static_cast<std::size_t>(n) * sizeof(T));
}
template <class T> void writeMemory(T value, void* to) {
    std::memcpy(to, &value, sizeof(T));
}
template <class T> void writeArray(T* from, void* to, int n) {
    std::memcpy(to, from, static_cast<std::size_t>(n) * sizeof(T));
}
