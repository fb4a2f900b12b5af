// The .abs file: which variables of the .pvtype file the solver reports until
// absorption. A good file marks exactly the variables it names; each fault is
// one InputError naming the .abs file and the line.

#include "read/InputError.h"
#include "read/PvTypeReader.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

namespace {

using testsupport::TempDir;

// Three variables, by name; their types and times do not matter to the list.
std::vector<gensolver::Variable> threeVariables() {
    std::vector<gensolver::Variable> v(3);
    v[0].name = "up";
    v[1].name = "cost";
    v[2].name = "life time";
    return v;
}

std::vector<bool> readList(const TempDir& dir, const std::string& text) {
    std::ofstream(dir.path() + "c.abs", std::ios::binary) << text;
    return gensolver::readAbsorptionList(dir.path() + "c.abs", threeVariables());
}

TEST(AbsorptionList, MarksTheNamedVariables) {
    TempDir dir;
    EXPECT_EQ(readList(dir, "Version:1\nNumPV:2\nName:life time\nName:up\n"),
              (std::vector<bool>{true, false, true}));
    EXPECT_EQ(readList(dir, "Version:1\nNumPV:0\n\n"), (std::vector<bool>{false, false, false}));
}

TEST(AbsorptionList, EachFaultIsNamedWithItsLine) {
    struct Case {
        const char* text;
        const char* expected;
    };
    const Case cases[] = {
        {"Version:2\nNumPV:0\n", "c.abs:1: unknown version"},
        {"Version:1\nNumPV:4\n", "c.abs:2: NumPV 4 is larger than 3"},
        {"Version:1\nNumPV:1\nName:down\n",
         "c.abs:3: no variable of the .pvtype file is named \"down\""},
        {"Version:1\nNumPV:2\nName:cost\nName:cost\n", "c.abs:4: variable \"cost\" is named twice"},
        {"Version:1\nNumPV:2\nName:cost\n", "c.abs:3: the file ends where \"Name:\" was expected"},
        {"Version:1\nNumPV:1\nName:up\nName:cost\n", "c.abs:4: text after the last variable"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        TempDir dir;
        try {
            readList(dir, c.text);
            ADD_FAILURE() << "no error";
        } catch (const gensolver::InputError& e) {
            const std::string message = e.what();
            EXPECT_NE(message.find(c.expected), std::string::npos) << message;
        }
    }
}

} // namespace
