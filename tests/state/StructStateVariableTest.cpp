// Structured state variables: packed layout, leaves, printing and field-by-field
// sharing.

#include "state/StructStateVariable.h"
#include "actions/BaseActionClass.h"
#include "state/Place.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

namespace {

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
    BaseStructStateVariable m; // a structure without fields is a leaf of size 0
    EXPECT_TRUE(m.StateSize() == 0 && m.isLeafNode());
    const ArrayType types[3] = {ShortElement, DoubleElement, CharElement};
    m.makeArrays(types, 3);
    SharableSV<short> s;
    SharableSV<double> d;
    SharableSV<char> c;
    m.fields[0].var = &s, m.fields[1].var = &d, m.fields[2].var = &c;
    *s.value = -2, *d.value = 0.5, *c.value = 'x';
    EXPECT_EQ(m.StateSize(), 11);
    unsigned char bytes[12], expected[12];
    std::memset(bytes, 0xEE, sizeof bytes);
    std::memcpy(expected, bytes, sizeof bytes);
    std::memcpy(expected, s.value, 2);
    std::memcpy(expected + 2, d.value, 8);
    expected[10] = 'x';
    m.CurrentState(bytes);
    EXPECT_EQ(std::memcmp(bytes, expected, sizeof bytes), 0);
    *d.value = 0;
    m.SetState(bytes);
    EXPECT_EQ(*d.value, 0.5);
}

TEST(StructStateVariable, NestedStructureRoundTripsPrintsAndLinksItsLeaves) {
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
    BaseActionClass a; // an action linked to a structure is linked to its leaves only
    a.addEnablingSV(&s);
    a.removeEnablingSV(&s.inner);
    ASSERT_EQ(a.EnablingSVs.getNumItems(), 1);
    EXPECT_EQ(a.EnablingSVs[0], &s.p1);
}

TEST(StructStateVariable, SharesFieldByField) {
    Outer s, t;
    t.p1.setMark(10);
    BaseActionClass onS;
    s.appendAffectingAction(&onS);
    t.share(&s);
    EXPECT_TRUE(!s.getStored() && s.getShared() && t.getStored());
    EXPECT_EQ(t.getAffectingAction(0), &onS);
    EXPECT_EQ(t.p1.getMark(), 1); // each field took the other's value
    s.inner.p3.setMark(5);
    EXPECT_EQ(t.inner.p3.getMark(), 5);
}

TEST(StructStateVariable, SharingWithAnAbsorbedStructureJoinsItsGroup) {
    // b absorbs a; then c shares with a (already absorbed), and d with c: as for
    // places, each joins the group that a's holder leads, whatever the order.
    Outer a, b, c, d;
    BaseActionClass onA, onC, onD;
    a.appendEnabledAction(&onA);
    c.appendEnabledAction(&onC);
    d.appendEnabledAction(&onD);
    b.share(&a);
    c.share(&a);  // other not stored, this stored
    a.share(&d);  // this not stored, other stored
    Outer e, f;
    e.share(&f);
    f.share(&c);  // neither stored: c's group takes in e's
    for (Outer* s : {&a, &c, &d, &e, &f}) {
        EXPECT_FALSE(s->getStored());
        EXPECT_EQ(s->holder, &b);
        EXPECT_EQ(s->getEnabledActions(), b.getEnabledActions());
    }
    EXPECT_TRUE(b.getStored());
    EXPECT_EQ(b.getNumEnabledActions(), 3);
    for (BaseActionClass* action : {&onA, &onC, &onD})
        EXPECT_TRUE(b.getEnabledActions()->contains(action));
    f.inner.p3.setMark(9); // one cell per field for all six
    for (Outer* s : {&a, &b, &c, &d, &e})
        EXPECT_EQ(s->inner.p3.getMark(), 9);
    a.p1.setMark(4);
    EXPECT_EQ(e.p1.getMark(), 4);
}

TEST(StructStateVariableDeathTest, MisuseIsAProgrammingError) {
    Outer s;
    Place p("p", 0);
    EXPECT_DEATH(s.share(&p), "StructStateVariable: share: Assertion `otherStruct' failed");
    BaseStructStateVariable small("small", "", twoShorts, 1);
    small.fields[0].var = &p;
    EXPECT_DEATH(s.ShareWith(&small), "otheri != otherStruct->fields.end");
    Outer t, u;
    t.share(&u);
    EXPECT_DEATH(u.share(&t), "StructStateVariable: ShareWith: Assertion `otherStruct->holder "
                              "!= holder' failed"); // one group already
}

} // namespace
