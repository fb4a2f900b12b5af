// gen: parses the command line, sets up the study's experiment and runs the
// state-space generator over the model's reward model.

#include "base/Errors.h"
#include "main/commandline.h"
#include "ssg/StateSpaceGen.h"
#include "study/BaseStudyClass.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <new>

#ifdef GEN_DISTRIBUTED
#include "DistributedRun.h"
#endif

namespace {

// Every output file name is built from the path and the name, so both are required.
bool requiredOptionsGiven() {
    bool given = true;
    if (exp_path == nullptr) {
        std::cerr << "ERROR: missing option -P (experiment path)" << std::endl;
        given = false;
    }
    if (ExpName == nullptr) {
        std::cerr << "ERROR: missing option -N (experiment name)" << std::endl;
        given = false;
    }
    return given;
}

} // namespace

int main(int argc, char** argv) {
    // Each report line leaves in one write. The error stream is unbuffered and
    // flushed after every insertion by default, so a line built from several pieces
    // went out in several writes, and mpiexec, which merges the processes' output
    // and error into one stream, could put another process's output between them.
    // Every report ends with a newline (std::endl), so line buffering holds nothing
    // back, not even before an abort.
    std::setvbuf(stderr, nullptr, _IOLBF, BUFSIZ);
    std::cerr.unsetf(std::ios::unitbuf);
    // Every allocation that fails from here on, checked or not, ends the run with
    // the fatal memory report and status 1, never with an uncaught exception.
    std::set_new_handler(MemoryAllocationError);
#ifdef GEN_DISTRIBUTED
    // Under mpirun with several processes, the exploration is spread over them.
    DistributedRun distributed(&argc, &argv);
#endif
    int fileType = 1;
    char* traceFileName = nullptr;
    commandline(argc, argv, fileType, traceFileName);
    if (!requiredOptionsGiven()) {
        resetCommandLineSettings();
        std::free(traceFileName);
        return 1;
    }

    BaseStudyClass* study = GenerateStudy();
    if (ExpNum < 0 || ExpNum >= study->GetNumExps()) {
        std::cerr << "ERROR: experiment number " << ExpNum << " (option -B) is out of range 0.."
                  << study->GetNumExps() - 1 << std::endl;
        DestructStudy();
        resetCommandLineSettings();
        std::free(traceFileName);
        return 1;
    }
    study->SetGVs(ExpNum);
    study->PrintGlobalValues(ExpNum);
    if (OverrideString != nullptr) {
        study->overrideGVs(OverrideString);
        std::cout << "Overriding global variables in ssg" << '\n';
    }

    PVModel* model = study->GetPVModel(false); // the study keeps the reward model
    // The generator takes over traceFileName; it may end the process (status 1).
    auto generator = std::make_unique<StateSpaceGen>(model, exp_path, ExpName, flagAbsorb,
                                                     hash_value, db_host, db_entity, traceFileName);
    std::cout << "SSG: SetTraceLevel: " << TempTraceLevel << '\n';
    generator->TraceLevel = TempTraceLevel;
    generator->writeBinaryRows(BinaryRows);
    generator->InitializeTrace();
#ifdef GEN_DISTRIBUTED
    distributed.attach(*generator);
#endif
    generator->GenStateSpace();
    (void)fileType; // accepted for command lines written for the tool; nothing reads it

    DestructStudy();
    resetCommandLineSettings();
    generator.reset();
    return 0;
}
