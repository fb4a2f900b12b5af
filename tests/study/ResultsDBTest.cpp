#include "study/ResultsDB.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(ResultsDBTest, StoresTruncatedDetailsAndEveryWriteSucceeds) {
    std::string tooLong(250, 'x');
    ResultsDB db("dbhost", -1, tooLong.c_str(), nullptr, nullptr);
    EXPECT_STREQ(db.host, "dbhost");
    EXPECT_EQ(db.port, -1);
    EXPECT_EQ(std::string(db.user), std::string(99, 'x'));
    EXPECT_STREQ(db.password, ""); // the neighbouring field is untouched
    db.setDBInfo(nullptr, 5432, nullptr, "secret", "results");
    db.setDBInfo(nullptr, -1, nullptr, nullptr, nullptr);
    EXPECT_STREQ(db.host, "dbhost");
    EXPECT_EQ(db.port, 5432);
    EXPECT_STREQ(db.database, "results");

    EXPECT_TRUE(db.init(nullptr, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(db.getRunId("exp1"), -1);
    EXPECT_TRUE(db.writeSingleGV("alpha", "double", "exp1", nullptr));
    EXPECT_TRUE(db.writeGVValues(nullptr, "exp1"));
    EXPECT_TRUE(db.writeSSGExperInfo("exp1", 42));
}

} // namespace
