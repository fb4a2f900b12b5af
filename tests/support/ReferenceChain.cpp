#include "support/ReferenceChain.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <utility>

namespace testsupport {

namespace {

long entries(const std::vector<ChainRow>& rows) {
    long count = 0;
    for (const ChainRow& row : rows)
        count += static_cast<long>(row.size());
    return count;
}

} // namespace

long ReferenceChain::transitions() const {
    return entries(rows);
}

std::string ReferenceChain::arm(int blanks) const {
    std::ostringstream text;
    text << std::scientific << std::setprecision(10);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        text << i + 1 << '\n';
        for (const auto& [target, value] : rows[i])
            text << target << '\n' << value << '\n';
        text << "0\n";
    }
    return armHeader(static_cast<int>(rows.size()), blanks) + text.str();
}

ExpectedRun ReferenceChain::expectedRun(std::string var, std::string pvtype, std::string det,
                                        int blanks) const {
    return {states(),       transitions(),     arm(blanks),
            std::move(var), std::move(pvtype), std::move(det)};
}

long ArmFile::transitions() const {
    return entries(rows);
}

ArmFile parseArm(const std::string& text) {
    ArmFile arm;
    std::istringstream in(text);
    std::string line;
    EXPECT_TRUE(std::getline(in, line) && line == "1") << "output type line";
    EXPECT_TRUE(std::getline(in, line));
    arm.states = std::stol(line);
    EXPECT_TRUE(std::getline(in, line) && line.find_first_not_of(' ') == std::string::npos)
        << "blank filler line";
    long expectedRow = 1;
    while (std::getline(in, line)) {
        EXPECT_EQ(std::stol(line), expectedRow) << "rows come in state order";
        ChainRow row;
        while (std::getline(in, line) && line != "0") {
            const long target = std::stol(line);
            EXPECT_TRUE(row.empty() || row.back().first < target) << "ascending targets";
            std::string value;
            std::getline(in, value);
            row.emplace_back(target, std::stod(value));
        }
        arm.rows.push_back(std::move(row));
        ++expectedRow;
    }
    return arm;
}

} // namespace testsupport
