#include "base/Errors.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

std::string stderrOf(const std::function<void()>& report) {
    testing::internal::CaptureStderr();
    report();
    return testing::internal::GetCapturedStderr();
}

TEST(ErrorsTest, ReportsThatReturnWriteTheirExactText) {
    char first[] = "a";
    char second[] = "b";
    char where[] = "Array out of bounds (BaseGroupClass::setMember()";
    EXPECT_EQ(stderrOf(MemoryError), "Memory Error\n");
    EXPECT_EQ(stderrOf([] { ErrorEmptyParameter("rate"); }),
              "rate: Parameter was an empty reference\n");
    EXPECT_EQ(stderrOf(SyncError::WrongDistributionType),
              "You can only synchronize actions from one type,either exponential or "
              "instantenous\n");
    EXPECT_EQ(stderrOf(SyncError::NoAction), " no Action found in model\n");
    EXPECT_EQ(stderrOf(InconsistantState),
              "This program has entered into an inconsistant state. Please report this bug.\n");
    EXPECT_EQ(stderrOf(UserError), "A user error has been detected\n");
    EXPECT_EQ(stderrOf([&] { ArrayTypeMismatchError(first, second); }),
              "Array types for equivalence sharing do not match for state variables: \n"
              "  a\n"
              "  b\n");
    EXPECT_EQ(stderrOf([&] { StructTypeMismatchError(first, second); }),
              "Struct types for equivalence sharing do not match for state variables: \n"
              "  a\n"
              "  b\n");
    EXPECT_EQ(stderrOf(InvalidArrayType), "ArrayType is not valid\n");
    EXPECT_EQ(stderrOf(InvalidUnorderedType), "ArrayType is invalid for unordered element\n");
    EXPECT_EQ(stderrOf([&] { ArrayOutOfBoundsError(where); }),
              "Array out of bounds error at Array out of bounds "
              "(BaseGroupClass::setMember()\n");
}

TEST(ErrorsDeathTest, ReportsThatEndTheProcess) {
    EXPECT_EXIT(MemoryAllocationError(), testing::ExitedWithCode(1),
                "^Insufficient Memory to allocate dynamic data structures from heap memory\n"
                "Exiting program...\n$");
    EXPECT_EXIT(InvalidStructType(), testing::ExitedWithCode(1),
                "^ArrayType is invalid for struct element\n$");
}

} // namespace
