// The table's cells: a value printed to 15 digits carries, in its bound, what
// the printing rounded off, so that the printed value and bound hold the
// answer however small the bound.

#include "report/ResultText.h"
#include "methods/Measures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

namespace {

// The bound a table cell prints, without its "~ " or "<= ".
double printedBound(const std::string& cell) {
    return std::strtod(cell.substr(cell.find(' ') + 1).c_str(), nullptr);
}

TEST(ResultText, ThePrintedBoundCoversTheDigitsTheValueLoses) {
    gensolver::Result r;
    r.variable = "x";
    r.boundProven = true;
    // 1/3 with a bound below its 15th digit: 0.333333333333333 is 3.3e-16 off.
    r.value = 1.0 / 3.0;
    r.bound = 1e-17;
    std::vector<std::string> cells = gensolver::resultTableCells(r);
    EXPECT_EQ(cells[4], "0.333333333333333");
    const double printed = std::strtod(cells[4].c_str(), nullptr);
    EXPECT_EQ(cells[5].substr(0, 3), "<= ");
    EXPECT_GE(printedBound(cells[5]), std::fabs(printed - r.value));
    EXPECT_LE(printedBound(cells[5]), 1e-15);
    // Values the 15 digits hold exactly, and bounds far above the 15th digit,
    // are printed as they are.
    r.value = 0.75;
    r.bound = 1e-13;
    cells = gensolver::resultTableCells(r);
    EXPECT_EQ(cells[4], "0.75");
    EXPECT_EQ(cells[5], "<= 1.00e-13");
    r.value = 2.0 / 3.0;
    r.bound = 3e-9;
    r.boundProven = false;
    cells = gensolver::resultTableCells(r);
    EXPECT_EQ(cells[5], "~ 3.00e-09");
    // A bound that is not finite stays as it is.
    r.bound = std::numeric_limits<double>::infinity();
    cells = gensolver::resultTableCells(r);
    EXPECT_EQ(cells[5], "~ inf");
}

} // namespace
