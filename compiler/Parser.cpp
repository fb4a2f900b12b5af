#include "Parser.h"

namespace {

const char* const statementWords[] = {"model",  "global",        "study",  "struct",
                                      "place",  "exponential",   "erlang", "deterministic",
                                      "group",  "instantaneous", "reward"};

bool isStatementWord(const Token& t) {
    if (t.kind != TokenKind::Name)
        return false;
    for (const char* w : statementWords)
        if (t.text == w)
            return true;
    return false;
}

std::string describe(const Token& t) {
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

} // namespace

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
    } else if (w == "group") {
        parseGroup(m);
    } else if (w == "reward") {
        parseReward(m);
    } else {
        report("expected a statement (model, global, study, struct, place, an "
                           "activity kind, group or reward), found " + describe(tok));
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
                           "found " + describe(tok));
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

void Parser::parseStudy(ModelFile& m) {
    StudyDecl s;
    s.at = tok.at;
    advance();
    if (tok.kind == TokenKind::Name || (tok.kind == TokenKind::Number && tok.isInteger)) {
        s.named = true;
        s.name = {tok.text, tok.at};
        advance();
    }
    if (!expectPunct("{", "to open the study")) {
        skipToStatement();
        return;
    }
    while (tok.kind != TokenKind::End && !tok.is("}")) {
        const std::size_t start = tok.begin;
        ProgressGuard guard(*this, start);
        if (atStatementStart()) {
            report("expected '}' to close the study, found " + describe(tok));
            break;
        }
        if (tok.is("experiments") && tok.kind == TokenKind::Name) {
            parseStudyTable(s);
            continue;
        }
        StudyEntry e;
        if (!expectName(e.global, "a global variable's name or 'experiments'", false) ||
            !expectPunct("=", "after the global variable's name")) {
            skipToNextLine();
            continue;
        }
        Literal v;
        bool ok = true;
        if (tok.is("{")) {
            e.kind = StudyEntry::List;
            advance();
            while (true) {
                if (!(ok = parseLiteral(v, "a value")))
                    break;
                e.values.push_back(v);
                if (!tok.is(",")) {
                    ok = expectPunct("}", "to close the list of values");
                    break;
                }
                advance();
            }
        } else if ((ok = parseLiteral(v, "a value, a list { ... } or a range"))) {
            e.values.push_back(v);
            if (tok.is("..") && !tok.firstOnLine) {
                e.kind = StudyEntry::Range;
                advance();
                ok = parseLiteral(v, "the end of the range");
                if (ok)
                    e.values.push_back(v);
                if (ok && tok.is("step") && !tok.firstOnLine) {
                    advance();
                    ok = parseLiteral(v, "the step of the range");
                    if (ok)
                        e.values.push_back(v);
                }
            }
        }
        if (!ok) {
            if (!tok.firstOnLine)
                skipToNextLine();
            continue;
        }
        s.entries.push_back(e);
        if (!tok.is("}"))
            endOfStatement();
    }
    closeBlock("the study");
    if (m.hasStudy)
        diag.error(s.at, "a second study; a model has one");
    else {
        m.hasStudy = true;
        m.study = s;
    }
}

void Parser::parseStudyTable(StudyDecl& s) {
    StudyTable t;
    t.at = tok.at;
    advance();
    if (!expectPunct("(", "after 'experiments'")) {
        skipToNextLine();
        return;
    }
    do {
        Name g;
        if (!expectName(g, "a global variable's name", false)) {
            skipToNextLine();
            return;
        }
        t.globals.push_back(g);
    } while (tok.is(",") && (advance(), true));
    if (!expectPunct(")", "after the table's global variables") ||
        !expectPunct("{", "to open the table")) {
        skipToNextLine();
        return;
    }
    while (tok.kind != TokenKind::End && !tok.is("}")) {
        const std::size_t start = tok.begin;
        ProgressGuard guard(*this, start);
        if (atStatementStart())
            break;
        StudyTable::Row row;
        row.at = tok.at;
        if (tok.kind == TokenKind::String) {
            row.named = true;
            row.name = tok.text;
            advance();
            if (!expectPunct(":", "after the experiment's name")) {
                skipToNextLine();
                continue;
            }
        }
        bool ok = true;
        do {
            Literal v;
            ok = parseLiteral(v, "a value");
            if (ok)
                row.values.push_back(v);
        } while (ok && tok.is(",") && !tok.firstOnLine && (advance(), true));
        if (!ok) {
            if (!tok.firstOnLine)
                skipToNextLine();
            continue;
        }
        t.rows.push_back(row);
        if (!tok.is("}"))
            endOfStatement();
    }
    expectPunct("}", "to close the table");
    s.tables.push_back(t);
    if (!tok.is("}"))
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
    while (tok.kind != TokenKind::End && !tok.is("}")) {
        const std::size_t start = tok.begin;
        ProgressGuard guard(*this, start);
        if (atStatementStart()) {
            report("expected '}' to close the structure, found " + describe(tok));
            break;
        }
        StructFieldDecl f;
        if (tok.kind != TokenKind::Name || !valueTypeOf(tok.text, f.type)) {
            report("expected a field type (short, int, char, bool, float or double), "
                               "found " + describe(tok));
            skipToNextLine();
            continue;
        }
        const Token typeToken = tok;
        advance();
        if (!expectName(f.name, "the field's name")) {
            skipToNextLine();
            continue;
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
    }
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
                               "found " + describe(tok));
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

void Parser::parseArcs(ClauseDecl& clause) {
    advance();
    do {
        ArcDecl arc;
        if (!expectName(arc.place, "a place")) {
            skipToNextLine();
            return;
        }
        if (tok.is("[") && !tok.firstOnLine) {
            arc.indexed = true;
            arc.index = lex.bracketed(tok.end, false);
            if (arc.index.empty())
                diag.error(arc.index.at, "expected an index inside '[ ]'");
            advance();
            if (!expectPunct("]", "after the index")) {
                skipToNextLine();
                return;
            }
        }
        clause.arcs.push_back(arc);
    } while (tok.is(",") && !tok.firstOnLine && (advance(), true));
}

void Parser::parseActivity(ModelFile& m, ActivityKind kind) {
    ActivityDecl a;
    a.kind = kind;
    advance();
    if (!expectName(a.name, "the activity's name")) {
        skipToStatement();
        return;
    }
    if (tok.is("[") && !tok.firstOnLine) {
        a.family = true;
        advance();
        if (!expectName(a.index, "the family's index name") ||
            !(tok.is("in") ? (advance(), true)
                           : (report("expected 'in' after the index name, found " +
                                                     describe(tok)),
                              false))) {
            skipToStatement();
            return;
        }
        a.first = lex.bracketed(tok.begin, true);
        advance();
        if (a.first.empty())
            diag.error(a.first.at, "expected the first index of the family");
        if (!expectPunct("..", "between the family's first and last index")) {
            skipToStatement();
            return;
        }
        a.last = lex.bracketed(tok.begin, false);
        advance();
        if (a.last.empty())
            diag.error(a.last.at, "expected the last index of the family");
        if (!expectPunct("]", "after the family's range")) {
            skipToStatement();
            return;
        }
    }
    if (!expectPunct("{", "after the activity's name")) {
        skipToStatement();
        return;
    }
    while (tok.kind != TokenKind::End && !tok.is("}")) {
        const std::size_t start = tok.begin;
        ProgressGuard guard(*this, start);
        if (atStatementStart()) {
            report("expected '}' to close the activity '" + a.name.text +
                                   "', found " + describe(tok));
            break;
        }
        static const char* const clauses[] = {"rate",  "delay", "phases", "weight", "rank",
                                              "when",  "do",    "input",  "output"};
        bool known = false;
        for (const char* c : clauses)
            known = known || (tok.kind == TokenKind::Name && tok.text == c);
        if (!known) {
            report("expected a clause (rate, delay, phases, weight, rank, when, do, "
                               "input or output), found " + describe(tok));
            skipToNextLine();
            continue;
        }
        ClauseDecl c;
        c.word = {tok.text, tok.at};
        if (c.word.text == "input" || c.word.text == "output") {
            parseArcs(c);
        } else {
            const std::string what = c.word.text == "do"     ? "a statement"
                                     : c.word.text == "when" ? "a condition"
                                                             : "an expression";
            c.fragment = fragmentAfter(tok, what);
        }
        a.clauses.push_back(c);
        if (!tok.is("}"))
            endOfStatement();
    }
    closeBlock("the activity '" + a.name.text + "'");
    m.activities.push_back(a);
}

void Parser::parseGroup(ModelFile& m) {
    GroupDecl g;
    advance();
    if (!expectName(g.name, "the group's name") || !expectPunct("{", "after the group's name")) {
        skipToStatement();
        return;
    }
    while (tok.kind != TokenKind::End && !tok.is("}")) {
        const std::size_t start = tok.begin;
        ProgressGuard guard(*this, start);
        if (atStatementStart()) {
            report("expected '}' to close the group, found " + describe(tok));
            break;
        }
        Name member;
        if (!expectName(member, "an activity", false)) {
            skipBlock();
            m.groups.push_back(g);
            return;
        }
        g.members.push_back(member);
        if (tok.is(","))
            advance();
        else if (!tok.is("}")) {
            report("expected ',' or '}' in the group, found " + describe(tok));
            skipBlock();
            m.groups.push_back(g);
            return;
        }
    }
    closeBlock("the group '" + g.name.text + "'");
    m.groups.push_back(g);
}

void Parser::parseReward(ModelFile& m) {
    advance();
    if (tok.is("model") && tok.kind == TokenKind::Name) {
        advance();
        Name stem;
        if (!expectName(stem, "the reward model's name")) {
            skipToStatement();
            return;
        }
        if (m.hasStem)
            diag.error(stem.at, "the reward model is named twice");
        m.hasStem = true;
        m.stem = stem;
        endOfStatement();
        return;
    }
    RewardDecl r;
    if (!expectName(r.name, "the reward variable's name or 'model'")) {
        skipToStatement();
        return;
    }
    if (tok.kind == TokenKind::Name && !tok.firstOnLine) {
        if (tok.text == "instant")
            r.kind = RewardKind::Instant;
        else if (tok.text == "interval")
            r.kind = RewardKind::Interval;
        else if (tok.text == "average")
            r.kind = RewardKind::Average;
        else if (tok.text == "steady")
            r.kind = RewardKind::Steady;
        else
            report("expected a reward type (instant, interval, average or steady), "
                               "found " + describe(tok));
        advance();
    }
    if (!expectPunct("{", "after the reward variable's name")) {
        skipToStatement();
        return;
    }
    while (tok.kind != TokenKind::End && !tok.is("}")) {
        const std::size_t start = tok.begin;
        ProgressGuard guard(*this, start);
        if (atStatementStart()) {
            report("expected '}' to close the reward '" + r.name.text + "', found " +
                                   describe(tok));
            break;
        }
        const Token word = tok;
        bool ok = true;
        if (word.is("at") || word.is("over")) {
            const bool at = word.is("at");
            if ((at && r.hasAt) || (!at && r.hasOver))
                diag.error(word.at, "a second '" + word.text + "' clause");
            (at ? r.hasAt : r.hasOver) = true;
            (at ? r.atAt : r.overAt) = word.at;
            std::vector<Literal>& out = at ? r.at : r.over;
            out.clear();
            advance();
            Literal v;
            ok = parseLiteral(v, "a time");
            if (ok)
                out.push_back(v);
            if (ok && at && tok.is("..") && !tok.firstOnLine) {
                r.atRange = true;
                advance();
                ok = parseLiteral(v, "the end of the range");
                if (ok)
                    out.push_back(v);
                if (ok && tok.is("step") && !tok.firstOnLine) {
                    advance();
                    ok = parseLiteral(v, "the step of the range");
                    if (ok)
                        out.push_back(v);
                }
            } else if (ok && at) {
                while (ok && tok.is(",") && !tok.firstOnLine) {
                    advance();
                    ok = parseLiteral(v, "a time");
                    if (ok)
                        out.push_back(v);
                }
            } else if (ok) {
                while (ok) {
                    ok = expectPunct("..", "between the interval's start and stop") &&
                         parseLiteral(v, "the interval's stop");
                    if (ok)
                        out.push_back(v);
                    if (!ok || !tok.is(",") || tok.firstOnLine)
                        break;
                    advance();
                    ok = parseLiteral(v, "the interval's start");
                    if (ok)
                        out.push_back(v);
                }
            }
        } else if (word.is("rate")) {
            if (r.hasRate)
                diag.error(word.at, "a second 'rate' clause");
            r.hasRate = true;
            r.rateAt = word.at;
            r.rate = fragmentAfter(word, "an expression");
        } else if (word.is("impulse")) {
            advance();
            ImpulseDecl imp;
            if (tok.kind != TokenKind::Name || tok.firstOnLine) {
                report("expected an activity after 'impulse', found " + describe(tok));
                ok = false;
            } else {
                imp.activity = {tok.text, tok.at};
                imp.value = fragmentAfter(tok, "the impulse's value");
                r.impulses.push_back(imp);
            }
        } else {
            diag.error(word.at, "expected a clause (at, over, rate or impulse), found " +
                                    describe(word));
            ok = false;
        }
        if (!ok) {
            if (!tok.firstOnLine)
                skipToNextLine();
            continue;
        }
        if (!tok.is("}"))
            endOfStatement();
    }
    closeBlock("the reward '" + r.name.text + "'");
    m.rewards.push_back(r);
}
