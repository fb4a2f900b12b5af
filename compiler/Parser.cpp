#include "Parser.h"

#include "SampledKinds.h"

namespace {

const char* const statementWords[] = {"model",     "global",        "study",  "struct",
                                      "place",     "exponential",   "erlang", "deterministic",
                                      "group",     "instantaneous", "reward", "code",
                                      "condition", "define",        "stop"};

bool isStatementWord(const Token& t) {
    if (t.kind != TokenKind::Name)
        return false;
    for (const char* w : statementWords)
        if (t.text == w)
            return true;
    return false;
}

} // namespace

std::string Parser::describe(const Token& t) {
    switch (t.kind) {
    case TokenKind::End:
        return "the end of the file";
    case TokenKind::String:
        return "a string";
    case TokenKind::Char:
        return "a character literal";
    default:
        return "'" + t.text + "'";
    }
}

bool valueTypeOf(const std::string& word, ValueType& out) {
    for (ValueType type : {ValueType::Short, ValueType::Int, ValueType::Long, ValueType::Float,
                           ValueType::Double, ValueType::Char, ValueType::Bool})
        if (word == typeName(type)) {
            out = type;
            return true;
        }
    return false;
}

// Ends each pass of an entry loop: when the pass consumed nothing (its first
// token could not start an entry), the rest of the line is skipped, so that
// recovery always moves on.
class Parser::ProgressGuard {
public:
    ProgressGuard(Parser& parser, std::size_t start) : parser(parser), start(start) {}
    ~ProgressGuard() {
        if (parser.tok.begin == start && parser.tok.kind != TokenKind::End && !parser.tok.is("}") &&
            !parser.atStatementStart())
            parser.skipToNextLine();
    }
    ProgressGuard(const ProgressGuard&) = delete;
    ProgressGuard& operator=(const ProgressGuard&) = delete;

private:
    Parser& parser;
    std::size_t start;
};

// The entry loop of every { } block: one call of `entry` per pass until the
// block's '}' or the end of the file. A statement word that starts a line ends
// the block early, reported as a missing '}' of `closing` unless closing is
// empty. `entry` returns false to abandon the block after its own recovery;
// the result says whether the loop ran to the block's end.
bool Parser::blockEntries(const std::string& closing, const std::function<bool()>& entry) {
    while (tok.kind != TokenKind::End && !tok.is("}")) {
        ProgressGuard guard(*this, tok.begin);
        if (atStatementStart()) {
            if (!closing.empty())
                report("expected '}' to close " + closing + ", found " + describe(tok));
            return true;
        }
        if (!entry())
            return false;
    }
    return true;
}

Parser::Parser(const std::string& source, Diagnostics& diagnostics)
    : lex(source, diagnostics), diag(diagnostics) {}

// An error at the current token; none for a token the lexer has already
// reported as invalid.
void Parser::report(const std::string& message) {
    if (tok.kind != TokenKind::Invalid)
        diag.error(tok.at, message);
}

void Parser::advance() {
    tok = lex.next();
}

bool Parser::atStatementStart() const {
    return tok.kind == TokenKind::End || (tok.firstOnLine && isStatementWord(tok));
}

void Parser::skipToNextLine() {
    do
        advance();
    while (tok.kind != TokenKind::End && !tok.firstOnLine);
}

void Parser::skipToStatement() {
    while (!atStatementStart())
        advance();
}

// Skips the rest of a { } block whose '{' has been read, up to and past its '}'.
void Parser::skipBlock() {
    int depth = 1;
    while (tok.kind != TokenKind::End) {
        if (tok.is("{"))
            ++depth;
        else if (tok.is("}") && --depth == 0) {
            advance();
            return;
        }
        if (depth == 1 && atStatementStart())
            return; // the block was left open; the next statement starts here
        advance();
    }
}

// After a block's entries: its '}' (an error at the end of the file; a missing
// brace before the next statement was reported by the entry loop).
void Parser::closeBlock(const std::string& what) {
    if (tok.is("}")) {
        advance();
        endOfStatement();
    } else if (tok.kind == TokenKind::End) {
        report("the file ends inside " + what + ": expected '}'");
    }
}

void Parser::endOfStatement() {
    if (tok.kind == TokenKind::End || tok.firstOnLine)
        return;
    report("unexpected " + describe(tok) + " after the statement");
    skipToNextLine();
}

bool Parser::expectPunct(const char* p, const std::string& context) {
    if (tok.is(p) && tok.kind == TokenKind::Punct) {
        advance();
        return true;
    }
    report(std::string("expected '") + p + "' " + context + ", found " + describe(tok));
    return false;
}

bool Parser::expectName(Name& out, const std::string& what, bool sameLine) {
    if (tok.kind == TokenKind::Name && !(sameLine && tok.firstOnLine)) {
        out = {tok.text, tok.at};
        advance();
        return true;
    }
    report("expected " + what + ", found " + describe(tok));
    return false;
}

bool Parser::parseLiteral(Literal& out, const std::string& what) {
    out.at = tok.at;
    std::string sign;
    if ((tok.is("-") || tok.is("+")) && tok.kind == TokenKind::Punct) {
        sign = tok.text == "-" ? "-" : "";
        advance();
        if (tok.kind != TokenKind::Number) {
            report("expected a number after the sign, found " + describe(tok));
            return false;
        }
    }
    if (tok.kind == TokenKind::Number) {
        out.kind = TokenKind::Number;
        out.text = sign + tok.text;
        out.isInteger = tok.isInteger;
    } else if (tok.kind == TokenKind::Name && (tok.text == "true" || tok.text == "false")) {
        out.kind = TokenKind::Name;
        out.text = tok.text;
    } else if (tok.kind == TokenKind::Char) {
        out.kind = TokenKind::Char;
        out.text = tok.text;
    } else {
        report("expected " + what + ", found " + describe(tok));
        return false;
    }
    advance();
    return true;
}

Fragment Parser::fragmentAfter(const Token& word, const std::string& what) {
    Fragment f = lex.fragment(word.end);
    if (f.empty() && !f.block)
        diag.error(f.at, "expected " + what + " after '" + word.text + "'");
    advance();
    return f;
}

ModelFile Parser::parse() {
    ModelFile m;
    advance();
    while (tok.kind != TokenKind::End) {
        if (diag.count() >= 50)
            break;
        if (!tok.firstOnLine) {
            report("unexpected " + describe(tok) + " after the statement");
            skipToStatement();
            continue;
        }
        parseStatement(m);
    }
    if (!m.hasModel && !diag.hasErrors())
        diag.error({1, 1}, "the file has no 'model' statement (model <name>)");
    return m;
}

void Parser::parseStatement(ModelFile& m) {
    const std::string w = tok.kind == TokenKind::Name ? tok.text : "";
    const bool first = !sawStatement;
    sawStatement = true;
    if (w == "model") {
        if (!first || m.hasModel)
            report("'model' must be the first statement, and come once");
        parseModel(m);
    } else if (first) {
        report("the file must start with 'model <name>', found " + describe(tok));
        if (!isStatementWord(tok))
            skipToStatement();
        else
            parseStatement(m);
    } else if (w == "global") {
        parseGlobal(m);
    } else if (w == "study") {
        parseStudy(m);
    } else if (w == "struct") {
        parseStruct(m);
    } else if (w == "place") {
        parsePlace(m);
    } else if (w == "exponential") {
        parseActivity(m, ActivityKind::Exponential);
    } else if (w == "deterministic") {
        parseActivity(m, ActivityKind::Deterministic);
    } else if (w == "erlang") {
        parseActivity(m, ActivityKind::Erlang);
    } else if (w == "instantaneous") {
        parseActivity(m, ActivityKind::Instantaneous);
    } else if (sampledKindOf(w) >= 0) {
        parseActivity(m, ActivityKind::Sampled, sampledKindOf(w));
    } else if (w == "group") {
        parseGroup(m);
    } else if (w == "reward") {
        parseReward(m);
    } else if (w == "code") {
        parseCode(m);
    } else if (w == "condition" || w == "define") {
        parseDefine(m);
    } else if (w == "stop") {
        parseStop(m);
    } else {
        report("expected a statement (model, global, study, struct, place, an "
               "activity kind, group, reward, code, condition, define or stop), found " +
               describe(tok));
        advance();
        skipToStatement();
    }
}

void Parser::parseModel(ModelFile& m) {
    advance();
    Name name;
    if (expectName(name, "the model's name")) {
        if (!m.hasModel) {
            m.hasModel = true;
            m.model = name;
        }
        endOfStatement();
    } else {
        m.hasModel = true;
        skipToStatement();
    }
}

void Parser::parseGlobal(ModelFile& m) {
    advance();
    ValueType type;
    if (tok.kind != TokenKind::Name || !valueTypeOf(tok.text, type)) {
        report("expected a type (short, int, long, float, double, char or bool), "
               "found " +
               describe(tok));
        skipToStatement();
        return;
    }
    advance();
    do {
        Name name;
        if (!expectName(name, "a global variable's name")) {
            skipToStatement();
            return;
        }
        m.globals.push_back({type, name});
    } while (!tok.firstOnLine && tok.is(",") && (advance(), true));
    endOfStatement();
}

void Parser::parseStruct(ModelFile& m) {
    StructDecl s;
    advance();
    if (!expectName(s.name, "the structure's name") ||
        !expectPunct("{", "after the structure's name")) {
        skipToStatement();
        return;
    }
    blockEntries("the structure", [&]() -> bool {
        StructFieldDecl f;
        if (tok.kind != TokenKind::Name || !valueTypeOf(tok.text, f.type)) {
            report("expected a field type (short, int, char, bool, float or double), "
                   "found " +
                   describe(tok));
            skipToNextLine();
            return true;
        }
        const Token typeToken = tok;
        advance();
        if (!expectName(f.name, "the field's name")) {
            skipToNextLine();
            return true;
        }
        if (f.type == ValueType::Long)
            diag.error(typeToken.at, "a field of a structure cannot be a long (use int or double)");
        if (tok.is("=") && !tok.firstOnLine) {
            f.hasInit = true;
            f.init = fragmentAfter(tok, "the field's initial value");
        }
        s.fields.push_back(f);
        if (!tok.is("}"))
            endOfStatement();
        return true;
    });
    closeBlock("the structure '" + s.name.text + "'");
    m.structs.push_back(s);
}

void Parser::parsePlace(ModelFile& m) {
    advance();
    PlaceDecl p;
    if (!expectName(p.name, "the place's name")) {
        skipToStatement();
        return;
    }
    if (tok.is(",") && !tok.firstOnLine) {
        m.places.push_back(p);
        while (tok.is(",") && !tok.firstOnLine) {
            advance();
            PlaceDecl q;
            if (!expectName(q.name, "a place's name")) {
                skipToStatement();
                return;
            }
            m.places.push_back(q);
        }
        endOfStatement();
        return;
    }
    if (tok.is("[") && !tok.firstOnLine) {
        p.isArray = true;
        advance();
        if (tok.kind != TokenKind::Number && tok.kind != TokenKind::Name) {
            report("expected the array's size (an integer or a global variable), "
                   "found " +
                   describe(tok));
            skipToStatement();
            return;
        }
        p.size = tok;
        advance();
        if (!expectPunct("]", "after the array's size")) {
            skipToStatement();
            return;
        }
    }
    if (tok.is(":") && !tok.firstOnLine) {
        advance();
        p.isStruct = true;
        if (!expectName(p.structType, "a structure type")) {
            skipToStatement();
            return;
        }
    }
    if (tok.is("=") && !tok.firstOnLine) {
        p.hasInit = true;
        p.init = fragmentAfter(tok, "the initial marking");
    }
    m.places.push_back(p);
    endOfStatement();
}

void Parser::parseGroup(ModelFile& m) {
    GroupDecl g;
    advance();
    if (!expectName(g.name, "the group's name") || !expectPunct("{", "after the group's name")) {
        skipToStatement();
        return;
    }
    const bool closed = blockEntries("the group", [&]() -> bool {
        Name member;
        if (!expectName(member, "an activity", false)) {
            skipBlock();
            return false;
        }
        g.members.push_back(member);
        if (tok.is(","))
            advance();
        else if (!tok.is("}")) {
            report("expected ',' or '}' in the group, found " + describe(tok));
            skipBlock();
            return false;
        }
        return true;
    });
    if (closed)
        closeBlock("the group '" + g.name.text + "'");
    m.groups.push_back(g);
}

void Parser::parseCode(ModelFile& m) {
    const Token word = tok;
    Fragment f = lex.fragment(word.end);
    if (!f.block) {
        diag.error(word.at, "expected '{' after 'code': helper code is a { } block");
        advance();
        skipToStatement();
        return;
    }
    advance();
    m.code.push_back(f);
    endOfStatement();
}

void Parser::parseDefine(ModelFile& m) {
    DefineDecl d;
    d.condition = tok.text == "condition";
    const std::string what = d.condition ? "the condition's name" : "the expression's name";
    advance();
    if (!expectName(d.name, what)) {
        skipToStatement();
        return;
    }
    if (!tok.is("=") || tok.firstOnLine) {
        report("expected '=' after " + what + ", found " + describe(tok));
        skipToStatement();
        return;
    }
    d.body = fragmentAfter(tok, d.condition ? "a condition" : "an expression");
    m.defines.push_back(d);
    endOfStatement();
}

void Parser::parseStop(ModelFile& m) {
    const SourceLocation at = tok.at;
    advance();
    if (!tok.is("when") || tok.kind != TokenKind::Name || tok.firstOnLine) {
        report("expected 'when' after 'stop', found " + describe(tok));
        skipToStatement();
        return;
    }
    m.stops.push_back(fragmentAfter(tok, "a condition"));
    m.stopAt.push_back(at);
    endOfStatement();
}
