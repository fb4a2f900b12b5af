// Generated SANs pack their markings into one buffer at the end of their
// constructor. Each model file is compiled here, built with a small program
// against the framework and run: the program builds the experiment's model and
// prints whether its state is packed, whether the state is then one vector in
// memory, and whether the cell map moves what the model's own SetState and
// CurrentState move.

#include "Compiler.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

namespace {

using testsupport::run;
using testsupport::TempDir;

const char* const probe = R"(#include "models/SANModel.h"
#include "models/StateMap.h"
#include "pv/PVModel.h"
#include "study/BaseStudyClass.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

// One line per experiment named on the command line.
int main(int argc, char** argv) {
    for (int a = 1; a < argc; ++a) {
        BaseStudyClass* study = GenerateStudy();
        study->SetGVs(std::atoi(argv[a]));
        PVModel* model = study->GetPVModel(false);
        auto* san = static_cast<SANModel*>(model->SubModel);
        const auto size = static_cast<std::uint32_t>(san->StateSize());
        StateMap map;
        const bool mapped = san->GetStateMap(map) && map.agreesWith(san, size);
        const bool oneVector = mapped && map.contiguous(size) != nullptr;
        std::printf("%s %s %s\n", san->statePacked() ? "packed" : "unpacked",
                    oneVector ? "one-vector" : "cells", mapped ? "agrees" : "disagrees");
        DestructStudy();
    }
    return 0;
}
)";

// What the probe prints for the model file's experiments.
std::string probeModel(const std::string& modelFile, const std::string& experiments) {
    TempDir dir;
    std::ostringstream errors;
    if (!compileFile(modelFile, dir.path() + "gen", false, errors))
        return "gen-compile: " + errors.str();
    std::ofstream(dir.path() + "probe.cpp") << probe;
    auto built =
        run(std::string(GEN_CXX) + " -std=c++20 " + GEN_PROBE_FLAGS + " -I" + GEN_SOURCE_DIR +
            "/src -I" + dir.path() + "gen " + dir.path() + "probe.cpp " + dir.path() +
            "gen/GeneratedModel.cpp " + GEN_FRAMEWORK_LIB + " -pthread -o " + dir.path() + "probe");
    if (built.status != 0)
        return "build: " + built.err;
    auto ran = run(dir.path() + "probe " + experiments);
    if (ran.status != 0)
        return "run: status " + std::to_string(ran.status) + " " + ran.err;
    return ran.out;
}

// Markings are 2-byte cells, so a model of places and arrays of places always
// packs (the shipped model's is checked in tests/twins). A structure's fields lie end to end
// without padding; the vector may start anywhere in the buffer, so the model packs when one start
// aligns every field:
// - tiny: slot[N] (2N bytes), then job {short kind, double size, bool urgent}:
//   size lies at 2N + 2; N = 2 starts the vector 2 bytes past a multiple of 8,
//   N = 3 on one.
// - all: queue[N], server, then job {short kind, int size, char tag, bool
//   urgent, float weight, double arrived}: size and weight lie 6 bytes apart,
//   so no start puts both at a multiple of 4, and the cells stay where they are.
TEST(StatePacking, GeneratedSANsPackWhenOneStartAlignsEveryCell) {
    struct Case {
        const char* file;        // from the source tree
        const char* experiments; // the probe's arguments
        const char* expected;
    };
    const char* const packed = "packed one-vector agrees\n";
    const Case cases[] = {
        {"models/kanban/kanban.san", "2", packed},
        {"models/tandem/tandem.san", "0", packed},
        {"models/polling/polling.san", "0 3",
         "packed one-vector agrees\npacked one-vector agrees\n"},
        {"tests/compiler/models/tiny.san", "0 1",
         "packed one-vector agrees\npacked one-vector agrees\n"},
        {"tests/compiler/models/all.san", "0 1", "unpacked cells agrees\nunpacked cells agrees\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        EXPECT_EQ(probeModel(std::string(GEN_SOURCE_DIR) + "/" + c.file, c.experiments),
                  c.expected);
    }
}

} // namespace
