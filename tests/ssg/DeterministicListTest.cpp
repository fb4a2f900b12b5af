#include "ssg/DeterministicList.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ios>
#include <limits>
#include <sstream>
#include <string>

namespace {

// The .det stream's notation: scientific, precision 10.
std::ostringstream detStream() {
    std::ostringstream out;
    out.setf(std::ios::scientific, std::ios::floatfield);
    out.precision(10);
    return out;
}

std::string int32(std::int32_t value) {
    return std::string(reinterpret_cast<const char*>(&value), 4); // little-endian host
}

std::string float64(double value) {
    return std::string(reinterpret_cast<const char*>(&value), 8);
}

TEST(RateInfoType, ListDoublesWhenFull) {
    RateInfoType group;
    EXPECT_EQ(group.getStateCapacity(), 10);
    for (int state = 1; state <= 10; ++state)
        group.insertState(state);
    EXPECT_EQ(group.getStateCapacity(), 10);
    group.insertState(11);
    EXPECT_EQ(group.getStateCapacity(), 20);
    EXPECT_EQ(group.getStateCount(), 11);
    for (int i = 0; i < 11; ++i)
        EXPECT_EQ(group.getState(i), i + 1);
}

TEST(RateInfoType, ZeroCapacityStillGrows) {
    RateInfoType group(0, 1.5);
    for (int state = 1; state <= 5; ++state)
        group.insertState(state);
    EXPECT_EQ(group.getStateCount(), 5);
    EXPECT_EQ(group.getState(4), 5);
}

TEST(DeterministicList, GroupsByExactDelayInOrderOfFirstAppearance) {
    DeterministicList list;
    EXPECT_EQ(list.getRateInfoCapacity(), 2);
    list.insertEnablingState(3, 2.0);
    list.insertEnablingState(3, 2.0); // two actions with one delay: listed twice
    list.insertEnablingState(4, 1.0);
    for (int state = 5; state <= 15; ++state)
        list.insertEnablingState(state, 1.0); // eleventh state of the group grows it
    EXPECT_EQ(list.getRateInfoCapacity(), 2);
    list.insertEnablingState(7, 1.0000000001); // a third delay: 2 groups -> 4
    EXPECT_EQ(list.getRateInfoCapacity(), 4);
    ASSERT_EQ(list.getRateInfoSize(), 3);

    const RateInfoType& first = list.getRateInfo(0);
    EXPECT_EQ(first.getValue(), 2.0);
    ASSERT_EQ(first.getStateCount(), 2);
    EXPECT_EQ(first.getState(1), 3);
    const RateInfoType& second = list.getRateInfo(1);
    EXPECT_EQ(second.getValue(), 1.0);
    ASSERT_EQ(second.getStateCount(), 12);
    EXPECT_EQ(second.getStateCapacity(), 20);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(second.getState(i), i + 4);
    EXPECT_EQ(list.getRateInfo(2).getState(0), 7);
}

TEST(DeterministicList, NaNDelayNeverMatches) {
    DeterministicList list(1);
    double nan = std::numeric_limits<double>::quiet_NaN();
    list.insertEnablingState(1, nan);
    list.insertEnablingState(2, nan);
    EXPECT_EQ(list.getRateInfoSize(), 2);
}

TEST(DeterministicList, TextForm) {
    DeterministicList list;
    list.insertEnablingState(3, 2.0);
    list.insertEnablingState(12, 2.0);
    list.insertEnablingState(5, 0.25);
    std::ostringstream out = detStream();
    list.writeEnablingStates(out, 0);
    EXPECT_EQ(out.str(), "2\n2.0000000000e+00\n3\n12\n0\n2.5000000000e-01\n5\n0\n");
}

TEST(DeterministicList, EmptyTextFormIsTheCountZero) {
    DeterministicList list;
    std::ostringstream out = detStream();
    list.writeEnablingStates(out, 0);
    EXPECT_EQ(out.str(), "0\n");
}

TEST(DeterministicList, BinaryForm) {
    DeterministicList list;
    list.insertEnablingState(3, 2.0);
    list.insertEnablingState(70000, 2.0);
    list.insertEnablingState(5, 0.25);
    std::ostringstream out = detStream();
    list.writeEnablingStates(out, 1);
    std::string terminator(2, '\0');
    EXPECT_EQ(out.str(), int32(2) + float64(2.0) + int32(3) + int32(70000) + terminator +
                             float64(0.25) + int32(5) + terminator);
}

} // namespace
