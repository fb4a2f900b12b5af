#pragma once
// The emitter's shared writing helpers: one generated file's text with its line
// count (for #line directives), C++ string literals, the comment that opens every
// generated file, the lines that open a generated class, and a fragment's value.

#include "Model.h"

#include <map>
#include <string>

// The generated files: file name -> contents.
using GeneratedFiles = std::map<std::string, std::string>;

// A C++ string literal of s.
std::string quoted(const std::string& s);

// One generated file: its text, and the count of its lines for #line directives.
class Writer {
public:
    // name: the file's name, as its own #line directives give it; modelFile: the
    // model file, as the fragments' #line directives give it.
    Writer(std::string name, std::string modelFile);
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    Writer(Writer&&) = default;
    Writer& operator=(Writer&&) = delete;

    Writer& operator<<(const std::string& s);
    Writer& operator<<(int v);

    // The fragment's text at its own line and column of the model file, between
    // #line directives; the writer must be at the start of a line.
    void fragment(const Fragment& f);

    // The text written so far.
    const std::string& text() const { return contents; }

private:
    std::string contents;  // the file's text
    int lines = 0;         // the number of complete lines in contents
    std::string name;      // the file's name in #line directives
    std::string modelFile; // the model file in the fragments' #line directives
};

// What every emitter of one model shares: the checked model (not owned) and the
// files written so far (not owned: the caller collects them).
struct EmitContext {
    const CheckedModel& m; // the model being emitted (not owned)
    GeneratedFiles& files; // the files written so far (not owned)
    std::string san;       // the SAN's class name

    // A writer for the generated file `name`.
    Writer open(const std::string& name) const { return Writer(name, m.file); }
    // Stores a finished file.
    void save(const std::string& name, const Writer& w) const { files[name] = w.text(); }
    // The comment that opens every generated file: what it holds and where it came from.
    void header(Writer& w, const std::string& what) const;
    // Place p, activity a and a structured place's structure, by their indices.
    const CheckedPlace& place(int p) const { return m.places[static_cast<std::size_t>(p)]; }
    const CheckedActivity& activity(int a) const {
        return m.activities[static_cast<std::size_t>(a)];
    }
    const CheckedStruct& structOf(const CheckedPlace& p) const {
        return m.structs[static_cast<std::size_t>(p.structType)];
    }
    // True when some activity is erlang: every firing then resets the phase
    // counters of the erlang activities it disables.
    bool hasErlang() const;
};

// "class <cls> : public <base> {" and "public:", at `indent`.
void openClass(Writer& w, const std::string& indent, const std::string& cls,
               const std::string& base);
// The deleted copy constructor and assignment of `cls`, at `indent`.
void deletedCopy(Writer& w, const std::string& indent, const std::string& cls);

// `return` of a value fragment converted to `type`: a block runs as a lambda.
// open: empty, or the call the value passes through, closed after it (e.g.
// "gen_activity::checked(Name, \"rate\", ", which refuses a rate that is
// negative or not a number).
void emitValue(Writer& w, const CheckedFragment& f, const char* type, const std::string& open = "");

// The named expressions `defines` (in their order, each after those it uses) as
// local functions of the method being written, after its markings' locals.
void emitDefines(const EmitContext& c, Writer& w, const std::vector<int>& defines);
