#include "GeneratorRun.h"

#include "ssg/StateSpaceGen.h"

#include <gtest/gtest.h>

#include <cstring>
#include <iostream>

namespace testmodel {

GeneratorOutput runGenerator(PVModel* model, const testsupport::TempDir& dir,
                             const GeneratorOptions& options) {
    char* traceName = nullptr;
    if (options.traceFile != nullptr)
        traceName = strdup((dir.path() + options.traceFile).c_str());
    std::ios::fmtflags flags = std::cout.flags();
    testing::internal::CaptureStdout();
    {
        StateSpaceGen generator(model, dir.path().c_str(), "run", options.absorb, options.hashValue,
                                nullptr, nullptr, traceName);
        generator.TraceLevel = options.traceLevel;
        generator.InitializeTrace();
        generator.GenStateSpace();
    }
    GeneratorOutput output;
    output.out = testing::internal::GetCapturedStdout();
    std::cout.flags(flags);
    std::size_t last = output.out.rfind("Computation Time (user + system): ");
    if (last != std::string::npos) {
        output.timeLine = output.out.substr(last);
        output.out.erase(last);
    }
    output.arm = testsupport::readFile(dir.path() + "run.arm");
    output.var = testsupport::readFile(dir.path() + "run.var");
    output.det = testsupport::readFile(dir.path() + "run.det");
    output.pvtype = testsupport::readFile(dir.path() + "run.pvtype");
    return output;
}

std::string armHeader(int count, int placeholder) {
    std::string digits = std::to_string(count);
    return "1\n" + digits + "\n" + std::string(placeholder - 1 - digits.size(), ' ') + "\n";
}

} // namespace testmodel
