#include "Parser.h"

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
        else if (tok.text == "until")
            r.kind = RewardKind::UntilAbsorption;
        else
            report("expected a reward type (instant, interval, average, steady or until "
                   "absorption), found " +
                   describe(tok));
        advance();
        if (r.kind == RewardKind::UntilAbsorption) {
            if (!tok.is("absorption") || tok.kind != TokenKind::Name || tok.firstOnLine) {
                report("expected 'absorption' after 'until', found " + describe(tok));
                skipToStatement();
                return;
            }
            advance();
        }
    }
    if (!expectPunct("{", "after the reward variable's name")) {
        skipToStatement();
        return;
    }
    blockEntries("the reward '" + r.name.text + "'", [&]() -> bool {
        const Token word = tok;
        bool ok = true;
        if (word.is("at") || word.is("over")) {
            ok = parseRewardTimes(r);
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
            diag.error(word.at,
                       "expected a clause (at, over, rate or impulse), found " + describe(word));
            ok = false;
        }
        if (!ok) {
            if (!tok.firstOnLine)
                skipToNextLine();
            return true;
        }
        if (!tok.is("}"))
            endOfStatement();
        return true;
    });
    closeBlock("the reward '" + r.name.text + "'");
    m.rewards.push_back(r);
}

// A reward's `at` (time points: a list or a range) or `over` (intervals) clause.
bool Parser::parseRewardTimes(RewardDecl& r) {
    const Token word = tok;
    const bool at = word.is("at");
    if ((at && r.hasAt) || (!at && r.hasOver))
        diag.error(word.at, "a second '" + word.text + "' clause");
    (at ? r.hasAt : r.hasOver) = true;
    (at ? r.atAt : r.overAt) = word.at;
    std::vector<Literal>& out = at ? r.at : r.over;
    out.clear();
    advance();
    Literal v;
    if (!parseLiteral(v, "a time"))
        return false;
    out.push_back(v);
    if (at) {
        bool range = false;
        if (!parseRangeRest(out, range))
            return false;
        r.atRange = r.atRange || range;
        bool ok = true;
        while (!range && ok && tok.is(",") && !tok.firstOnLine) {
            advance();
            ok = parseLiteral(v, "a time");
            if (ok)
                out.push_back(v);
        }
        return ok;
    }
    while (true) {
        if (!expectPunct("..", "between the interval's start and stop") ||
            !parseLiteral(v, "the interval's stop"))
            return false;
        out.push_back(v);
        if (!tok.is(",") || tok.firstOnLine)
            return true;
        advance();
        if (!parseLiteral(v, "the interval's start"))
            return false;
        out.push_back(v);
    }
}
