// Fuzzes the solver's three readers (.pvtype, .var, .arm) and, when they accept
// the input, the solution itself. The input holds the three files one after the
// other, separated by lines "%%": pvtype, var, arm. They are written to a scratch
// folder and read as gen-solve reads them. Built with GEN_FUZZ_ROW_PARTS (the
// harness fuzz_rowparts), the input is instead a .pvtype, "%%", and the bytes of
// the one part of a binary row form (.rows.0), read as gen-solve --binary-rows
// reads them. A refusal must be an InputError (or a
// SolveError for a time point out of reach); an accepted chain must give finite
// values with finite bounds. The text .arm is also read in two parts, as a large
// file is, which must give what a single walk gives: the same matrix or the same
// fault, in the same words.

#include "methods/Measures.h"
#include "methods/Parallel.h"
#include "read/ArmReader.h"
#include "read/InputError.h"
#include "read/ModelReader.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

std::string scratch;

#ifdef GEN_FUZZ_ROW_PARTS
constexpr int kFiles = 2;
const char* const kExtensions[kFiles] = {".pvtype", ".rows.0"};
gensolver::Model read() {
    return gensolver::readModelFromParts(scratch);
}
#else
constexpr int kFiles = 3;
const char* const kExtensions[kFiles] = {".pvtype", ".var", ".arm"};
gensolver::Model read() {
    return gensolver::readModel(scratch);
}
#endif

void write(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

#ifndef GEN_FUZZ_ROW_PARTS
// The fault a read of the .arm meets ("" when none), and the matrix it builds.
std::string readArm(std::uint64_t twoPartsFrom, gensolver::RateMatrix& m) {
    try {
        const std::uint32_t states = gensolver::readArmStateCount(scratch + ".arm");
        std::vector<gensolver::Rewards> rewards;
        m = gensolver::readArm(scratch + ".arm", states, rewards, {}, twoPartsFrom);
        return "";
    } catch (const gensolver::InputError& e) {
        return e.what();
    }
}

// The .arm read in two parts against a single walk.
void compareTwoParts() {
    gensolver::RateMatrix one, two;
    const std::string single = readArm(std::numeric_limits<std::uint64_t>::max(), one);
    const std::string parts = readArm(0, two);
    if (single != parts)
        std::abort();
    if (single.empty() && (one.start != two.start || one.source != two.source ||
                           one.rate != two.rate || one.exitRate != two.exitRate))
        std::abort();
}
#endif

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
    // Two threads, so that the .arm can be read in two parts.
    gensolver::setSharedThreads(2);
    std::atexit([] {
        for (const char* ext : kExtensions)
            std::remove((scratch + ext).c_str());
        ::rmdir(scratch.substr(0, scratch.size() - 2).c_str());
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::string parts[kFiles];
    std::size_t from = 0;
    for (int p = 0; p < kFiles; ++p) {
        const std::size_t at = p < kFiles - 1 ? input.find("%%\n", from) : std::string::npos;
        parts[p] = input.substr(from, at == std::string::npos ? std::string::npos : at - from);
        if (at == std::string::npos) {
            from = input.size();
        } else {
            from = at + 3;
        }
    }
    for (int p = 0; p < kFiles; ++p)
        write(scratch + kExtensions[p], parts[p]);
#ifndef GEN_FUZZ_ROW_PARTS
    compareTwoParts();
#endif
    try {
        const gensolver::Model model = read();
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
