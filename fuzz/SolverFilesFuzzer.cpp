// Fuzzes the solver's three readers (.pvtype, .var, .arm) and, when they accept
// the input, the solution itself. The input holds the three files one after the
// other, separated by lines "%%": pvtype, var, arm. They are written to a scratch
// folder and read as gen-solve reads them. A refusal must be an InputError (or a
// SolveError for a time point out of reach); an accepted chain must give finite
// values with finite bounds.

#include "methods/Measures.h"
#include "read/InputError.h"
#include "read/ModelReader.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

std::string scratch;

void write(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Memory-backed when the system has it: the files are rewritten for every input.
    char shm[] = "/dev/shm/gen-solve-fuzz-XXXXXX";
    char tmp[] = "/tmp/gen-solve-fuzz-XXXXXX";
    const char* made = mkdtemp(shm);
    if (made == nullptr)
        made = mkdtemp(tmp);
    if (made == nullptr)
        std::abort();
    scratch = std::string(made) + "/m";
    std::atexit([] {
        for (const char* ext : {".pvtype", ".var", ".arm"})
            std::remove((scratch + ext).c_str());
        ::rmdir(scratch.substr(0, scratch.size() - 2).c_str());
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::string parts[3];
    std::size_t from = 0;
    for (int p = 0; p < 3; ++p) {
        const std::size_t at = p < 2 ? input.find("%%\n", from) : std::string::npos;
        parts[p] = input.substr(from, at == std::string::npos ? std::string::npos : at - from);
        if (at == std::string::npos) {
            from = input.size();
        } else {
            from = at + 3;
        }
    }
    write(scratch + ".pvtype", parts[0]);
    write(scratch + ".var", parts[1]);
    write(scratch + ".arm", parts[2]);
    try {
        const gensolver::Model model = gensolver::readModel(scratch);
        gensolver::SolveOptions options;
        options.transient.maxSteps = 2000;
        options.limit.maxSweeps = 200;
        for (const auto& v : model.variables)
            for (const auto& t : v.times)
                if (t.stop > 1e6)
                    return 0; // a long horizon on a stiff chain only takes time
        const gensolver::Solution s = gensolver::solve(model, options);
        for (const gensolver::Result& r : s.results)
            if (!std::isfinite(r.value) || !std::isfinite(r.bound) || r.bound < 0.0)
                std::abort();
    } catch (const gensolver::InputError&) {
    } catch (const gensolver::SolveError&) {
    }
    return 0;
}
