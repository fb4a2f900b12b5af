// Places and equivalence sharing: values, counts, action lists and every
// registered pointer must follow the group's storage cell.

#include "actions/BaseActionClass.h"
#include "state/Place.h"
#include "state/StructStateVariable.h"

#include <gtest/gtest.h>

namespace {

int countElements(const Place& p) {
    int n = 0;
    for (SharedPointerElement<>* e = p.getHead(); e != nullptr; e = e->getNext())
        ++n;
    return n;
}

// Every member reads and writes the representative's cell and action lists; the
// representative holds the registered pointers, `count` of them.
void expectOneCell(Place& rep, std::initializer_list<Place*> members, int count) {
    EXPECT_TRUE(rep.getStored() && rep.getShared());
    EXPECT_EQ(rep.getSharingCount(), count);
    EXPECT_EQ(countElements(rep), count);
    for (Place* m : members) {
        EXPECT_EQ(m->Mark, rep.value) << m->name;
        EXPECT_EQ(m->value, rep.value) << m->name;
        EXPECT_EQ(m->getRepresentative(), &rep) << m->name;
        EXPECT_EQ(m->getAffectingActions(), rep.getAffectingActions()) << m->name;
        EXPECT_EQ(m->getEnabledActions(), rep.getEnabledActions()) << m->name;
        EXPECT_TRUE(!m->getStored() && m->getShared()) << m->name;
        EXPECT_EQ(m->getHead(), nullptr) << m->name;
    }
}

// Moving markings and printing them are checked through the generator and its trace.
TEST(Place, EnabledActionPastTheEndIsReported) {
    Place idle("idle", 3);
    testing::internal::CaptureStderr();
    EXPECT_EQ(idle.getEnabledAction(0), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "!! BaseStateVariableClass::getEnabledAction(int):  EnabledAction index out of "
              "bounds\n");
}

// Case 2, both stored: this variable becomes the representative with the other's value.
TEST(Sharing, TwoStoredPlacesTakeTheOthersValue) {
    Place a("A", 1), b("B", 5);
    BaseActionClass fromB, later;
    b.appendAffectingAction(&fromB);
    fromB.addAffectedSV(&b);
    a.share(&b);
    expectOneCell(a, {&b}, 4);
    EXPECT_EQ(a.getMark(), 5);
    b.setMark(7);
    EXPECT_EQ(a.getMark(), 7);
    EXPECT_EQ(fromB.AffectedSVs[0], &a); // B's action now names the representative
    // Only the representative records affecting actions; every member sees them.
    b.appendAffectingAction(&later);
    EXPECT_EQ(a.getNumAffectingActions(), 1);
    a.appendAffectingAction(&later);
    EXPECT_EQ(b.getAffectingAction(1), &later);
}

// Case 1 (this one a member, the other stored) and case 3 (the reverse): the
// existing group absorbs the stored variable and keeps its value.
TEST(Sharing, AStoredPlaceJoinsAnExistingGroup) {
    Place a("A", 1), b("B", 2), c("C", 9), d("D", 8);
    BaseActionClass onA, onC;
    a.appendEnabledAction(&onA);
    c.appendEnabledAction(&onC);
    c.appendEnabledAction(&onA);
    onC.addEnablingSV(&c);
    a.share(&b); // group value 2
    b.share(&c); // case 1
    d.share(&b); // case 3
    expectOneCell(a, {&b, &c, &d}, 8);
    EXPECT_EQ(d.getMark(), 2);
    ASSERT_EQ(a.getNumEnabledActions(), 2); // onA once
    EXPECT_EQ(a.getEnabledAction(1), &onC);
    EXPECT_EQ(onC.EnablingSVs[0], &a);
    c.setMark(4);
    EXPECT_EQ(b.getMark(), 4);
}

// Case 4, neither stored: the groups merge with the other group's value, and
// every registered pointer, including an activity's owner-less marking
// pointer, follows to the surviving cell.
TEST(Sharing, TwoGroupsMergeThroughTheirRepresentatives) {
    Place a("A", 1), b("B", 1), c("C", 8), d("D", 8);
    short* activityMark = nullptr;
    a.registerPointer(&activityMark);
    EXPECT_EQ(activityMark, a.value);
    BaseActionClass onD;
    d.appendAffectingAction(&onD);
    onD.addAffectedSV(&d);
    a.share(&b);
    c.share(&d);
    b.share(&d);
    expectOneCell(c, {&a, &b, &d}, 9);
    EXPECT_EQ(activityMark, c.value);
    EXPECT_EQ(b.getMark(), 8);
    *activityMark = 3;
    EXPECT_EQ(d.getMark(), 3);
    EXPECT_EQ(onD.AffectedSVs[0], &c);
}

// Members of an absorbed group name the new representative, so sharing
// through them later loses nothing.
TEST(Sharing, ChainsThroughAbsorbedRepresentativesKeepEveryPointer) {
    Place a("A", 1), b("B", 1), c("C", 6), e("E", 0);
    short* activityMark = nullptr;
    a.share(&b);
    b.registerPointer(&activityMark); // held by A, the representative
    EXPECT_EQ(a.getSharingCount(), 5);
    c.share(&a);
    e.share(&b);
    expectOneCell(c, {&a, &b, &e}, 9);
    EXPECT_EQ(activityMark, c.value);
    EXPECT_EQ(e.getMark(), 1);
}

TEST(SharingDeathTest, WithinOneGroupOrWithAnotherKindIsAProgrammingError) {
    Place a("A", 1), b("B", 2), c("C", 0);
    EXPECT_DEATH(a.share(&a), "state/SharableSV: share: Assertion "
                              "`otherSV->representative != representative' failed");
    a.share(&b);
    EXPECT_DEATH(b.share(&a), "otherSV->representative != representative");
    EXPECT_DEATH(b.Register(&c), "Register: Assertion `representative == this'");
    EXPECT_DEATH(a.Register(&b), "Assertion `TheOtherPointer->getHead\\(\\)'");
    BaseStructStateVariable s("s", "");
    EXPECT_DEATH(a.share(&s), "state/SharableSV: share: Assertion `otherSV' failed");
}

} // namespace
