#include "StudyReport.h"

#include "report/ResultText.h"

#include <algorithm>
#include <ostream>
#include <regex>

namespace genstudies {

using gensolver::csvField;
using gensolver::exactText;
using gensolver::formattedText;
using gensolver::jsonString;

namespace {

// "experiment 3 (Experiment 4)", or "experiment 3" when the run printed no name.
std::string experimentLabel(const ExperimentOutcome& o) {
    std::string label = "experiment " + std::to_string(o.number);
    return o.heading.name.empty() ? label : label + " (" + o.heading.name + ")";
}

std::size_t failures(const std::vector<ExperimentOutcome>& outcomes) {
    std::size_t n = 0;
    for (const ExperimentOutcome& o : outcomes)
        n += o.failed ? 1 : 0;
    return n;
}

bool converged(const std::vector<ExperimentOutcome>& outcomes) {
    for (const ExperimentOutcome& o : outcomes)
        if (!o.failed && !o.solution.allConverged())
            return false;
    return true;
}

// The value as a JSON number when its text is one, else as a JSON string.
std::string jsonValue(const std::string& text) {
    static const std::regex number(R"(-?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?)");
    return std::regex_match(text, number) ? text : jsonString(text);
}

void writeTable(std::ostream& out, const StudyHeading& heading,
                const std::vector<ExperimentOutcome>& outcomes) {
    const std::vector<std::string> globals = globalNames(outcomes);
    out << "study " << heading.executable << ": " << outcomes.size() << " experiment(s)";
    out << ", error bound asked " << formattedText("%.1e", heading.epsilon) << '\n';
    for (const ExperimentOutcome& o : outcomes) {
        if (o.failed)
            continue;
        const gensolver::Solution& s = o.solution;
        out << experimentLabel(o) << ": " << s.states << " states, " << s.transitions
            << " transitions";
        if (s.uniformizationRate > 0.0)
            out << "; uniformization rate " << formattedText("%.6g", s.uniformizationRate);
        out << '\n';
        if (!s.limitSummary.empty())
            out << experimentLabel(o) << ": " << s.limitSummary << '\n';
    }
    std::vector<std::string> head = {"experiment", "name"};
    head.insert(head.end(), globals.begin(), globals.end());
    const std::vector<std::string>& resultHead = gensolver::resultTableHead();
    head.insert(head.end(), resultHead.begin(), resultHead.end());
    std::vector<std::vector<std::string>> rows;
    for (const ExperimentOutcome& o : outcomes) {
        std::vector<std::string> lead = {std::to_string(o.number), o.heading.name};
        for (const std::string& g : globals)
            lead.push_back(globalValue(o, g));
        if (o.failed) {
            std::vector<std::string> row = lead;
            row.resize(head.size());
            row[lead.size() + 4] = "FAILED";
            row.back() = "see below";
            rows.push_back(row);
            continue;
        }
        for (const gensolver::Result& r : o.solution.results) {
            std::vector<std::string> row = lead;
            const std::vector<std::string> cells = gensolver::resultTableCells(r);
            row.insert(row.end(), cells.begin(), cells.end());
            rows.push_back(row);
        }
    }
    gensolver::writeAlignedTable(out, head, rows);
    for (const ExperimentOutcome& o : outcomes)
        if (!o.failed && o.solution.firstEntryImpulses)
            out << "NOTE: " << experimentLabel(o)
                << " has no .imp file: the values marked first-entry impulses earn, on every "
                   "transition into a state, the impulse of the firing that first reached it "
                   "(.var)\n";
    if (!converged(outcomes))
        out << "WARNING: an iterative solve did not reach its tolerance; the values marked "
               "NOT CONVERGED are not reliable\n";
    for (const ExperimentOutcome& o : outcomes)
        if (o.failed)
            out << "FAILED: " << experimentLabel(o) << ": " << o.message << '\n';
    if (const std::size_t n = failures(outcomes))
        out << "INCOMPLETE: " << n << " of " << outcomes.size()
            << " experiment(s) failed; their rows hold no values\n";
}

void writeCsv(std::ostream& out, const std::vector<ExperimentOutcome>& outcomes) {
    const std::vector<std::string> globals = globalNames(outcomes);
    out << "experiment,name";
    for (const std::string& g : globals)
        out << ',' << csvField(g);
    out << ',' << gensolver::resultCsvHead() << '\n';
    for (const ExperimentOutcome& o : outcomes) {
        std::string lead = std::to_string(o.number) + ',' + csvField(o.heading.name);
        for (const std::string& g : globals)
            lead += ',' + csvField(globalValue(o, g));
        if (o.failed) {
            // Every measure field empty, the method field saying why.
            out << lead << ",,,,,,,,,,," << csvField("FAILED: " + o.message) << '\n';
            continue;
        }
        for (const gensolver::Result& r : o.solution.results) {
            out << lead << ',';
            gensolver::writeResultCsv(out, r);
            out << '\n';
        }
    }
}

void writeJson(std::ostream& out, const StudyHeading& heading,
               const std::vector<ExperimentOutcome>& outcomes) {
    out << "{\n  \"executable\": " << jsonString(heading.executable)
        << ",\n  \"epsilon\": " << exactText(heading.epsilon)
        << ",\n  \"complete\": " << (failures(outcomes) == 0 ? "true" : "false")
        << ",\n  \"experiments\": [";
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        const ExperimentOutcome& o = outcomes[i];
        out << (i ? ",\n" : "\n") << "    {\"experiment\": " << o.number
            << ", \"name\": " << jsonString(o.heading.name) << ", \"globals\": {";
        for (std::size_t g = 0; g < o.heading.globals.size(); ++g)
            out << (g ? ", " : "") << jsonString(o.heading.globals[g].name) << ": "
                << jsonValue(o.heading.globals[g].value);
        out << "},\n";
        if (o.failed) {
            out << "     \"failed\": true, \"error\": " << jsonString(o.message) << "}";
            continue;
        }
        const gensolver::Solution& s = o.solution;
        out << "     \"states\": " << s.states << ", \"transitions\": " << s.transitions
            << ", \"uniformization_rate\": " << exactText(s.uniformizationRate)
            << ", \"limit\": " << jsonString(s.limitSummary) << ",\n     \"results\": [";
        for (std::size_t r = 0; r < s.results.size(); ++r) {
            out << (r ? ",\n" : "\n") << "       {";
            gensolver::writeResultJson(out, s.results[r]);
            out << "}";
        }
        out << "\n     ]}";
    }
    out << "\n  ]\n}\n";
}

} // namespace

std::vector<std::string> globalNames(const std::vector<ExperimentOutcome>& outcomes) {
    std::vector<std::string> names;
    for (const ExperimentOutcome& o : outcomes)
        for (const GlobalValue& g : o.heading.globals)
            if (std::find(names.begin(), names.end(), g.name) == names.end())
                names.push_back(g.name);
    return names;
}

std::string globalValue(const ExperimentOutcome& outcome, const std::string& name) {
    for (const GlobalValue& g : outcome.heading.globals)
        if (g.name == name)
            return g.value;
    return "";
}

void writeStudyReport(std::ostream& out, const StudyHeading& heading,
                      const std::vector<ExperimentOutcome>& outcomes, gensolver::Format format) {
    switch (format) {
    case gensolver::Format::Table:
        writeTable(out, heading, outcomes);
        break;
    case gensolver::Format::Csv:
        writeCsv(out, outcomes);
        break;
    case gensolver::Format::Json:
        writeJson(out, heading, outcomes);
        break;
    }
}

} // namespace genstudies
