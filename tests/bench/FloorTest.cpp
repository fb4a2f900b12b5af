// The benchmark's floor for the polling model must do the same work as
// gen-polling: the same .arm bytes, for every N the benchmark table compares
// it at in miniature.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <string>

using testsupport::binary;
using testsupport::readFile;
using testsupport::run;
using testsupport::runModel;
using testsupport::TempDir;

TEST(PollingFloor, WritesTheArmFileOfGenPolling) {
    for (int n = 1; n <= 8; ++n) {
        SCOPED_TRACE("N = " + std::to_string(n));
        TempDir dir;
        testsupport::ModelRun gen =
            runModel("gen-polling", dir, "gen", 0, " -O i:N:" + std::to_string(n));
        ASSERT_EQ(gen.result.status, 0) << gen.result.err;
        testsupport::RunResult floor =
            run(binary("polling-floor") + " " + std::to_string(n) + " " + dir.path() + "floor.arm");
        ASSERT_EQ(floor.status, 0) << floor.err;
        EXPECT_TRUE(readFile(dir.path() + "floor.arm") == gen.arm);
    }
}
