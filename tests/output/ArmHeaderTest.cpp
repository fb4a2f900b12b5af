// The .arm header: the count written over the placeholder keeps every byte the
// file format gives while it fits, and keeps line 3 when it does not.

#include "output/ArmHeader.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

// A finished file: the placeholder, then `rows`; completed with `count`.
std::string completed(int blanks, std::uint64_t count, const std::string& rows) {
    std::stringstream file(ArmHeader::placeholder(1, blanks) + rows,
                           std::ios::in | std::ios::out | std::ios::binary);
    EXPECT_TRUE(ArmHeader::complete(file, 1, count, blanks));
    return file.str();
}

TEST(ArmHeaderTest, PlaceholderIsTheTypeLineAndALineOfBlanks) {
    EXPECT_EQ(ArmHeader::placeholder(1, 8), "1\n        \n");
    EXPECT_EQ(ArmHeader::placeholder(1, 63), "1\n" + std::string(63, ' ') + "\n");
}

TEST(ArmHeaderTest, CountOverThePlaceholder) {
    const std::string rows = "1\n2\n2.5000000000e-01\n0\n2\n0\n";
    struct Case {
        int blanks;
        std::uint64_t count;
        std::string header; // the file's first three lines
    };
    const Case cases[] = {
        // Counts that fit: the file's bytes as the format gives them, 62 - d (or
        // 7 - d) blanks left on line 3.
        {63, 1, "1\n1\n" + std::string(61, ' ') + "\n"},
        {63, 12799999, "1\n12799999\n" + std::string(54, ' ') + "\n"},
        {8, 3, "1\n3\n      \n"},
        {8, 9999999, "1\n9999999\n\n"},
        // Eight digits on the deterministic path: the rows move back one byte and
        // line 3 stays, empty.
        {8, 10000000, "1\n10000000\n\n"},
        {8, 12799999, "1\n12799999\n\n"},
        // A count wider than the whole placeholder line.
        {2, 123456, "1\n123456\n\n"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(completed(c.blanks, c.count, rows), c.header + rows) << c.blanks << " " << c.count;
}

TEST(ArmHeaderTest, RowsLongerThanOneMoveAreMovedWhole) {
    // More than three chunks of rows, every byte distinct in its position.
    std::string rows;
    for (int i = 1; rows.size() < (3u << 20) + 12345; ++i)
        rows += std::to_string(i) + "\n0\n";
    EXPECT_EQ(completed(8, 12345678, rows), "1\n12345678\n\n" + rows);
}

TEST(ArmHeaderTest, FitsInPlaceWhileLineThreeKeepsItsLineFeed) {
    EXPECT_TRUE(ArmHeader::fitsInPlace(1, 9999999, 8));
    EXPECT_FALSE(ArmHeader::fitsInPlace(1, 10000000, 8));
    EXPECT_TRUE(ArmHeader::fitsInPlace(1, 4294967295u, 63));
}

} // namespace
