#include "Checker.h"

#include "check/ModelChecker.h"

#include <cctype>

std::vector<FragmentIdentifier> fragmentIdentifiers(const std::string& text) {
    std::vector<FragmentIdentifier> ids;
    const std::size_t n = text.size();
    std::size_t i = 0;
    char previous = 0; // last significant character before the current one
    char beforePrevious = 0;
    while (i < n) {
        const char c = text[i];
        if (text.compare(i, 2, "//") == 0) {
            while (i < n && text[i] != '\n')
                ++i;
            continue;
        }
        if (text.compare(i, 2, "/*") == 0) {
            std::size_t close = text.find("*/", i + 2);
            i = close == std::string::npos ? n : close + 2;
            continue;
        }
        if (c == '"' || c == '\'') {
            ++i;
            while (i < n && text[i] != c) {
                if (text[i] == '\\')
                    ++i;
                ++i;
            }
            ++i;
            previous = c;
            continue;
        }
        if (std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_') {
            std::size_t j = i;
            while (j < n &&
                   (std::isalnum(static_cast<unsigned char>(text[j])) != 0 || text[j] == '_'))
                ++j;
            const bool member = previous == '.' || (previous == '>' && beforePrevious == '-') ||
                                (previous == ':' && beforePrevious == ':');
            if (!member)
                ids.push_back({text.substr(i, j - i), i});
            beforePrevious = 'a';
            previous = 'a';
            i = j;
            continue;
        }
        if (std::isdigit(static_cast<unsigned char>(c)) != 0) {
            // A number, with its suffixes and exponent, is no identifier.
            while (i < n && (std::isalnum(static_cast<unsigned char>(text[i])) != 0 ||
                             text[i] == '.' || text[i] == '\'' ||
                             ((text[i] == '+' || text[i] == '-') &&
                              (text[i - 1] == 'e' || text[i - 1] == 'E'))))
                ++i;
            previous = '0';
            continue;
        }
        if (c != ' ' && c != '\t' && c != '\n' && c != '\r') {
            beforePrevious = previous;
            previous = c;
        }
        ++i;
    }
    return ids;
}

CheckedModel checkModel(const ModelFile& file, const std::string& fileName,
                        Diagnostics& diagnostics) {
    ModelChecker checker(file, diagnostics);
    return checker.run(fileName);
}
