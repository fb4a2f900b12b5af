// Fuzzes the model compiler: each input is compiled as a model file (lexer,
// parser, checker and, when the model is valid, the emitter), in memory. A bad
// model must give messages and a failed result, never a crash or a hang; a
// valid one must give the generated files (and at most warnings).

#include "Compiler.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string source(reinterpret_cast<const char*>(data), size);
    std::ostringstream errors;
    const CompileResult result = compileSource(source, "fuzz.san", errors);
    // Exactly one of: files, or a report of at least one error. A valid model may
    // still be warned about (an activity only the simulator can run).
    const bool reportsError = errors.str().find(": error: ") != std::string::npos;
    if (result.ok == result.files.empty() || result.ok == reportsError)
        std::abort();
    if (result.ok && result.files.count("GeneratedModel.cpp") == 0)
        std::abort();
    return 0;
}
