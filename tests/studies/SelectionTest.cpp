// The experiment list of -e: numbers and ranges, sorted and each once, and the
// refusals that name the item at fault.

#include "Selection.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using genstudies::parseSelection;

TEST(Selection, NumbersAndRangesGiveEachExperimentOnceInAscendingOrder) {
    EXPECT_EQ(parseSelection("0,3,5-7", 10), (std::vector<int>{0, 3, 5, 6, 7}));
    EXPECT_EQ(parseSelection("9,2-4,3,0", 10), (std::vector<int>{0, 2, 3, 4, 9}));
    EXPECT_EQ(parseSelection("4-4", 5), (std::vector<int>{4}));
    EXPECT_EQ(parseSelection("0-2,1-3", 4), (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ(genstudies::allExperiments(3), (std::vector<int>{0, 1, 2}));
}

TEST(Selection, RefusesWhatNamesNoExperimentOfTheModel) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"10", "experiment 10 is out of range 0..9"},
        {"3-10", "experiment 10 is out of range 0..9"},
        {"5-3", "range \"5-3\" ends before it starts"},
        {"1,,2", "\"\" is not an experiment number"},
        {"1,", "\"\" is not an experiment number"},
        {"a", "\"a\" is not an experiment number"},
        {"-1", "\"\" is not an experiment number"},
        {"1.5", "\"1.5\" is not an experiment number"},
        {"+2", "\"+2\" is not an experiment number"},
        {"99999999999", "\"99999999999\" is not an experiment number"},
    };
    for (const auto& [text, message] : cases) {
        SCOPED_TRACE(text);
        try {
            parseSelection(text, 10);
            ADD_FAILURE() << "accepted";
        } catch (const std::invalid_argument& e) {
            EXPECT_NE(std::string(e.what()).find(message), std::string::npos) << e.what();
        }
    }
}

} // namespace
