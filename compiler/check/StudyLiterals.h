#pragma once
// StudyLiterals: the literals of a study (and the times of rewards) converted to
// values of a global's type, written as exact C++ constants; ranges expanded by
// repeated addition in the variable's own type. Errors go to Diagnostics.

#include "Ast.h"
#include "Diagnostics.h"

#include <string>
#include <vector>

// The most experiments a study may have.
constexpr int maxExperiments = 100000;

class StudyLiterals {
public:
    // diagnostics: not owned, outlives the object.
    explicit StudyLiterals(Diagnostics& diagnostics) : diag(diagnostics) {}
    StudyLiterals(const StudyLiterals&) = delete;
    StudyLiterals& operator=(const StudyLiterals&) = delete;

    // A number literal as a finite double.
    bool number(const Literal& lit, double& out);
    // lit as a C++ constant of type t; `global` names the variable in messages.
    bool value(const Literal& lit, ValueType t, std::string& out, const std::string& global);
    // The values of the range from, to [, step] (v) as C++ constants of type t.
    bool range(const std::vector<Literal>& v, ValueType t, std::vector<std::string>& out,
               const std::string& global);

private:
    bool integerValue(const Literal& lit, ValueType t, std::string& out,
                      const std::string& mismatch);
    bool integerRange(const std::vector<Literal>& v, ValueType t, int count,
                      std::vector<std::string>& out);

    Diagnostics& diag; // not owned
};
