#include "Parser.h"

#include "SampledKinds.h"

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

void Parser::parseActivity(ModelFile& m, ActivityKind kind, int sampled) {
    ActivityDecl a;
    a.kind = kind;
    a.sampled = sampled;
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
                           : (report("expected 'in' after the index name, found " + describe(tok)),
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
    blockEntries("the activity '" + a.name.text + "'", [&]() -> bool {
        static const char* const clauses[] = {"rate", "delay", "phases", "weight", "rank",
                                              "when", "do",    "input",  "output"};
        bool known = false;
        for (const char* c : clauses)
            known = known || (tok.kind == TokenKind::Name && tok.text == c);
        if (sampled >= 0) {
            known = known || (tok.kind == TokenKind::Name &&
                              sampledParameterOf(sampledKind(sampled), tok.text) >= 0);
        }
        if (!known && sampled >= 0) {
            const SampledKind& k = sampledKind(sampled);
            std::string words;
            for (const SampledParameter& p : k.parameters)
                words += std::string(p.word) + ", ";
            report("expected a clause (" + words + "weight, when, do, input or output), found " +
                   describe(tok));
            skipToNextLine();
            return true;
        }
        if (!known) {
            report("expected a clause (rate, delay, phases, weight, rank, when, do, "
                   "input or output), found " +
                   describe(tok));
            skipToNextLine();
            return true;
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
        return true;
    });
    closeBlock("the activity '" + a.name.text + "'");
    m.activities.push_back(a);
}
