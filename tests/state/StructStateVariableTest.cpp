// Structured state variables: packed layout, leaves, printing, field-by-field
// sharing, and the typed memory helpers.

#include "state/StructStateVariable.h"
#include "actions/BaseActionClass.h"
#include "state/Place.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

namespace {

template <class T> T valueAt(void* p) {
    T v{};
    readMemory2(p, &v);
    return v;
}

constexpr ArrayType twoShorts[2] = {ShortElement, ShortElement};
constexpr ArrayType shortAndStruct[2] = {ShortElement, StructElement};

// {p1; inner {p2; p3}}, built the way generated code builds records.
struct Inner : BaseStructStateVariable {
    Inner() : BaseStructStateVariable("inner", "", twoShorts, 2) {
        fields[0].var = &p2;
        fields[1].var = &p3;
    }
    Place p2{"p2", 2}, p3{"p3", 3};
};

struct Outer : BaseStructStateVariable {
    Outer() : BaseStructStateVariable("s", "", shortAndStruct, 2) {
        fields[0].var = &p1;
        fields[1].var = &inner;
    }
    Place p1{"p1", 1};
    Inner inner;
};

TEST(StructStateVariable, PacksFieldsWithoutPadding) {
    const ArrayType types[3] = {ShortElement, DoubleElement, CharElement};
    SharableSV<short> s;
    SharableSV<double> d;
    SharableSV<char> c;
    BaseStructStateVariable m("m", "", types, 3);
    m.fields[0].var = &s;
    m.fields[1].var = &d;
    m.fields[2].var = &c;
    *s.value = -2;
    *d.value = 0.5;
    *c.value = 'x';
    EXPECT_EQ(m.StateSize(), 11);

    unsigned char bytes[12];
    std::memset(bytes, 0xEE, sizeof bytes);
    m.CurrentState(bytes);
    EXPECT_EQ(valueAt<short>(bytes), -2);
    EXPECT_EQ(valueAt<double>(bytes + 2), 0.5);
    EXPECT_EQ(bytes[10], 'x');
    EXPECT_EQ(bytes[11], 0xEE);
    *d.value = 0;
    m.SetState(bytes);
    EXPECT_EQ(*d.value, 0.5);
}

TEST(StructStateVariable, NestedStructureRoundTripsAndPrintsDepthFirst) {
    Outer s;
    EXPECT_EQ(s.StateSize(), 6);
    short packed[3] = {};
    s.CurrentState(packed);
    EXPECT_EQ(packed[2], 3);
    short next[3] = {7, 8, 9};
    s.SetState(next);
    EXPECT_EQ(s.inner.p2.getMark(), 8);

    std::ostringstream out;
    s.printState(&out);
    EXPECT_EQ(out.str(), "s = {\n.p1 = 7\n.inner = {\n.p2 = 8\n.p3 = 9\n}\n}\n");

    List<BaseStateVariableClass>* leaves = s.getLeafNodes();
    ASSERT_EQ(leaves->getNumItems(), 3);
    EXPECT_EQ(leaves->getItem(0), &s.p1);
    EXPECT_EQ(leaves->getItem(2), &s.inner.p3);
    delete leaves;
    EXPECT_EQ(s.getNumLeafNodes(), 3);

    // An action linked to a structure is linked to its leaves only.
    BaseActionClass a;
    a.addEnablingSV(&s);
    a.removeEnablingSV(&s.inner);
    ASSERT_EQ(a.EnablingSVs.getNumItems(), 1);
    EXPECT_EQ(a.EnablingSVs[0], &s.p1);
}

TEST(StructStateVariable, EmptyStructureIsALeafOfSizeZeroUntilFilled) {
    BaseStructStateVariable empty;
    EXPECT_EQ(empty.StateSize(), 0);
    EXPECT_TRUE(empty.isLeafNode());
    EXPECT_EQ(empty.getNumLeafNodes(), 1);
    List<BaseStateVariableClass>* none = empty.getLeafNodes();
    EXPECT_EQ(none->getNumItems(), 0);
    delete none;
    const ArrayType types[2] = {IntElement, FloatElement};
    empty.makeArrays(types, 2);
    EXPECT_EQ(empty.StateSize(), 8);
}

TEST(StructStateVariable, SharesFieldByField) {
    Outer s, t;
    t.p1.setMark(10);
    BaseActionClass onS;
    s.appendAffectingAction(&onS);
    t.share(&s);
    EXPECT_FALSE(s.getStored());
    EXPECT_TRUE(s.getShared());
    EXPECT_TRUE(t.getStored());
    EXPECT_EQ(t.getAffectingAction(0), &onS);
    EXPECT_EQ(t.p1.getMark(), 1); // each field took the other's value
    s.inner.p3.setMark(5);
    EXPECT_EQ(t.inner.p3.getMark(), 5);
}

TEST(StructStateVariableDeathTest, MisuseIsAProgrammingError) {
    Outer s;
    Place p("p", 0);
    EXPECT_DEATH(s.share(&p), "StructStateVariable: share: Assertion `otherStruct' failed");
    BaseStructStateVariable small("small", "", twoShorts, 1);
    small.fields[0].var = &p;
    EXPECT_DEATH(s.ShareWith(&small), "otheri != otherStruct->fields.end");
}

TEST(MemoryHelpers, CopyTypedValuesThroughUnalignedMemory) {
    unsigned char buffer[20];
    writeMemory<double>(2.25, buffer + 1);
    double d = 0;
    readMemory2(buffer + 1, &d);
    EXPECT_EQ(d, 2.25);
    int values[3] = {1, -2, 300000}, back[3] = {};
    writeArray(values, buffer + 5, 3);
    readArray(back, buffer + 5, 3);
    EXPECT_EQ(back[2], 300000);
}

} // namespace
