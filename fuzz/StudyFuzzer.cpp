// Fuzzes what gen-study reads from text: the experiment list of -e, and a model
// executable's output (the experiment count in a refusal, the heading block with the
// globals, a failed run's message). Each input is given to every reader; a list is
// either refused with std::invalid_argument or yields ascending numbers in range.

#include "RunOutput.h"
#include "Selection.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    constexpr int count = 12;
    try {
        const std::vector<int> chosen = genstudies::parseSelection(text, count);
        for (std::size_t i = 0; i < chosen.size(); ++i)
            if (chosen[i] < 0 || chosen[i] >= count || (i > 0 && chosen[i] <= chosen[i - 1]))
                std::abort();
    } catch (const std::invalid_argument&) {
    }
    if (genstudies::experimentCountFromRefusal(text) < -1)
        std::abort();
    const genstudies::ExperimentHeading heading = genstudies::readHeading(text);
    if (!heading.found && (!heading.globals.empty() || !heading.name.empty()))
        std::abort();
    for (const genstudies::GlobalValue& g : heading.globals)
        if (g.name.find('\n') != std::string::npos || g.type.find('\t') != std::string::npos)
            std::abort();
    const std::string message = genstudies::runMessage(text, text);
    if (message.find('\n') != std::string::npos)
        std::abort();
    return 0;
}
