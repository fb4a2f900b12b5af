#include "main/commandline.h"

#include "base/Errors.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

char* exp_path = nullptr;
char* ExpName = nullptr;
int ExpNum = 0;
double hash_value = 0.5;
short flagAbsorb = 0;
char* OverrideString = nullptr;
char* db_host = nullptr;
char* db_entity = nullptr;
int TempTraceLevel = 0;
bool BinaryRows = false;

namespace {

void printUsage() {
    std::cout << "usage:  gen -Pexperimentfilepath -Nexperimentname -hhash_value"
              << " -Bexperimentnumber -Ffiletype -edb_entity -sdb_macserver "
              << " -ltrace_level[0-4] -tTraceFilename" << '\n'
              << "Example:  gen -P. -Nexp1 -B0" << '\n';
}

// Replaces an array-new setting by a copy of value.
void replaceText(char*& setting, const char* value) {
    char* copy = copyText(value);
    delete[] setting;
    setting = copy;
}

// Replaces a malloc'd setting by a strdup copy of value.
void replaceMallocText(char*& setting, const char* value) {
    char* copy = strdup(value);
    if (copy == nullptr)
        MemoryAllocationError();
    std::free(setting);
    setting = copy;
}

// Decimal conversion as strtol does it (leading digits count, otherwise 0),
// clamped to the range of int.
int decimal(const char* text) {
    long value = std::strtol(text, nullptr, 10);
    if (value > INT_MAX)
        return INT_MAX;
    if (value < INT_MIN)
        return INT_MIN;
    return static_cast<int>(value);
}

void unknownArgument(const char* word) {
    std::cout << "ERROR: unknown argument: " << word << '\n';
}

} // namespace

void resetCommandLineSettings() {
    delete[] exp_path;
    delete[] ExpName;
    delete[] db_host;
    delete[] db_entity;
    std::free(OverrideString);
    exp_path = nullptr;
    ExpName = nullptr;
    ExpNum = 0;
    hash_value = 0.5;
    flagAbsorb = 0;
    OverrideString = nullptr;
    db_host = nullptr;
    db_entity = nullptr;
    TempTraceLevel = 0;
    BinaryRows = false;
}

void commandline(int argc, char** argv, int& fileType, char*& traceFileName) {
    resetCommandLineSettings();
    if (argc < 4) {
        printUsage();
        std::exit(0);
    }
    for (int i = 1; i < argc; ++i) {
        const char* word = argv[i];
        if (word[0] != '-')
            continue;
        if (std::strcmp(word, "--binary-rows") == 0) {
            BinaryRows = true;
            continue;
        }
        const char letter = word[1];
        // The word that an unknown-argument line names: the option word, or the
        // value word that the separate form consumed.
        const char* current = word;
        const char* value = nullptr;
        if (letter != '\0' && word[2] == '\0') {
            if (i + 1 < argc && argv[i + 1][0] != '-') {
                value = argv[++i];
                current = value;
            }
        } else if (letter != '\0') {
            value = word + 2;
        }

        if (letter == 'a') {
            flagAbsorb = 1;
            continue;
        }
        const bool known = letter != '\0' && std::strchr("PNBhFesltO", letter) != nullptr;
        if (!known || value == nullptr) {
            unknownArgument(current);
            continue;
        }
        switch (letter) {
        case 'P':
            replaceText(exp_path, value);
            std::cout << "path=[" << exp_path << "]" << '\n';
            break;
        case 'N':
            replaceText(ExpName, value);
            break;
        case 'B':
            ExpNum = decimal(value);
            break;
        case 'h':
            std::sscanf(value, "%lf", &hash_value);
            break;
        case 'F':
            fileType = decimal(value);
            break;
        case 'e':
            replaceText(db_entity, value);
            break;
        case 's':
            replaceText(db_host, value);
            break;
        case 'l':
            TempTraceLevel = decimal(value);
            std::cout << "TraceLevel=" << TempTraceLevel << '\n';
            break;
        case 't':
            replaceMallocText(traceFileName, value);
            break;
        case 'O':
            replaceMallocText(OverrideString, value);
            std::cout << "OverrideString is " << OverrideString << '\n';
            break;
        }
    }
}
