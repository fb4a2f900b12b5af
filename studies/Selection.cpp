#include "Selection.h"

#include <algorithm>
#include <stdexcept>

namespace genstudies {

namespace {

// The whole of `item` as a number from 0 to count - 1.
int experimentNumber(const std::string& item, const std::string& text, int count) {
    if (item.empty() || item.size() > 9 ||
        !std::all_of(item.begin(), item.end(), [](char c) { return c >= '0' && c <= '9'; }))
        throw std::invalid_argument("experiment list \"" + text + "\": \"" + item +
                                    "\" is not an experiment number");
    const int n = std::stoi(item);
    if (n >= count)
        throw std::invalid_argument("experiment list \"" + text + "\": experiment " + item +
                                    " is out of range 0.." + std::to_string(count - 1));
    return n;
}

} // namespace

std::vector<int> parseSelection(const std::string& text, int count) {
    std::vector<int> chosen;
    std::size_t from = 0;
    while (true) {
        const std::size_t comma = text.find(',', from);
        const std::string item =
            text.substr(from, comma == std::string::npos ? std::string::npos : comma - from);
        const std::size_t dash = item.find('-');
        if (dash == std::string::npos) {
            chosen.push_back(experimentNumber(item, text, count));
        } else {
            const int first = experimentNumber(item.substr(0, dash), text, count);
            const int last = experimentNumber(item.substr(dash + 1), text, count);
            if (last < first)
                throw std::invalid_argument("experiment list \"" + text + "\": range \"" + item +
                                            "\" ends before it starts");
            for (int n = first; n <= last; ++n)
                chosen.push_back(n);
        }
        if (comma == std::string::npos)
            break;
        from = comma + 1;
    }
    std::sort(chosen.begin(), chosen.end());
    chosen.erase(std::unique(chosen.begin(), chosen.end()), chosen.end());
    return chosen;
}

std::vector<int> allExperiments(int count) {
    std::vector<int> all(static_cast<std::size_t>(std::max(count, 0)));
    for (int n = 0; n < count; ++n)
        all[static_cast<std::size_t>(n)] = n;
    return all;
}

} // namespace genstudies
