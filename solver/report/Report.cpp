#include "report/Report.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

namespace gensolver {

namespace {

// Shortest text that reads back as the same double.
std::string exact(double x) {
    char buf[64];
    const auto r = std::to_chars(buf, buf + sizeof buf, x);
    return std::string(buf, r.ptr);
}

std::string fixed(const char* format, double x) {
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

std::string timeText(const Result& r, bool start) {
    if (r.longRun)
        return "inf";
    if (r.untilAbsorption)
        return start ? "0" : "absorption";
    return fixed("%.6g", start ? r.start : r.stop);
}

std::string boundText(const Result& r) {
    return (r.boundProven ? "<= " : "~ ") + fixed("%.2e", r.bound);
}

void writeTable(std::ostream& out, const Solution& s, double epsilon) {
    out << "model " << s.stem << ": " << s.states << " states, " << s.transitions << " transitions";
    if (s.uniformizationRate > 0.0)
        out << "; uniformization rate " << fixed("%.6g", s.uniformizationRate)
            << ", error bound asked " << fixed("%.1e", epsilon);
    out << '\n';
    if (!s.limitSummary.empty())
        out << s.limitSummary << '\n';
    const std::vector<std::string> head = {"variable", "type",        "start", "stop",
                                           "value",    "error bound", "steps", "method"};
    std::vector<std::vector<std::string>> rows;
    for (const Result& r : s.results)
        rows.push_back({r.variable, rewardTypeName(r.type), timeText(r, true), timeText(r, false),
                        fixed("%.15g", r.value), boundText(r), std::to_string(r.iterations),
                        r.method});
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
    if (s.firstEntryImpulses)
        out << "NOTE: no " << s.stem << ".imp file: the values marked first-entry impulses "
            << "earn, on every transition into a state, the impulse of the firing that first "
               "reached it (.var)\n";
    if (!s.allConverged())
        out << "WARNING: an iterative solve did not reach its tolerance; the values marked "
               "NOT CONVERGED are not reliable\n";
}

void writeCsv(std::ostream& out, const Solution& s) {
    out << "variable,type,start,stop,value,error_bound,bound_proven,steps,steady_state,"
           "converged,method\n";
    for (const Result& r : s.results)
        out << csvField(r.variable) << ',' << static_cast<int>(r.type) << ',' << timeText(r, true)
            << ',' << timeText(r, false) << ',' << exact(r.value) << ',' << exact(r.bound) << ','
            << (r.boundProven ? 1 : 0) << ',' << r.iterations << ',' << (r.steadyState ? 1 : 0)
            << ',' << (r.converged ? 1 : 0) << ',' << csvField(r.method) << '\n';
}

void writeJson(std::ostream& out, const Solution& s, double epsilon) {
    out << "{\n  \"model\": " << jsonString(s.stem) << ",\n  \"states\": " << s.states
        << ",\n  \"transitions\": " << s.transitions << ",\n  \"epsilon\": " << exact(epsilon)
        << ",\n  \"uniformization_rate\": " << exact(s.uniformizationRate)
        << ",\n  \"limit\": " << jsonString(s.limitSummary) << ",\n  \"results\": [";
    for (std::size_t i = 0; i < s.results.size(); ++i) {
        const Result& r = s.results[i];
        out << (i ? ",\n" : "\n") << "    {\"variable\": " << jsonString(r.variable)
            << ", \"type\": " << static_cast<int>(r.type)
            << ", \"long_run\": " << (r.longRun ? "true" : "false")
            << ", \"start\": " << (r.longRun ? "null" : exact(r.start))
            << ", \"stop\": " << (r.longRun || r.untilAbsorption ? "null" : exact(r.stop))
            << (r.untilAbsorption ? ", \"until_absorption\": true" : "")
            << ", \"value\": " << exact(r.value) << ", \"error_bound\": " << exact(r.bound)
            << ", \"bound_proven\": " << (r.boundProven ? "true" : "false")
            << ", \"steps\": " << r.iterations
            << ", \"steady_state\": " << (r.steadyState ? "true" : "false")
            << ", \"converged\": " << (r.converged ? "true" : "false")
            << ", \"method\": " << jsonString(r.method) << "}";
    }
    out << "\n  ]\n}\n";
}

} // namespace

void writeReport(std::ostream& out, const Solution& solution, Format format, double epsilon) {
    switch (format) {
    case Format::Table:
        writeTable(out, solution, epsilon);
        break;
    case Format::Csv:
        writeCsv(out, solution);
        break;
    case Format::Json:
        writeJson(out, solution, epsilon);
        break;
    }
}

} // namespace gensolver
