#include "ssg/DeterministicList.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

namespace {

template <class T> std::string bytesOf(T value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value); // little-endian host
}

// One group of the binary form: the delay, the states, a 2-byte end.
std::string binaryGroup(double delay, const std::vector<std::int32_t>& states) {
    std::string bytes = bytesOf(delay);
    for (std::int32_t state : states)
        bytes += bytesOf(state);
    return bytes + std::string(2, '\0');
}

// States group by exact delay, in order of first appearance, each group growing
// past its first capacity; the text and binary forms list the same groups.
TEST(DeterministicList, GroupsByExactDelayInTextAndBinary) {
    const double nan = std::nan("");
    DeterministicList list(0); // a zero capacity still grows
    list.insertEnablingState(3, 2.0);
    list.insertEnablingState(3, 2.0); // two actions with one delay: listed twice
    for (int state = 4; state <= 14; ++state)
        list.insertEnablingState(state, 0.25);
    list.insertEnablingState(70000, 2.0);
    list.insertEnablingState(7, 0.25000000001);
    list.insertEnablingState(8, nan); // NaN equals no delay, not even NaN
    list.insertEnablingState(9, nan);
    std::ostringstream text, binary, empty;
    for (std::ostringstream* out : {&text, &binary, &empty}) {
        out->setf(std::ios::scientific, std::ios::floatfield); // the .det stream's notation
        out->precision(10);
    }
    list.writeEnablingStates(text, 0);
    list.writeEnablingStates(binary, 1);
    DeterministicList().writeEnablingStates(empty, 0);
    EXPECT_EQ(text.str(), "5\n2.0000000000e+00\n3\n3\n70000\n0\n"
                          "2.5000000000e-01\n4\n5\n6\n7\n8\n9\n10\n11\n12\n13\n14\n0\n"
                          "2.5000000001e-01\n7\n0\nnan\n8\n0\nnan\n9\n0\n");
    EXPECT_EQ(binary.str(), bytesOf<std::int32_t>(5) + binaryGroup(2.0, {3, 3, 70000}) +
                                binaryGroup(0.25, {4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}) +
                                binaryGroup(0.25000000001, {7}) + binaryGroup(nan, {8}) +
                                binaryGroup(nan, {9}));
    EXPECT_EQ(empty.str(), "0\n");
}

} // namespace
