#include "base/Errors.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

namespace {

// InconsistantState and ArrayOutOfBoundsError are checked where the groups report them.
TEST(ErrorsTest, ReportsThatReturnWriteTheirExactText) {
    static char first[] = "a", second[] = "b";
    const std::pair<std::function<void()>, const char*> reports[] = {
        {MemoryError, "Memory Error\n"},
        {[] { ErrorEmptyParameter("rate"); }, "rate: Parameter was an empty reference\n"},
        {SyncError::WrongDistributionType, "You can only synchronize actions from one "
                                           "type,either exponential or instantenous\n"},
        {SyncError::NoAction, " no Action found in model\n"},
        {UserError, "A user error has been detected\n"},
        {[] { ArrayTypeMismatchError(first, second); },
         "Array types for equivalence sharing do not match for state variables: \n  a\n  b\n"},
        {[] { StructTypeMismatchError(first, second); },
         "Struct types for equivalence sharing do not match for state variables: \n  a\n  b\n"},
        {InvalidArrayType, "ArrayType is not valid\n"},
        {InvalidUnorderedType, "ArrayType is invalid for unordered element\n"},
    };
    for (const auto& [report, text] : reports) {
        testing::internal::CaptureStderr();
        report();
        EXPECT_EQ(testing::internal::GetCapturedStderr(), text);
    }
}

// MemoryAllocationError's text and status are checked on the real executables (tests/robust).
TEST(ErrorsDeathTest, InvalidStructTypeEndsTheProcess) {
    EXPECT_EXIT(InvalidStructType(), testing::ExitedWithCode(1),
                "^ArrayType is invalid for struct element\n$");
}

} // namespace
