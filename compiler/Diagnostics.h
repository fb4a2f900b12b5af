#pragma once
// Diagnostics: the errors found in one model file, printed the way compilers
// print them: "file:line:column: error: message", the source line and a caret.

#include <iosfwd>
#include <string>
#include <vector>

// A position in the model file; line and column count from 1 (columns in bytes).
struct SourceLocation {
    int line = 0;
    int column = 0;
};

class Diagnostics {
public:
    // fileName is printed in every message; source is the file's text (not owned,
    // must outlive the object).
    Diagnostics(std::string fileName, const std::string& source);

    void error(SourceLocation at, const std::string& message);
    bool hasErrors() const { return !messages.empty(); }
    int count() const { return static_cast<int>(messages.size()); }
    // The messages in the order they were reported, each with its source line and caret.
    void print(std::ostream& out) const;
    // "line:column: message" of error i, for tests.
    std::string brief(int i) const;

    const std::string& file() const { return fileName; }

private:
    struct Message {
        SourceLocation at;
        std::string text;
    };
    std::string sourceLine(int line) const;

    std::string fileName;
    const std::string& source;
    std::vector<Message> messages;
};
