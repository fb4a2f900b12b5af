#include "RunOutput.h"

#include <sstream>

namespace genstudies {

namespace {

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> all;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        all.push_back(line);
    }
    return all;
}

bool blank(const std::string& line) {
    return line.find_first_not_of(" \t") == std::string::npos;
}

} // namespace

int experimentCountFromRefusal(const std::string& err) {
    const std::string lead = "ERROR: experiment number ";
    const std::string range = " (option -B) is out of range 0..";
    for (const std::string& line : lines(err)) {
        if (line.rfind(lead, 0) != 0)
            continue;
        const std::size_t at = line.find(range);
        if (at == std::string::npos)
            continue;
        const std::string last = line.substr(at + range.size());
        if (last == "-1")
            return 0;
        if (last.empty() || last.size() > 9 ||
            last.find_first_not_of("0123456789") != std::string::npos)
            continue;
        return std::stoi(last) + 1;
    }
    return -1;
}

ExperimentHeading readHeading(const std::string& out) {
    const std::string lead = "The Global Variable values for experiment ";
    const std::string tail = " are:";
    ExperimentHeading heading;
    const std::vector<std::string> all = lines(out);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::string& line = all[i];
        if (line == "There are no global variables.") {
            heading.found = true;
            return heading;
        }
        if (line.rfind(lead, 0) != 0 || line.size() < lead.size() + tail.size() ||
            line.compare(line.size() - tail.size(), tail.size(), tail) != 0)
            continue;
        heading.found = true;
        heading.name = line.substr(lead.size(), line.size() - lead.size() - tail.size());
        // Then one "name<TAB>type<TAB>value" line per global variable.
        for (std::size_t j = i + 1; j < all.size(); ++j) {
            const std::size_t first = all[j].find('\t');
            const std::size_t second =
                first == std::string::npos ? first : all[j].find('\t', first + 1);
            if (second == std::string::npos)
                break;
            heading.globals.push_back({all[j].substr(0, first),
                                       all[j].substr(first + 1, second - first - 1),
                                       all[j].substr(second + 1)});
        }
        return heading;
    }
    return heading;
}

std::string runMessage(const std::string& out, const std::string& err) {
    std::string joined;
    for (const std::string& line : lines(err)) {
        if (blank(line))
            continue;
        if (!joined.empty())
            joined += ' ';
        joined.append(line, line.find_first_not_of(" \t"));
    }
    if (!joined.empty())
        return joined;
    const std::vector<std::string> all = lines(out);
    for (auto it = all.rbegin(); it != all.rend(); ++it)
        if (!blank(*it) && it->rfind("_$", 0) != 0)
            return *it;
    return "";
}

} // namespace genstudies
