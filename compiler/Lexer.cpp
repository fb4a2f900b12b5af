#include "Lexer.h"

#include <algorithm>
#include <cctype>

namespace {

bool isNameStart(char c) {
    return std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_';
}
bool isNameChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}
bool isDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

} // namespace

Lexer::Lexer(const std::string& source, Diagnostics& diagnostics) : src(source), diag(diagnostics) {
    lineStarts.push_back(0);
    for (std::size_t i = 0; i < src.size(); ++i)
        if (src[i] == '\n')
            lineStarts.push_back(i + 1);
}

SourceLocation Lexer::locationOf(std::size_t offset) const {
    auto after = std::upper_bound(lineStarts.begin(), lineStarts.end(), offset);
    const std::size_t line = static_cast<std::size_t>(after - lineStarts.begin());
    return {static_cast<int>(line), static_cast<int>(offset - lineStarts[line - 1] + 1)};
}

void Lexer::seek(std::size_t offset) {
    pos = offset;
}

std::size_t Lexer::skipLiteralOrComment(std::size_t i) const {
    const std::size_t n = src.size();
    if (src.compare(i, 2, "//") == 0) {
        while (i < n && src[i] != '\n')
            ++i;
        return i;
    }
    if (src.compare(i, 2, "/*") == 0) {
        std::size_t close = src.find("*/", i + 2);
        return close == std::string::npos ? n : close + 2;
    }
    if (src[i] == '"' || src[i] == '\'') {
        const char quote = src[i++];
        while (i < n && src[i] != quote && src[i] != '\n') {
            if (src[i] == '\\' && i + 1 < n)
                ++i;
            ++i;
        }
        return i < n && src[i] == quote ? i + 1 : i;
    }
    return i;
}

void Lexer::skipBlanksAndComments() {
    const std::size_t n = src.size();
    while (pos < n) {
        char c = src[pos];
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v') {
            ++pos;
        } else if (src.compare(pos, 2, "//") == 0 || src.compare(pos, 2, "/*") == 0) {
            if (src.compare(pos, 2, "/*") == 0 && src.find("*/", pos + 2) == std::string::npos)
                diag.error(locationOf(pos), "unterminated comment");
            pos = skipLiteralOrComment(pos);
        } else {
            break;
        }
    }
}

Token Lexer::next() {
    skipBlanksAndComments();
    Token t;
    t.begin = pos;
    t.at = locationOf(pos);
    t.firstOnLine = static_cast<std::size_t>(t.at.line) != lastLineWithToken;
    lastLineWithToken = static_cast<std::size_t>(t.at.line);
    const std::size_t n = src.size();
    if (pos >= n) {
        t.kind = TokenKind::End;
        t.firstOnLine = true;
        t.end = pos;
        return t;
    }
    const char c = src[pos];
    if (isNameStart(c)) {
        std::size_t i = pos;
        while (i < n && isNameChar(src[i]))
            ++i;
        t.kind = TokenKind::Name;
        t.text = src.substr(pos, i - pos);
        pos = i;
    } else if (isDigit(c) || (c == '.' && pos + 1 < n && isDigit(src[pos + 1]))) {
        lexNumber(t);
    } else if (c == '"' || c == '\'') {
        lexQuoted(t, c);
    } else if (src.compare(pos, 2, "..") == 0) {
        t.kind = TokenKind::Punct;
        t.text = "..";
        pos += 2;
    } else if (std::ispunct(static_cast<unsigned char>(c)) != 0) {
        t.kind = TokenKind::Punct;
        t.text = std::string(1, c);
        ++pos;
    } else {
        t.kind = TokenKind::Invalid;
        t.text = std::string(1, c);
        diag.error(t.at, "unexpected byte " + std::to_string(static_cast<unsigned char>(c)));
        ++pos;
    }
    t.end = pos;
    return t;
}

// A number (decimal, with fraction and exponent), or a word that starts with
// digits such as 1RangeStudy.
void Lexer::lexNumber(Token& t) {
    const std::size_t n = src.size();
    std::size_t i = pos;
    bool integer = true;
    while (i < n && isDigit(src[i]))
        ++i;
    // A '.' followed by '.' is the range operator, not a decimal point.
    if (i < n && src[i] == '.' && !(i + 1 < n && src[i + 1] == '.')) {
        integer = false;
        ++i;
        while (i < n && isDigit(src[i]))
            ++i;
    }
    if (i < n && (src[i] == 'e' || src[i] == 'E')) {
        std::size_t j = i + 1;
        if (j < n && (src[j] == '+' || src[j] == '-'))
            ++j;
        if (j < n && isDigit(src[j])) {
            integer = false;
            i = j;
            while (i < n && isDigit(src[i]))
                ++i;
        }
    }
    t.kind = TokenKind::Number;
    t.isInteger = integer;
    // Letters right after a number make a word such as 1RangeStudy (a study name).
    if (i < n && isNameChar(src[i])) {
        while (i < n && isNameChar(src[i]))
            ++i;
        t.kind = TokenKind::Name;
    }
    t.text = src.substr(pos, i - pos);
    pos = i;
}

// A string or character literal, its escapes decoded; unterminated on its line: Invalid.
void Lexer::lexQuoted(Token& t, char c) {
    const std::size_t n = src.size();
    std::size_t i = pos + 1;
    std::string value;
    bool closed = false;
    while (i < n && src[i] != '\n') {
        if (src[i] == c) {
            closed = true;
            ++i;
            break;
        }
        if (src[i] == '\\' && i + 1 < n && src[i + 1] != '\n') {
            const char e = src[i + 1];
            value += e == 'n' ? '\n' : e == 't' ? '\t' : e == '0' ? '\0' : e;
            i += 2;
        } else {
            value += src[i++];
        }
    }
    if (!closed) {
        diag.error(t.at, c == '"' ? "unterminated string" : "unterminated character literal");
        t.kind = TokenKind::Invalid;
    } else {
        t.kind = c == '"' ? TokenKind::String : TokenKind::Char;
    }
    t.text = value;
    pos = i;
}

// The first offset from j on, outside strings, character literals and
// comments, at which stop(offset) is true; the end of the text when none is.
template <class Stop> std::size_t Lexer::scanCode(std::size_t j, Stop stop) const {
    while (j < src.size()) {
        const std::size_t k = skipLiteralOrComment(j);
        if (k != j) {
            j = k;
            continue;
        }
        if (stop(j))
            return j;
        ++j;
    }
    return j;
}

Fragment Lexer::fragment(std::size_t offset) {
    const std::size_t n = src.size();
    std::size_t i = offset;
    while (i < n && (src[i] == ' ' || src[i] == '\t' || src[i] == '\r'))
        ++i;
    Fragment f;
    f.at = locationOf(i);
    if (i < n && src[i] == '{') {
        // A block: up to the matching brace.
        int depth = 0;
        const std::size_t j = scanCode(i, [&](std::size_t at) {
            if (src[at] == '{')
                ++depth;
            else if (src[at] == '}' && --depth == 0)
                return true;
            return false;
        });
        if (j >= n) {
            diag.error(f.at, "unterminated block: no '}' matches this '{'");
            pos = n;
            return f;
        }
        f.block = true;
        f.at = locationOf(i + 1);
        f.text = src.substr(i + 1, j - i - 1);
        pos = j + 1;
        lastLineWithToken = static_cast<std::size_t>(locationOf(j).line);
        return f;
    }
    // The rest of the line, continued while a bracket is open.
    int depth = 0;
    std::size_t j = i;
    std::size_t lastCode = i; // offset after the last byte that is not a comment
    while (j < n) {
        if (src[j] == '\n' && depth <= 0)
            break;
        if (src.compare(j, 2, "//") == 0 || src.compare(j, 2, "/*") == 0) {
            j = skipLiteralOrComment(j);
            continue;
        }
        std::size_t k = skipLiteralOrComment(j);
        if (k != j) {
            j = lastCode = k;
            continue;
        }
        char c = src[j];
        // A closing bracket that the fragment did not open ends it: the `}` of
        // a one-line block such as `exponential a { rate alpha }`.
        if ((c == ')' || c == ']' || c == '}') && depth == 0)
            break;
        if (c == '(' || c == '[' || c == '{')
            ++depth;
        else if (c == ')' || c == ']' || c == '}')
            --depth;
        ++j;
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n')
            lastCode = j;
    }
    if (j >= n && depth > 0)
        diag.error(f.at, "a bracket of this expression is never closed");
    f.text = src.substr(i, lastCode > i ? lastCode - i : 0);
    pos = j;
    lastLineWithToken = static_cast<std::size_t>(locationOf(lastCode).line);
    return f;
}

Fragment Lexer::bracketed(std::size_t offset, bool stopAtRange) {
    const std::size_t n = src.size();
    std::size_t i = offset;
    while (i < n && (src[i] == ' ' || src[i] == '\t'))
        ++i;
    Fragment f;
    f.at = locationOf(i);
    int depth = 0;
    const std::size_t j = scanCode(i, [&](std::size_t at) {
        const char c = src[at];
        if (depth == 0 && (c == ']' || c == '\n' || c == '{' || c == '}'))
            return true;
        if (depth == 0 && stopAtRange && src.compare(at, 2, "..") == 0)
            return true;
        if (c == '(' || c == '[')
            ++depth;
        else if (c == ')' || c == ']')
            --depth;
        return false;
    });
    std::size_t e = j;
    while (e > i && (src[e - 1] == ' ' || src[e - 1] == '\t' || src[e - 1] == '\r'))
        --e;
    f.text = src.substr(i, e - i);
    pos = j;
    return f;
}
