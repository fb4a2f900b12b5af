#include "Diagnostics.h"

#include <algorithm>
#include <ostream>

Diagnostics::Diagnostics(std::string fileName, const std::string& source)
    : fileName(std::move(fileName)), source(source) {}

void Diagnostics::error(SourceLocation at, const std::string& message) {
    // One message per position is enough: recovery can meet the same spot twice.
    for (const Message& m : messages)
        if (m.at.line == at.line && m.at.column == at.column && m.text == message)
            return;
    messages.push_back({at, message});
}

std::string Diagnostics::sourceLine(int line) const {
    std::size_t start = 0;
    for (int l = 1; l < line; ++l) {
        std::size_t nl = source.find('\n', start);
        if (nl == std::string::npos)
            return {};
        start = nl + 1;
    }
    std::size_t end = source.find('\n', start);
    std::string text = source.substr(start, end == std::string::npos ? std::string::npos
                                                                     : end - start);
    if (!text.empty() && text.back() == '\r')
        text.pop_back();
    return text;
}

void Diagnostics::print(std::ostream& out) const {
    // In file order: the parser and the checker each report in their own pass.
    std::vector<Message> sorted = messages;
    std::stable_sort(sorted.begin(), sorted.end(), [](const Message& a, const Message& b) {
        return a.at.line != b.at.line ? a.at.line < b.at.line : a.at.column < b.at.column;
    });
    for (const Message& m : sorted) {
        out << fileName << ':' << m.at.line << ':' << m.at.column << ": error: " << m.text
            << '\n';
        if (m.at.line < 1)
            continue;
        std::string text = sourceLine(m.at.line);
        out << text << '\n';
        // The caret line keeps the source's tabs so that the caret lines up.
        std::string caret;
        for (int c = 1; c < m.at.column; ++c) {
            std::size_t i = static_cast<std::size_t>(c - 1);
            caret += i < text.size() && text[i] == '\t' ? '\t' : ' ';
        }
        out << caret << "^\n";
    }
}

std::string Diagnostics::brief(int i) const {
    const Message& m = messages[static_cast<std::size_t>(i)];
    return std::to_string(m.at.line) + ":" + std::to_string(m.at.column) + ": " + m.text;
}
