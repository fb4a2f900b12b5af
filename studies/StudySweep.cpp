#include "StudySweep.h"

#include "StudyReport.h"
#include "report/ResultText.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <stdexcept>

namespace genstudies {

namespace {

// The curve's label: the variable and where it is measured.
std::string seriesLabel(const gensolver::Result& r) {
    if (r.untilAbsorption)
        return r.variable + ", until absorption";
    if (r.longRun)
        return r.variable + ", long run";
    if (r.type == gensolver::RewardType::SteadyState)
        return r.variable + ", steady state";
    if (r.type == gensolver::RewardType::InstantOfTime)
        return r.variable + ", t=" + gensolver::formattedText("%.6g", r.stop);
    return r.variable + ", [" + gensolver::formattedText("%.6g", r.start) + ", " +
           gensolver::formattedText("%.6g", r.stop) + "]";
}

// The whole text as a finite number.
double number(const std::string& text, const std::string& parameter, int experiment) {
    errno = 0;
    char* end = nullptr;
    const double x = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || errno == ERANGE || !std::isfinite(x))
        throw std::invalid_argument("--sweep " + parameter + ": its value \"" + text +
                                    "\" in experiment " + std::to_string(experiment) +
                                    " is not a number");
    return x;
}

// Refuses a study in which a global other than the parameter varies.
void checkOthersConstant(const std::vector<ExperimentOutcome>& outcomes,
                         const std::string& parameter) {
    for (const std::string& name : globalNames(outcomes)) {
        if (name == parameter)
            continue;
        for (const ExperimentOutcome& o : outcomes)
            if (globalValue(o, name) != globalValue(outcomes.front(), name))
                throw std::invalid_argument("--sweep " + parameter + ": experiments " +
                                            std::to_string(outcomes.front().number) + " and " +
                                            std::to_string(o.number) + " differ in " + name +
                                            " as well; choose experiments (-e) in which only " +
                                            parameter + " varies");
    }
}

} // namespace

gensolver::Sweep buildSweep(const std::vector<ExperimentOutcome>& outcomes,
                            const std::string& parameter, const std::string& model) {
    const std::vector<std::string> names = globalNames(outcomes);
    if (std::find(names.begin(), names.end(), parameter) == names.end()) {
        std::string known;
        for (const std::string& n : names)
            known += (known.empty() ? "" : ", ") + n;
        throw std::invalid_argument("--sweep " + parameter + ": no such global variable (" +
                                    (known.empty() ? "the study has none" : known) + ")");
    }
    if (outcomes.empty())
        throw std::invalid_argument("--sweep " + parameter + ": no experiment to draw");
    checkOthersConstant(outcomes, parameter);

    gensolver::Sweep sweep;
    sweep.parameter = parameter;
    sweep.title = model + ": measures against " + parameter;
    std::string failed;
    std::vector<std::string> labels;
    const double none = std::numeric_limits<double>::quiet_NaN();
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        const ExperimentOutcome& o = outcomes[i];
        sweep.x.push_back(number(globalValue(o, parameter), parameter, o.number));
        for (gensolver::SweepSeries& s : sweep.series)
            for (auto* v : {&s.value, &s.lower, &s.upper})
                v->push_back(none);
        if (o.failed) {
            failed += (failed.empty() ? "" : ", ") + std::to_string(o.number);
            continue;
        }
        for (const gensolver::Result& r : o.solution.results) {
            const std::string label = seriesLabel(r);
            auto at = std::find(labels.begin(), labels.end(), label);
            if (at == labels.end()) {
                // A measure first met here: no value at the earlier experiments.
                labels.push_back(label);
                sweep.series.push_back({label, std::vector<double>(i + 1, none),
                                        std::vector<double>(i + 1, none),
                                        std::vector<double>(i + 1, none)});
                at = labels.end() - 1;
            }
            gensolver::SweepSeries& s = sweep.series[static_cast<std::size_t>(at - labels.begin())];
            s.value[i] = r.value;
            s.lower[i] = r.value - r.bound;
            s.upper[i] = r.value + r.bound;
        }
    }
    if (!failed.empty())
        sweep.title += " (incomplete: experiment(s) " + failed + " failed)";
    return sweep;
}

} // namespace genstudies
