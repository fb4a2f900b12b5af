#include "SimMain.h"

#include "SimCommandLine.h"
#include "SimReport.h"
#include "Trajectory.h"
#include "base/Errors.h"
#include "firing/ActionTable.h"
#include "study/BaseStudyClass.h"

#include <chrono>
#include <cmath>
#include <iostream>
#include <new>

namespace {

// Sends what the study prints on standard output to standard error while it
// lives, so that standard output holds the report alone (CSV and JSON).
class QuietStudy {
public:
    QuietStudy() : Saved(std::cout.rdbuf(std::cerr.rdbuf())) {}
    ~QuietStudy() { std::cout.rdbuf(Saved); }
    QuietStudy(const QuietStudy&) = delete;
    QuietStudy& operator=(const QuietStudy&) = delete;

private:
    std::streambuf* Saved; // not owned: standard output's buffer
};

// The executable's name without its folder.
std::string programName(const char* argv0) {
    std::string name = argv0 != nullptr ? argv0 : "gen-sim";
    std::size_t slash = name.rfind('/');
    return slash == std::string::npos ? name : name.substr(slash + 1);
}

int refuse(const std::string& message) {
    std::cerr << "Error: " << message << std::endl;
    return 1;
}

} // namespace

int runSimulator(int argc, char** argv) {
    std::set_new_handler(MemoryAllocationError);
    SimCommandLine line;
    std::string fault = parseSimCommandLine(argc, argv, line);
    if (!fault.empty()) {
        std::cerr << "Error: " << fault << " (" << programName(argv[0])
                  << " --help lists the options)" << std::endl;
        return 1;
    }
    if (line.help) {
        std::cout << simUsage();
        return 0;
    }
    std::string name = line.name.empty() ? programName(argv[0]) : line.name;

    BaseStudyClass* study = GenerateStudy();
    if (line.experiment >= study->GetNumExps()) {
        int last = study->GetNumExps() - 1;
        DestructStudy();
        return refuse("experiment number " + std::to_string(line.experiment) +
                      " (option -B) is out of range 0.." + std::to_string(last));
    }
    PVModel* model = nullptr;
    {
        QuietStudy quiet;
        study->SetGVs(line.experiment);
        if (line.hasOverrides)
            study->overrideGVs(line.overrides.c_str());
        model = study->GetPVModel(false); // the study keeps the reward model
    }
    std::string problem = settingsProblem(line.settings, model);
    if (!problem.empty()) {
        DestructStudy();
        return refuse(problem);
    }
    int status = 0;
    {
        ActionTable actions(model); // ends the process on a fault of the model's structure
        auto begun = std::chrono::steady_clock::now();
        try {
            SimResult result = simulate(model, actions, line.settings);
            // A reward that gave a value that is not finite (a class written
            // by hand; the language's rewards refuse such values as they are
            // computed) leaves a mean that is no answer.
            for (const Estimate& e : result.estimates)
                if (!std::isfinite(e.value))
                    throw SimulationError("variable " + e.measure.name +
                                          ": its simulated value is not finite (a reward gave "
                                          "values that are not finite); no value is printed");
            std::chrono::duration<double> spent = std::chrono::steady_clock::now() - begun;
            SimRunInfo info{name, line.experiment, &line.settings, spent.count()};
            writeSimReport(std::cout, result, info, line.format);
            std::cout.flush();
            if (line.format != SimFormat::Table)
                writeSimWarnings(std::cerr, result, info);
            status = result.allReached() && !result.likelihoodWarning() && !result.longRunWarning()
                         ? 0
                         : 2;
        } catch (const SimulationError& e) {
            status = refuse(e.what());
        } catch (const WorkerFailure&) {
            status = 1;
        }
    }
    DestructStudy();
    return status;
}
