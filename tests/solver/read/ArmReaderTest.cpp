// The .arm reader keeps the texts of the rates it met before with their values,
// in slots picked by a hash of the text; a rate must come back as its own text
// converts, whichever texts came before or share its slot.

#include "read/ModelReader.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <charconv>
#include <fstream>
#include <string>
#include <vector>

namespace {

TEST(ArmReader, RatesRepeatedAmongManyKeepTheirOwnValues) {
    // More distinct texts than the reader keeps, some a prefix or an extension of
    // another, some with blanks around them, in an order that returns to each.
    std::vector<std::string> texts = {
        "1e-3",
        "1e-30",
        "1e-31",
        " 2.5",
        "2.5 ",
        "2.50",
        "3",
        "0.3",
        "1e-3\r",
        "30",
        "3.000001",
        "7",
        "7e0",
        "1e300",
        "4",
        "4.5",
        "1e-3 ",
        "2.5",
        // One character longer than the texts kept, and just as long.
        "1.0000000000000000000000000000001",
        "1.000000000000000000000000000001",
    };
    // Twice as many distinct texts as there are slots, so that texts share them.
    for (int k = 0; k < 8192; ++k)
        texts.push_back(std::to_string(k) + ".5e-3");
    const std::uint32_t states = 9000;
    std::string arm = "1\n" + std::to_string(states) + "\n" + std::string(61, ' ') + "\n";
    std::vector<double> expected; // per transition, in file order
    for (std::uint32_t s = 1; s <= states; ++s) {
        arm += std::to_string(s) + "\n";
        for (std::uint32_t k = 0; k < 3; ++k) {
            const std::uint32_t to = 1 + (s + 7 * k) % states;
            if (to == s)
                continue;
            const std::string& text = texts[(s * 5 + k * 11) % texts.size()];
            arm += std::to_string(to) + "\n" + text + "\n";
            std::string digits = text;
            digits.erase(0, digits.find_first_not_of(" \r"));
            digits.erase(digits.find_last_not_of(" \r") + 1);
            double v = 0.0;
            std::from_chars(digits.data(), digits.data() + digits.size(), v);
            expected.push_back(v);
        }
        arm += "0\n";
    }
    testsupport::TempDir dir;
    std::ofstream(dir.path() + "c.arm", std::ios::binary) << arm;
    std::string var = "up\n";
    for (std::uint32_t s = 1; s <= states; ++s)
        var += std::to_string(s) + "\n0\n1\n";
    std::ofstream(dir.path() + "c.var", std::ios::binary) << var;
    std::ofstream(dir.path() + "c.pvtype")
        << "Version:1\nNumPV:1\nName:up\nType:0\nNumTimes:1\nStart:1\nStop:1\n";

    const gensolver::Model model = gensolver::readModel(dir.path() + "c");
    const gensolver::RateMatrix& m = model.matrix;
    ASSERT_EQ(m.transitions(), expected.size());
    // The matrix holds the transitions by target: find each one there.
    std::size_t next = 0;
    for (std::uint32_t s = 1; s <= states; ++s)
        for (std::uint32_t k = 0; k < 3; ++k) {
            const std::uint32_t to = 1 + (s + 7 * k) % states;
            if (to == s)
                continue;
            const double rate = expected[next++];
            bool found = false;
            for (std::uint64_t e = m.start[to - 1]; e < m.start[to]; ++e)
                found = found || (m.source[e] == s - 1 && m.rate[e] == rate);
            EXPECT_TRUE(found) << "from " << s << " to " << to << " at " << rate;
        }
}

} // namespace
