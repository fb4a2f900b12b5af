#pragma once
// Lexer: splits a model file into tokens on demand, and hands the parser the raw
// text of C++ fragments (the rest of a line, or a balanced { } block), which the
// language copies into the generated classes untouched.

#include "Diagnostics.h"

#include <string>
#include <vector>

enum class TokenKind { Name, Number, String, Char, Punct, End, Invalid };

struct Token {
    TokenKind kind = TokenKind::End;
    std::string text;         // the token as written; a string's or char's decoded value
    SourceLocation at;        // where it starts
    std::size_t begin = 0;    // offset of its first byte
    std::size_t end = 0;      // offset after its last byte
    bool firstOnLine = false; // no other token precedes it on its line
    bool isInteger = false;   // a Number without '.' or exponent

    bool is(const char* punctOrWord) const {
        return (kind == TokenKind::Punct || kind == TokenKind::Name) && text == punctOrWord;
    }
};

// A C++ fragment: its text and where that text starts in the model file.
struct Fragment {
    std::string text;
    SourceLocation at;
    bool block = false; // written as { ... }: a function body (or statements for `do`)
    bool empty() const { return text.find_first_not_of(" \t\r\n") == std::string::npos; }
};

class Lexer {
public:
    Lexer(const std::string& source, Diagnostics& diagnostics);

    Token next();
    // Continue lexing at the given offset (the end of a token already returned).
    void seek(std::size_t offset);
    // The fragment that starts after `offset`: a { } block, or the rest of the line
    // continued while ( [ { are open.
    Fragment fragment(std::size_t offset);
    // Raw text up to (not including) a top-level ']' or, when stopAtRange is set, a
    // top-level "..": the index of an arc or the bounds of a family.
    Fragment bracketed(std::size_t offset, bool stopAtRange);
    std::size_t position() const { return pos; }

private:
    SourceLocation locationOf(std::size_t offset) const;
    // Skips a string, character literal or comment starting at i; returns the
    // offset after it, or i when none starts there.
    std::size_t skipLiteralOrComment(std::size_t i) const;
    void skipBlanksAndComments();
    template <class Stop> std::size_t scanCode(std::size_t j, Stop stop) const;
    void lexNumber(Token& t);         // from pos, which starts a number
    void lexQuoted(Token& t, char c); // from pos, which holds the opening quote c

    const std::string& src;
    Diagnostics& diag;
    std::size_t pos = 0;
    std::size_t lastLineWithToken = 0;   // 1-based line of the previous token, 0 before any
    std::vector<std::size_t> lineStarts; // offset of the first byte of each line
};
