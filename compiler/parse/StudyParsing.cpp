#include "Parser.h"

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
    blockEntries("the study", [&]() -> bool {
        if (tok.is("experiments") && tok.kind == TokenKind::Name) {
            parseStudyTable(s);
            return true;
        }
        StudyEntry e;
        if (!expectName(e.global, "a global variable's name or 'experiments'", false) ||
            !expectPunct("=", "after the global variable's name")) {
            skipToNextLine();
            return true;
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
            bool range = false;
            ok = parseRangeRest(e.values, range);
            if (range)
                e.kind = StudyEntry::Range;
        }
        if (!ok) {
            if (!tok.firstOnLine)
                skipToNextLine();
            return true;
        }
        s.entries.push_back(e);
        if (!tok.is("}"))
            endOfStatement();
        return true;
    });
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
    blockEntries("", [&]() -> bool {
        StudyTable::Row row;
        row.at = tok.at;
        if (tok.kind == TokenKind::String) {
            row.named = true;
            row.name = tok.text;
            advance();
            if (!expectPunct(":", "after the experiment's name")) {
                skipToNextLine();
                return true;
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
            return true;
        }
        t.rows.push_back(row);
        if (!tok.is("}"))
            endOfStatement();
        return true;
    });
    expectPunct("}", "to close the table");
    s.tables.push_back(t);
    if (!tok.is("}"))
        endOfStatement();
}

// After a range's first value, when ".." follows on its line: the range's end
// and optional step, appended to `out`; `isRange` says whether ".." followed.
bool Parser::parseRangeRest(std::vector<Literal>& out, bool& isRange) {
    isRange = tok.is("..") && !tok.firstOnLine;
    if (!isRange)
        return true;
    advance();
    Literal v;
    if (!parseLiteral(v, "the end of the range"))
        return false;
    out.push_back(v);
    if (!tok.is("step") || tok.firstOnLine)
        return true;
    advance();
    if (!parseLiteral(v, "the step of the range"))
        return false;
    out.push_back(v);
    return true;
}
