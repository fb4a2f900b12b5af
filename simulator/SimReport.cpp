#include "SimReport.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <ostream>
#include <vector>

namespace {

// Shortest text that reads back as the same double.
std::string exact(double x) {
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, x);
    return std::string(buf, r.ptr);
}

std::string printed(const char* format, double x) {
    char buf[64];
    std::snprintf(buf, sizeof buf, format, x);
    return buf;
}

// JSON has no infinity: a missing half-width is null.
std::string jsonNumber(double x) {
    return std::isfinite(x) ? exact(x) : "null";
}

std::string jsonString(const std::string& s) {
    std::string out = "\"";
    for (char c : s) {
        if (c == '"' || c == '\\')
            out += '\\';
        if (static_cast<unsigned char>(c) < 0x20) {
            out += printed("\\u%04x", c);
            continue;
        }
        out += c;
    }
    return out + "\"";
}

std::string csvField(const std::string& s) {
    if (s.find_first_of(",\"\n") == std::string::npos)
        return s;
    // Quoted, with each quote doubled.
    std::string out(1, '"');
    std::size_t from = 0;
    for (std::size_t q = s.find('"'); q != std::string::npos; q = s.find('"', from)) {
        out.append(s, from, q + 1 - from).push_back('"');
        from = q + 1;
    }
    return out.append(s, from, std::string::npos) + '"';
}

// The rows as text, each cell padded to its column's widest cell and two
// spaces, the last column unpadded.
std::string alignedColumns(std::vector<std::vector<std::string>>& rows) {
    std::size_t columns = rows.front().size();
    for (std::size_t c = 0; c + 1 < columns; ++c) {
        std::size_t widest = 0;
        for (const auto& row : rows)
            widest = std::max(widest, row[c].size());
        for (auto& row : rows)
            row[c].resize(widest + 2, ' ');
    }
    std::string text;
    for (const auto& row : rows) {
        for (const std::string& cell : row)
            text += cell;
        text += '\n';
    }
    return text;
}

const char* typeName(RewardType type) {
    switch (type) {
    case InstantOfTimeType:
        return "instant";
    case IntervalOfTimeType:
        return "interval";
    case TimeAveragedIntervalOfTimeType:
        return "average";
    case SteadyStateType:
        return "steady";
    }
    return "?";
}

// Every sample was equal: an interval of width 0 says nothing about outcomes
// rarer than about one in the number of samples.
bool noSpread(const Estimate& e) {
    return e.halfWidth == 0.0;
}

const std::string& method(const Estimate& e) {
    return e.method;
}

// Importance sampling: its rows show the relative half-width besides.
bool weighted(const Estimate& e) {
    return e.method.rfind("importance", 0) == 0;
}

std::string relativeHalfWidth(const Estimate& e) {
    if (e.value == 0.0)
        return e.halfWidth == 0.0 ? "0" : "inf";
    return printed("%.3e", e.halfWidth / std::fabs(e.value));
}

std::string timeText(const Estimate& e, bool start) {
    if (e.measure.longRun())
        return "inf";
    if (e.measure.untilAbsorption && !start)
        return "absorption";
    return printed("%.6g", start ? e.measure.start : e.measure.stop);
}

void writeTable(std::ostream& out, const SimResult& result, const SimRunInfo& info) {
    const SimSettings& s = *info.settings;
    out << "model " << info.model << ": experiment " << info.experiment << ", seed " << s.seed
        << ", " << printed("%g", s.level * 100) << " % intervals, " << result.events
        << " events simulated";
    if (result.batchLength > 0.0)
        out << "; batch length " << printed("%.6g", result.batchLength);
    if (result.weighted)
        out << "; likelihood ratio mean " << printed("%.6g", result.likelihoodMean) << " +- "
            << printed("%.3e", result.likelihoodHalfWidth);
    out << '\n';
    std::vector<std::string> head = {"variable",   "type",     "start",   "stop",  "value",
                                     "half-width", "interval", "samples", "method"};
    std::vector<std::vector<std::string>> rows;
    for (const Estimate& e : result.estimates) {
        std::string interval = "[";
        interval.append(printed("%.8g", e.low));
        interval.append(", ");
        interval.append(printed("%.8g", e.high));
        interval.append("]");
        std::string how = method(e);
        if (weighted(e))
            how.append(" (relative half-width " + relativeHalfWidth(e) + ")");
        if (noSpread(e))
            how.append(" (NO SPREAD)");
        if (!e.reached)
            how.append(" (WIDTH NOT REACHED)");
        if (e.correlated)
            how.append(" (BATCHES CORRELATED)");
        rows.push_back({e.measure.name, typeName(e.measure.type), timeText(e, true),
                        timeText(e, false), printed("%.10g", e.value), printed("%.3e", e.halfWidth),
                        interval, std::to_string(e.samples), how});
    }
    rows.insert(rows.begin(), head);
    out << alignedColumns(rows);
    writeSimWarnings(out, result, info);
}

void writeCsv(std::ostream& out, const SimResult& result, const SimRunInfo& info) {
    out << "variable,type,start,stop,value,half_width,interval_low,interval_high,level,samples,"
           "steady_state,converged,method,no_spread\n";
    for (const Estimate& e : result.estimates)
        out << csvField(e.measure.name) << ',' << static_cast<int>(e.measure.type) << ','
            << timeText(e, true) << ',' << timeText(e, false) << ',' << exact(e.value) << ','
            << exact(e.halfWidth) << ',' << exact(e.low) << ',' << exact(e.high) << ','
            << exact(info.settings->level) << ',' << e.samples << ','
            << (e.measure.longRun() ? 1 : 0) << ',' << (e.reached ? 1 : 0) << ','
            << csvField(method(e)) << ',' << (noSpread(e) ? 1 : 0) << '\n';
}

void writeJson(std::ostream& out, const SimResult& result, const SimRunInfo& info) {
    const SimSettings& s = *info.settings;
    out << "{\n  \"model\": " << jsonString(info.model)
        << ",\n  \"experiment\": " << info.experiment << ",\n  \"seed\": " << s.seed
        << ",\n  \"level\": " << exact(s.level) << ",\n  \"events\": " << result.events
        << ",\n  \"batch_length\": " << exact(result.batchLength);
    if (result.weighted)
        out << ",\n  \"likelihood_ratio_mean\": " << exact(result.likelihoodMean)
            << ",\n  \"likelihood_ratio_half_width\": " << jsonNumber(result.likelihoodHalfWidth)
            << ",\n  \"likelihood_warning\": " << (result.likelihoodWarning() ? "true" : "false");
    out << ",\n  \"never_completed\": [";
    for (std::size_t i = 0; i < result.neverCompleted.size(); ++i)
        out << (i ? ", " : "") << jsonString(result.neverCompleted[i]);
    out << "]";
    out << ",\n  \"results\": [";
    for (std::size_t i = 0; i < result.estimates.size(); ++i) {
        const Estimate& e = result.estimates[i];
        bool longRun = e.measure.longRun();
        out << (i ? ",\n" : "\n") << "    {\"variable\": " << jsonString(e.measure.name)
            << ", \"type\": " << static_cast<int>(e.measure.type)
            << ", \"long_run\": " << (longRun ? "true" : "false")
            << ", \"start\": " << (longRun ? "null" : exact(e.measure.start)) << ", \"stop\": "
            << (longRun || e.measure.untilAbsorption ? "null" : exact(e.measure.stop))
            << (e.measure.untilAbsorption ? ", \"until_absorption\": true" : "")
            << ", \"value\": " << exact(e.value) << ", \"half_width\": " << jsonNumber(e.halfWidth)
            << ", \"interval_low\": " << jsonNumber(e.low)
            << ", \"interval_high\": " << jsonNumber(e.high) << ", \"samples\": " << e.samples
            << ", \"steady_state\": " << (longRun ? "true" : "false")
            << ", \"converged\": " << (e.reached ? "true" : "false")
            << ", \"method\": " << jsonString(method(e))
            << ", \"no_spread\": " << (noSpread(e) ? "true" : "false")
            << ", \"batches_correlated\": " << (e.correlated ? "true" : "false");
        if (weighted(e))
            out << ", \"relative_half_width\": "
                << (e.value != 0.0 ? jsonNumber(e.halfWidth / std::fabs(e.value)) : "null");
        out << "}";
    }
    out << "\n  ]\n}\n";
}

} // namespace

void writeSimReport(std::ostream& out, const SimResult& result, const SimRunInfo& info,
                    SimFormat format) {
    switch (format) {
    case SimFormat::Table:
        writeTable(out, result, info);
        break;
    case SimFormat::Csv:
        writeCsv(out, result, info);
        break;
    case SimFormat::Json:
        writeJson(out, result, info);
        break;
    }
}

void writeSimWarnings(std::ostream& out, const SimResult& result, const SimRunInfo& info) {
    const SimSettings& s = *info.settings;
    if (std::any_of(result.estimates.begin(), result.estimates.end(), noSpread))
        out << "WARNING: every sample of the values marked NO SPREAD was equal; their interval "
               "of width 0 does not bound outcomes rarer than about one in the samples\n";
    if (result.likelihoodWarning())
        out << "WARNING: the likelihood ratios average " << printed("%.6g", result.likelihoodMean)
            << ", not 1 within their interval: the biasing is too strong for the replications "
               "made, and the weighted values may be far off with intervals too narrow\n";
    if (result.anyCorrelated())
        out << "WARNING: the batch means of the values marked BATCHES CORRELATED stayed "
               "correlated at a batch length of "
            << printed("%.6g", result.batchLength)
            << ": their interval is likely too narrow; raise --warmup-events (the batches' "
               "length follows it)\n";
    if (!result.neverCompleted.empty()) {
        out << "WARNING: enabled during the long run's batches but never completed:";
        std::size_t shown = std::min<std::size_t>(result.neverCompleted.size(), 5);
        for (std::size_t i = 0; i < shown; ++i)
            out << ' ' << result.neverCompleted[i];
        if (shown < result.neverCompleted.size())
            out << " and " << result.neverCompleted.size() - shown << " more";
        out << "; the long-run values do not show what they do: lengthen the run "
               "(--warmup-events, --batches)\n";
    }
    if (!result.allReached())
        out << "WARNING: the relative half-width " << printed("%g", s.relWidth)
            << " was not reached within the budget for the values marked WIDTH NOT REACHED\n";
}
