#include "ssg/DeterministicList.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>

namespace {

template <class T> std::string bytesOf(T value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value); // little-endian host
}

TEST(DeterministicList, GroupsByExactDelayAndGrows) {
    DeterministicList list;
    EXPECT_EQ(list.getRateInfoCapacity(), 2);
    list.insertEnablingState(3, 2.0);
    list.insertEnablingState(3, 2.0); // two actions with one delay: listed twice
    for (int state = 4; state <= 14; ++state)
        list.insertEnablingState(state, 1.0); // the eleventh state grows the list to 20
    EXPECT_EQ(list.getRateInfoCapacity(), 2);
    list.insertEnablingState(7, 1.0000000001); // a third delay: 2 groups -> 4
    EXPECT_EQ(list.getRateInfoCapacity(), 4);
    ASSERT_EQ(list.getRateInfoSize(), 3);
    EXPECT_EQ(list.getRateInfo(0).getStateCount(), 2);
    const RateInfoType& second = list.getRateInfo(1);
    ASSERT_EQ(second.getStateCount(), 11);
    EXPECT_EQ(second.getStateCapacity(), 20);
    for (int i = 0; i < 11; ++i)
        EXPECT_EQ(second.getState(i), i + 4);

    double nan = std::numeric_limits<double>::quiet_NaN();
    DeterministicList nans(0); // a zero capacity still grows
    nans.insertEnablingState(1, nan);
    nans.insertEnablingState(2, nan);
    EXPECT_EQ(nans.getRateInfoSize(), 2);
}

TEST(DeterministicList, TextAndBinaryForms) {
    std::ostringstream text, binary, empty;
    for (std::ostringstream* out : {&text, &binary, &empty}) {
        out->setf(std::ios::scientific, std::ios::floatfield); // the .det stream's notation
        out->precision(10);
    }
    DeterministicList list;
    list.insertEnablingState(3, 2.0);
    list.insertEnablingState(70000, 2.0);
    list.insertEnablingState(5, 0.25);
    list.writeEnablingStates(text, 0);
    list.writeEnablingStates(binary, 1);
    DeterministicList().writeEnablingStates(empty, 0);
    EXPECT_EQ(text.str(), "2\n2.0000000000e+00\n3\n70000\n0\n2.5000000000e-01\n5\n0\n");
    std::string end(2, '\0');
    EXPECT_EQ(binary.str(), bytesOf<std::int32_t>(2) + bytesOf(2.0) + bytesOf<std::int32_t>(3) +
                                bytesOf<std::int32_t>(70000) + end + bytesOf(0.25) +
                                bytesOf<std::int32_t>(5) + end);
    EXPECT_EQ(empty.str(), "0\n");
}

} // namespace
