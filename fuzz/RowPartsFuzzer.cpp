// Fuzzes the reader of the binary row form: the input is a .pvtype text, a line
// "%%", then the bytes of part 0 of a one-part run (<stem>.rows.0). Both are
// written to a scratch folder and read as gen-solve --binary-rows reads them. A
// refusal must be an InputError; an accepted chain must give finite values with
// finite bounds.

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

void write(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    char shm[] = "/dev/shm/gen-parts-fuzz-XXXXXX";
    char tmp[] = "/tmp/gen-parts-fuzz-XXXXXX";
    const char* made = mkdtemp(shm);
    if (made == nullptr)
        made = mkdtemp(tmp);
    if (made == nullptr)
        std::abort();
    scratch = std::string(made) + "/m";
    std::atexit([] {
        for (const char* ext : {".pvtype", ".rows.0"})
            std::remove((scratch + ext).c_str());
        ::rmdir(scratch.substr(0, scratch.size() - 2).c_str());
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t at = input.find("%%\n");
    write(scratch + ".pvtype", input.substr(0, at));
    write(scratch + ".rows.0", at == std::string::npos ? std::string() : input.substr(at + 3));
    try {
        const gensolver::Model model = gensolver::readModelFromParts(scratch);
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
