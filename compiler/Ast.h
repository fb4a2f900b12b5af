#pragma once
// The syntax tree of one model file, as the parser reads it: names and literals
// with their positions, C++ fragments as raw text. Nothing is resolved yet.

#include "Lexer.h"

#include <string>
#include <vector>

struct Name {
    std::string text;
    SourceLocation at;
};

// A value in a study or a time: a number (with its sign), true/false or a character.
struct Literal {
    TokenKind kind = TokenKind::Number; // Number, Name (true/false) or Char
    std::string text;                   // as written, sign included; a Char's value
    bool isInteger = false;
    SourceLocation at;
};

enum class ValueType { Short, Int, Long, Float, Double, Char, Bool };

// The C++ name of a value type, as messages and generated code write it.
inline const char* typeName(ValueType t) {
    switch (t) {
    case ValueType::Short:
        return "short";
    case ValueType::Int:
        return "int";
    case ValueType::Long:
        return "long";
    case ValueType::Float:
        return "float";
    case ValueType::Double:
        return "double";
    case ValueType::Char:
        return "char";
    case ValueType::Bool:
        return "bool";
    }
    return "int";
}

struct GlobalDecl {
    ValueType type;
    Name name;
};

struct StudyEntry {
    enum Kind { Constant, List, Range } kind = Constant;
    Name global;
    std::vector<Literal> values; // Constant: one; List: each; Range: from, to [, step]
};

struct StudyTable {
    struct Row {
        bool named = false;
        std::string name;
        SourceLocation at;
        std::vector<Literal> values;
    };
    SourceLocation at;
    std::vector<Name> globals;
    std::vector<Row> rows;
};

struct StudyDecl {
    SourceLocation at;
    bool named = false;
    Name name;
    std::vector<StudyEntry> entries;
    std::vector<StudyTable> tables;
};

struct StructFieldDecl {
    ValueType type;
    Name name;
    bool hasInit = false;
    Fragment init;
};

struct StructDecl {
    Name name;
    std::vector<StructFieldDecl> fields;
};

struct PlaceDecl {
    Name name;
    bool isArray = false;
    Token size; // Number or Name
    bool isStruct = false;
    Name structType;
    bool hasInit = false;
    Fragment init;
};

struct ArcDecl {
    Name place;
    bool indexed = false;
    Fragment index;
};

// Sampled: a timed activity of one of the framework's other distributions
// (SampledKinds.h), which only the simulator runs.
enum class ActivityKind { Exponential, Deterministic, Erlang, Instantaneous, Sampled };

struct ClauseDecl {
    Name word;                 // rate, delay, phases, weight, rank, when, do, input, output
    Fragment fragment;         // for the value clauses
    std::vector<ArcDecl> arcs; // for input and output
};

struct ActivityDecl {
    ActivityKind kind;
    int sampled = -1; // a Sampled activity's entry in SampledKinds.h
    Name name;
    bool family = false;
    Name index;
    Fragment first, last;
    std::vector<ClauseDecl> clauses;
};

struct GroupDecl {
    Name name;
    std::vector<Name> members;
};

// The .pvtype types 0 to 3; a reward until absorption is written as an interval
// (type 1) and named in the .abs file.
enum class RewardKind { Instant = 0, Interval = 1, Average = 2, Steady = 3, UntilAbsorption = 4 };

struct ImpulseDecl {
    Name activity;
    Fragment value;
};

struct RewardDecl {
    Name name;
    RewardKind kind = RewardKind::Instant;
    bool hasAt = false;
    SourceLocation atAt;
    bool atRange = false;
    std::vector<Literal> at; // the points, or from, to [, step] of a range
    bool hasOver = false;
    SourceLocation overAt;
    std::vector<Literal> over; // start, stop pairs
    bool hasRate = false;
    SourceLocation rateAt;
    Fragment rate;
    std::vector<ImpulseDecl> impulses;
};

// A named expression: `condition <name> = <expr>` (a bool) or `define <name> =
// <expr>` (a value of the expression's own type).
struct DefineDecl {
    Name name;
    bool condition = true;
    Fragment body;
};

struct ModelFile {
    bool hasModel = false;
    Name model;
    bool hasStem = false;
    Name stem;
    std::vector<GlobalDecl> globals;
    bool hasStudy = false;
    StudyDecl study;
    std::vector<StructDecl> structs;
    std::vector<PlaceDecl> places;
    std::vector<ActivityDecl> activities;
    std::vector<GroupDecl> groups;
    std::vector<RewardDecl> rewards;
    std::vector<Fragment> code;         // the `code { }` blocks, in file order
    std::vector<DefineDecl> defines;    // named conditions and expressions
    std::vector<Fragment> stops;        // the `stop when` conditions
    std::vector<SourceLocation> stopAt; // where each `stop` statement starts
};
