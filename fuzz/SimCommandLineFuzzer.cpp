// Fuzzes the simulator's command-line parser. The input is split at line feeds
// into the words that follow the program name. The parser never ends the
// process: every input gives settings or one message, and a message is one line.

#include "DiscardOutput.h"
#include "SimCommandLine.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzsupport::discardStandardStreams();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> words{"gen-sim", ""};
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == '\n')
            words.emplace_back();
        else if (data[i] != '\0') // an argument word cannot hold a NUL byte
            words.back() += static_cast<char>(data[i]);
    }
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    SimCommandLine line;
    std::string error = parseSimCommandLine(static_cast<int>(words.size()), argv.data(), line);
    if (error.find('\n') != std::string::npos)
        std::abort();
    // Accepted settings keep what the parser promises.
    if (error.empty()) {
        const SimSettings& s = line.settings;
        if (!(s.level > 0.0 && s.level < 1.0) || s.threads < 1 || s.replications < 2)
            std::abort();
        if (!s.balanced.empty() && !(s.balancedShare > 0.0 && s.balancedShare < 1.0))
            std::abort();
        for (const std::string& name : s.balanced)
            if (name.empty())
                std::abort();
    }
    return 0;
}
