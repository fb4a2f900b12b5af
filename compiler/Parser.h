#pragma once
// Parser: reads a model file into its syntax tree. On an error it reports and
// goes on at the next statement (or the next clause inside a block), so that
// one run shows several errors. The statements with blocks of their own are
// parsed in parse/ (study, activity, reward); the rest in Parser.cpp.

#include "Ast.h"
#include "Diagnostics.h"
#include "Lexer.h"

#include <functional>

class Parser {
public:
    Parser(const std::string& source, Diagnostics& diagnostics);
    ModelFile parse();

private:
    class ProgressGuard;
    // A token as messages name it ("'x'", "the end of the file", ...).
    static std::string describe(const Token& t);
    void advance();
    bool atStatementStart() const;
    void skipToNextLine();
    void skipToStatement();
    void skipBlock();
    void endOfStatement();
    void closeBlock(const std::string& what);
    bool blockEntries(const std::string& closing, const std::function<bool()>& entry);
    bool expectPunct(const char* p, const std::string& context);
    bool expectName(Name& out, const std::string& what, bool sameLine = true);
    void report(const std::string& message);
    bool parseLiteral(Literal& out, const std::string& what);
    Fragment fragmentAfter(const Token& word, const std::string& what);

    void parseStatement(ModelFile& m);
    void parseModel(ModelFile& m);
    void parseGlobal(ModelFile& m);
    void parseStudy(ModelFile& m);
    void parseStudyTable(StudyDecl& s);
    void parseStruct(ModelFile& m);
    void parsePlace(ModelFile& m);
    // `sampled`: a Sampled activity's entry in SampledKinds.h.
    void parseActivity(ModelFile& m, ActivityKind kind, int sampled = -1);
    void parseArcs(ClauseDecl& clause);
    void parseGroup(ModelFile& m);
    void parseReward(ModelFile& m);
    void parseCode(ModelFile& m);
    void parseDefine(ModelFile& m);
    void parseStop(ModelFile& m);
    bool parseRewardTimes(RewardDecl& r);
    bool parseRangeRest(std::vector<Literal>& out, bool& isRange);

    Lexer lex;
    Diagnostics& diag;
    Token tok;
    bool sawStatement = false;
};

// The type named by a word, or false when the word is not one of the value types.
bool valueTypeOf(const std::string& word, ValueType& out);
