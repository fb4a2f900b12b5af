// Fuzzes the command-line parser. The input is split at line feeds into the
// words that follow the program name.
//
// With fewer than three words the parser prints the usage text and ends the
// process, which a fuzzer cannot survive; short inputs are therefore padded in
// front with words that do not begin with '-', which the parser skips and no
// option can take as its value (an option only takes the word after it).

#include "DiscardOutput.h"
#include "main/commandline.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::vector<std::string> wordsOf(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> words;
    std::string word;
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == '\n') {
            words.push_back(word);
            word.clear();
        } else if (data[i] != '\0') { // an argument word cannot hold a NUL byte
            word += static_cast<char>(data[i]);
        }
    }
    words.push_back(word);
    return words;
}

// Every text setting must be a readable, NUL-terminated copy: reading it whole lets
// the address sanitizer see a missing terminator or a freed buffer.
void touch(const char* text) {
    if (text != nullptr && std::strlen(text) == static_cast<std::size_t>(-1))
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzsupport::discardStandardStreams();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> words = wordsOf(data, size);
    while (words.size() < 3)
        words.insert(words.begin(), "pad");
    words.insert(words.begin(), "gen");

    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    int fileType = 1;
    char* traceFileName = nullptr;
    commandline(static_cast<int>(words.size()), argv.data(), fileType, traceFileName);

    for (const char* text : {exp_path, ExpName, OverrideString, db_host, db_entity, traceFileName})
        touch(text);
    // Without an -h word the load factor keeps its default.
    bool hashOption = false;
    for (const std::string& word : words)
        hashOption = hashOption || word.rfind("-h", 0) == 0;
    if (!hashOption && hash_value != 0.5)
        std::abort();

    std::free(traceFileName);
    resetCommandLineSettings();
    return 0;
}
