// Fuzzes the override-string parser of the study: each input is applied as an
// override string to a freshly generated study, which is destroyed afterwards.

#include "DiscardOutput.h"
#include "study/BaseStudyClass.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzsupport::discardStandardStreams();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The string arrives as a command-line word, which ends at its first NUL byte.
    std::string text(reinterpret_cast<const char*>(data), size);
    text.resize(std::strlen(text.c_str()));

    BaseStudyClass* study = GenerateStudy();
    study->SetGVs(0);
    const int count = study->GetNumGVs();
    std::vector<double> before(count);
    for (int i = 0; i < count; ++i)
        std::memcpy(&before[i], study->GetGVValue(study->GetGVName(i)), sizeof(double));

    study->overrideGVs(text.c_str());

    // A variable that the string does not name keeps its experiment value (compared
    // bit for bit); one that it names holds a finite value, as every model
    // parameter must.
    for (int i = 0; i < count; ++i) {
        const char* name = study->GetGVName(i);
        if (std::strcmp(study->GetGVType(i), "double") != 0)
            continue;
        double value;
        std::memcpy(&value, study->GetGVValue(name), sizeof value);
        if (!std::isfinite(value))
            std::abort();
        if (text.find(name) == std::string::npos &&
            std::memcmp(&before[i], &value, sizeof value) != 0)
            std::abort();
    }
    DestructStudy();
    return 0;
}
