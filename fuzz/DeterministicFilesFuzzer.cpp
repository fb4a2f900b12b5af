// Fuzzes the readers of a run with deterministic activities (.pvtype, .var,
// .arm with negative entries, .det, .dac, and .abs and .dip when their parts are
// not empty) and, when they accept the input, the regenerative solution with
// the values until absorption. The input holds the seven files one after the
// other, separated by lines "%%". A refusal must be an InputError or a
// SolveError; an accepted process must give finite values with bounds that are
// not negative (finite but for values until absorption, whose bound is
// infinite when the mean times to absorption cannot be bounded, and values
// marked approximate, which have no bound).

#include "methods/Regenerative.h"
#include "read/InputError.h"
#include "read/RegenerativeReader.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

constexpr const char* kExtensions[] = {".pvtype", ".var", ".arm", ".det", ".dac", ".abs", ".dip"};
constexpr int kParts = 7;
constexpr int kFirstOptional = 5; // .abs and .dip: no file when their part is empty
std::string scratch;

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    char tmp[] = "/tmp/gen-det-fuzz-XXXXXX";
    const char* made = mkdtemp(tmp);
    if (made == nullptr)
        std::abort();
    scratch = std::string(made) + "/m";
    std::atexit([] {
        for (const char* ext : kExtensions)
            std::remove((scratch + ext).c_str());
        ::rmdir(scratch.substr(0, scratch.size() - 2).c_str());
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::size_t from = 0;
    for (int p = 0; p < kParts; ++p) {
        const std::size_t at = p + 1 < kParts ? input.find("%%\n", from) : std::string::npos;
        const std::size_t end = at == std::string::npos ? input.size() : at;
        const std::string part =
            input.substr(std::min(from, input.size()), end - std::min(from, end));
        if (p >= kFirstOptional && part.empty())
            std::remove((scratch + kExtensions[p]).c_str());
        else
            std::ofstream(scratch + kExtensions[p], std::ios::binary | std::ios::trunc) << part;
        from = at == std::string::npos ? input.size() : at + 3;
    }
    try {
        const gensolver::RegenerativeModel model = gensolver::readRegenerativeModel(scratch);
        if (model.states() > 2000)
            return 0; // a large process only takes time
        for (const auto& v : model.variables)
            for (const auto& t : v.times)
                if (t.stop > 1e4)
                    return 0;
        gensolver::SolveOptions options;
        options.transient.maxSteps = 2000;
        options.limit.maxSweeps = 200;
        options.absorption = true;
        const gensolver::Solution s = gensolver::solveRegenerative(model, options, 2);
        for (const gensolver::Result& r : s.results)
            if (!std::isfinite(r.value) || !(r.bound >= 0.0) ||
                (!r.untilAbsorption && !std::isfinite(r.bound) &&
                 r.method.find("no bound") == std::string::npos))
                std::abort();
    } catch (const gensolver::InputError&) {
    } catch (const gensolver::SolveError&) {
    }
    return 0;
}
