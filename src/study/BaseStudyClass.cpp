#include "study/BaseStudyClass.h"

#include "base/Errors.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

BaseStudyClass* GlobalStudyPtr = nullptr;

void DestructStudy() {
    delete GlobalStudyPtr;
    GlobalStudyPtr = nullptr;
}

namespace {

// Splits text at ':' as strtok does: runs of separators count as one and empty
// tokens do not exist.
std::vector<std::string> splitAtColons(const char* text) {
    std::vector<std::string> tokens;
    std::string current;
    for (const char* p = text; *p != '\0'; ++p) {
        if (*p == ':') {
            if (!current.empty())
                tokens.push_back(std::move(current));
            current.clear();
        } else {
            current += *p;
        }
    }
    if (!current.empty())
        tokens.push_back(std::move(current));
    return tokens;
}

// The C type that an override's type letter stands for, or null for an unknown letter.
const char* typeNameOfLetter(char letter) {
    switch (letter) {
    case 'b':
        return "bool";
    case 'c':
        return "char";
    case 'd':
        return "double";
    case 'f':
        return "float";
    case 'i':
        return "int";
    case 'l':
        return "long";
    case 's':
        return "short";
    default:
        return nullptr;
    }
}

// Whole-text integer conversion as "%i" reads it (decimal, 0 octal, 0x hexadecimal);
// false when nothing converts, text is left over or the value is outside [low, high].
bool convertInteger(const std::string& text, long low, long high, long& value) {
    const char* start = text.c_str();
    char* end = nullptr;
    errno = 0;
    value = std::strtol(start, &end, 0);
    return end != start && *end == '\0' && errno != ERANGE && value >= low && value <= high;
}

// Infinities (also from values out of range) and NaN are no model parameter.
bool convertDouble(const std::string& text, double& value) {
    const char* start = text.c_str();
    char* end = nullptr;
    value = std::strtod(start, &end);
    return end != start && *end == '\0' && std::isfinite(value);
}

bool convertFloat(const std::string& text, float& value) {
    const char* start = text.c_str();
    char* end = nullptr;
    value = std::strtof(start, &end);
    return end != start && *end == '\0' && std::isfinite(value);
}

void refuseOverride(const std::string& name, const std::string& text, const std::string& why) {
    std::cerr << "!! Override of " << name << " with \"" << text << "\" refused: " << why
              << std::endl;
}

} // namespace

BaseStudyClass::BaseStudyClass() : DefaultVantorRoot(copyText("")) {}

BaseStudyClass::~BaseStudyClass() {
    for (int i = 0; i < NumGVs; ++i) {
        if (GVNames != nullptr)
            std::free(GVNames[i]);
        if (GVTypes != nullptr)
            std::free(GVTypes[i]);
    }
    delete[] GVNames;
    delete[] GVTypes;
    delete[] DefaultVantorRoot;
}

PVModel* BaseStudyClass::GetPVModel(bool) {
    return ThePVModel;
}

void BaseStudyClass::SetGVs(int) {
    std::cout << "basestudyclass::SetGVs" << std::endl;
}

void BaseStudyClass::PrintGlobalValues(int) {}

void* BaseStudyClass::GetGVValue(const char*) {
    return nullptr;
}

void BaseStudyClass::OverrideGVValue(const char*, const void*) {}

const char* BaseStudyClass::GetExpName(int i) {
    static char buffer[128];
    std::snprintf(buffer, sizeof buffer, "Experiment %lld", static_cast<long long>(i) + 1);
    return buffer;
}

void BaseStudyClass::SetDefaultVantorRoot(const char* root) {
    char* copy = copyText(root);
    delete[] DefaultVantorRoot;
    DefaultVantorRoot = copy;
}

void BaseStudyClass::overrideGVs(const char* overrides) {
    if (overrides == nullptr)
        return;
    std::vector<std::string> tokens = splitAtColons(overrides);
    for (std::size_t next = 0; next < tokens.size(); next += 3) {
        if (next + 2 >= tokens.size()) {
            std::cout << "Not enough double override tokens";
            return;
        }
        const char letter = tokens[next][0];
        const std::string& name = tokens[next + 1];
        const std::string& text = tokens[next + 2];

        const char* letterType = typeNameOfLetter(letter);
        if (letterType == nullptr) {
            std::cout << "Type " << letter << " not recognized\n";
            continue;
        }
        // A value is only ever read as the variable's declared type, so a letter
        // of another type is refused rather than reinterpreted.
        int known = -1;
        for (int i = 0; i < NumGVs && known < 0; ++i)
            if (name == GVNames[i])
                known = i;
        if (known >= 0 && std::strcmp(letterType, GVTypes[known]) != 0) {
            refuseOverride(name, text,
                           std::string("type letter ") + letter + " (" + letterType +
                               ") does not match its type " + GVTypes[known]);
            continue;
        }

        bool converted = false;
        long integer = 0;
        switch (letter) {
        case 'b':
            if ((converted = convertInteger(text, SHRT_MIN, SHRT_MAX, integer))) {
                bool value = integer != 0;
                OverrideGVValue(name.c_str(), &value);
            }
            break;
        case 'c':
            if ((converted = text.size() == 1)) {
                char value = text[0];
                OverrideGVValue(name.c_str(), &value);
            }
            break;
        case 'd': {
            double value = 0.0;
            if ((converted = convertDouble(text, value)))
                OverrideGVValue(name.c_str(), &value);
            break;
        }
        case 'f': {
            float value = 0.0f;
            if ((converted = convertFloat(text, value)))
                OverrideGVValue(name.c_str(), &value);
            break;
        }
        case 'i':
            if ((converted = convertInteger(text, INT_MIN, INT_MAX, integer))) {
                int value = static_cast<int>(integer);
                OverrideGVValue(name.c_str(), &value);
            }
            break;
        case 'l':
            if ((converted = convertInteger(text, LONG_MIN, LONG_MAX, integer)))
                OverrideGVValue(name.c_str(), &integer);
            break;
        case 's':
            if ((converted = convertInteger(text, SHRT_MIN, SHRT_MAX, integer))) {
                short value = static_cast<short>(integer);
                OverrideGVValue(name.c_str(), &value);
            }
            break;
        }
        if (!converted) {
            // An unknown variable is named first, by the study's own report, as it
            // is for a value that converts; the study reads no value for a name
            // that it does not have.
            if (known < 0) {
                alignas(16) unsigned char unused[16] = {};
                OverrideGVValue(name.c_str(), unused);
            }
            refuseOverride(name, text, std::string("not a valid ") + letterType);
        }
    }
}
