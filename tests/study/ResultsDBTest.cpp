#include "study/ResultsDB.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(ResultsDBTest, TruncatesLongTextsAndKeepsWhatNullLeavesOut) {
    std::string tooLong(250, 'x');
    ResultsDB db("dbhost", -1, tooLong.c_str(), nullptr, nullptr);
    EXPECT_EQ(std::string(db.user), std::string(99, 'x'));
    EXPECT_STREQ(db.password, ""); // the neighbouring field is untouched
    db.setDBInfo(nullptr, 5432, nullptr, "secret", "results");
    db.setDBInfo(nullptr, -1, nullptr, nullptr, nullptr);
    EXPECT_STREQ(db.host, "dbhost");
    EXPECT_EQ(db.port, 5432);
    EXPECT_STREQ(db.password, "secret");
}

} // namespace
