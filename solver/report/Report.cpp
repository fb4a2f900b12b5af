#include "report/Report.h"

#include "report/ResultText.h"

#include <ostream>
#include <string>
#include <vector>

namespace gensolver {

namespace {

void writeTable(std::ostream& out, const Solution& s, double epsilon) {
    out << "model " << s.stem << ": " << s.states << " states, " << s.transitions << " transitions";
    if (s.uniformizationRate > 0.0)
        out << "; uniformization rate " << formattedText("%.6g", s.uniformizationRate)
            << ", error bound asked " << formattedText("%.1e", epsilon);
    out << '\n';
    if (!s.limitSummary.empty())
        out << s.limitSummary << '\n';
    std::vector<std::vector<std::string>> rows;
    for (const Result& r : s.results)
        rows.push_back(resultTableCells(r));
    writeAlignedTable(out, resultTableHead(), rows);
    if (s.firstEntryImpulses)
        out << "NOTE: no " << s.stem << ".imp file: the values marked first-entry impulses "
            << "earn, on every transition into a state, the impulse of the firing that first "
               "reached it (.var)\n";
    if (s.approximateFiringImpulses)
        out << "NOTE: no " << s.stem << ".dip file: the values marked approximate take each "
            << "deterministic firing to earn the first-entry impulse (.var) of the state it "
               "reaches, which another firing may have reached first; they carry no bound\n";
    if (!s.allConverged())
        out << "WARNING: an iterative solve did not reach its tolerance; the values marked "
               "NOT CONVERGED are not reliable\n";
}

void writeCsv(std::ostream& out, const Solution& s) {
    out << resultCsvHead() << '\n';
    for (const Result& r : s.results) {
        writeResultCsv(out, r);
        out << '\n';
    }
}

void writeJson(std::ostream& out, const Solution& s, double epsilon) {
    out << "{\n  \"model\": " << jsonString(s.stem) << ",\n  \"states\": " << s.states
        << ",\n  \"transitions\": " << s.transitions << ",\n  \"epsilon\": " << exactText(epsilon)
        << ",\n  \"uniformization_rate\": " << exactText(s.uniformizationRate)
        << ",\n  \"limit\": " << jsonString(s.limitSummary) << ",\n  \"results\": [";
    for (std::size_t i = 0; i < s.results.size(); ++i) {
        out << (i ? ",\n" : "\n") << "    {";
        writeResultJson(out, s.results[i]);
        out << "}";
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
