#include "report/ResultText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ostream>

namespace gensolver {

namespace {

std::string timeText(const Result& r, bool start) {
    if (r.longRun)
        return "inf";
    if (r.untilAbsorption)
        return start ? "0" : "absorption";
    return formattedText("%.6g", start ? r.start : r.stop);
}

// The bound beside a value printed to 15 digits: the value's own bound plus
// what the printing rounded off, so that the printed value and bound still
// hold the answer where the bound is below the 15th digit (a value of 1/3 with
// a bound of 1e-16 printed as 0.333333333333333).
std::string boundText(const Result& r, const std::string& printedValue) {
    double bound = r.bound;
    const double printed = std::strtod(printedValue.c_str(), nullptr);
    if (std::isfinite(printed) && std::isfinite(r.value))
        bound += std::fabs(printed - r.value);
    return (r.boundProven ? "<= " : "~ ") + formattedText("%.2e", bound);
}

} // namespace

std::string exactText(double x) {
    char buf[64];
    const auto r = std::to_chars(buf, buf + sizeof buf, x);
    return std::string(buf, r.ptr);
}

std::string formattedText(const char* format, double x) {
    char buf[64];
    std::snprintf(buf, sizeof buf, format, x);
    return buf;
}

std::string jsonString(const std::string& s) {
    std::string out = "\"";
    for (const char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

std::string csvField(const std::string& s) {
    if (s.find_first_of(",\"\n") == std::string::npos)
        return s;
    std::string out = "\"";
    for (const char c : s) {
        if (c == '"')
            out += '"';
        out += c;
    }
    return out + "\"";
}

const std::vector<std::string>& resultTableHead() {
    static const std::vector<std::string> head = {"variable", "type",        "start", "stop",
                                                  "value",    "error bound", "steps", "method"};
    return head;
}

std::vector<std::string> resultTableCells(const Result& r) {
    const std::string value = formattedText("%.15g", r.value);
    return {r.variable,
            rewardTypeName(r.type),
            timeText(r, true),
            timeText(r, false),
            value,
            boundText(r, value),
            std::to_string(r.iterations),
            r.method};
}

void writeAlignedTable(std::ostream& out, const std::vector<std::string>& head,
                       const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> width(head.size());
    for (std::size_t c = 0; c < head.size(); ++c) {
        width[c] = head[c].size();
        for (const auto& row : rows)
            width[c] = std::max(width[c], row[c].size());
    }
    auto line = [&](const std::vector<std::string>& cells) {
        std::string text;
        for (std::size_t c = 0; c < cells.size(); ++c) {
            text += cells[c];
            if (c + 1 < cells.size())
                text += std::string(width[c] - cells[c].size() + 2, ' ');
        }
        out << text << '\n';
    };
    line(head);
    for (const auto& row : rows)
        line(row);
}

const char* resultCsvHead() {
    return "variable,type,start,stop,value,error_bound,bound_proven,steps,steady_state,"
           "converged,method";
}

void writeResultCsv(std::ostream& out, const Result& r) {
    out << csvField(r.variable) << ',' << static_cast<int>(r.type) << ',' << timeText(r, true)
        << ',' << timeText(r, false) << ',' << exactText(r.value) << ',' << exactText(r.bound)
        << ',' << (r.boundProven ? 1 : 0) << ',' << r.iterations << ',' << (r.steadyState ? 1 : 0)
        << ',' << (r.converged ? 1 : 0) << ',' << csvField(r.method);
}

void writeResultJson(std::ostream& out, const Result& r) {
    out << "\"variable\": " << jsonString(r.variable) << ", \"type\": " << static_cast<int>(r.type)
        << ", \"long_run\": " << (r.longRun ? "true" : "false")
        << ", \"start\": " << (r.longRun ? "null" : exactText(r.start))
        << ", \"stop\": " << (r.longRun || r.untilAbsorption ? "null" : exactText(r.stop))
        << (r.untilAbsorption ? ", \"until_absorption\": true" : "")
        << ", \"value\": " << exactText(r.value) << ", \"error_bound\": " << exactText(r.bound)
        << ", \"bound_proven\": " << (r.boundProven ? "true" : "false")
        << ", \"steps\": " << r.iterations
        << ", \"steady_state\": " << (r.steadyState ? "true" : "false")
        << ", \"converged\": " << (r.converged ? "true" : "false")
        << ", \"method\": " << jsonString(r.method);
}

} // namespace gensolver
