// Bad model files and the messages the compiler gives for them: one table, each
// case a model text and every "line:column: message" expected, in file order.

#include "Compiler.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

struct BadModel {
    const char* name;
    const char* source;
    std::vector<std::string> errors; // "line:column: message"
};

// The "bad.san:L:C: error: M" lines of the compiler's report, as "L:C: M".
std::vector<std::string> errorsOf(const std::string& source, std::string* report = nullptr) {
    std::ostringstream out;
    CompileResult r = compileSource(source, "bad.san", out);
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.files.empty());
    std::vector<std::string> lines;
    std::istringstream in(out.str());
    const std::string prefix = "bad.san:";
    for (std::string line; std::getline(in, line);) {
        if (line.rfind(prefix, 0) != 0)
            continue;
        line = line.substr(prefix.size());
        const std::size_t e = line.find(" error: ");
        if (e != std::string::npos)
            line = line.substr(0, e) + " " + line.substr(e + 8);
        lines.push_back(line);
    }
    if (report != nullptr)
        *report = out.str();
    return lines;
}

const BadModel badModels[] = {
    // Syntax, with recovery at the next statement or clause.
    {"no model statement", "place a\n", {"1:1: the file must start with 'model <name>', found 'place'"}},
    {"empty file", "", {"1:1: the file has no 'model' statement (model <name>)"}},
    {"model name missing", "model\nplace a\n", {"2:1: expected the model's name, found 'place'"}},
    {"unknown statement", "model m\nplaces a\nplace b = 1 2\n",
     {"2:1: expected a statement (model, global, study, struct, place, an activity kind, group, "
      "reward, code, condition, define or stop), found 'places'"}},
    {"stray text after a statement", "model m extra\nglobal int N N2\nplace a\n",
     {"1:9: unexpected 'extra' after the statement",
      "2:12: the model has global variables but no study to give them values",
      "2:14: unexpected 'N2' after the statement"}},
    {"unknown clause, and recovery at the next one",
     "model m\nplace a\nexponential e {\n    speed 3\n    input b\n}\n",
     {"3:13: exponential activity 'e' has no rate",
      "4:5: expected a clause (rate, delay, phases, weight, rank, when, do, input or output), "
      "found 'speed'",
      "5:11: unknown place 'b'"}},
    {"block left open before the next statement",
     "model m\nplace a\nexponential e {\n    rate 1\nplace b\n",
     {"5:1: expected '}' to close the activity 'e', found 'place'"}},
    {"block left open at the end", "model m\nexponential e {\n    rate 1\n",
     {"4:1: the file ends inside the activity 'e': expected '}'"}},
    {"bracket never closed", "model m\nexponential e { rate (1 +\n",
     {"2:22: a bracket of this expression is never closed",
      "3:1: the file ends inside the activity 'e': expected '}'"}},
    {"unterminated string and comment",
     "model m\nglobal int N\nstudy { experiments (N) {\n\"x: 1\n}}\n/* open",
     {"3:9: the table has no rows", "4:1: unterminated string", "6:1: unterminated comment"}},
    {"stray byte", "model m\n\x01place a\n", {"2:1: unexpected byte 1"}},
    {"expression missing", "model m\nexponential e {\n    rate\n}\n",
     {"3:9: expected an expression after 'rate'"}},

    // Names.
    {"duplicate names across kinds",
     "model m\nglobal int N\nstudy { N = 1 }\nplace N\nexponential m { rate 1 }\n",
     {"4:7: duplicate name 'N' (first declared at 2:12 as a global variable)",
      "5:13: duplicate name 'm' (first declared at 1:7 as the model)"}},
    {"unknown place in an arc", "model m\nplace busy\nexponential e {\n    rate 1\n    input bsy\n}\n",
     {"5:11: unknown place 'bsy'"}},
    {"arc on something that is not a place",
     "model m\nglobal int N\nstudy { N = 1 }\nexponential e { rate 1 }\nexponential f {\n    rate 1\n"
     "    output N, e\n}\n",
     {"7:12: 'N' is a global variable, not a place", "7:15: 'e' is an activity, not a place"}},
    {"reserved and keyword names",
     "model m\nglobal double exp\nplace int\nplace Places\nplace x_Mark\nplace serverArray\n"
     "global int Erlang\n",
     {"2:15: 'exp' cannot name a global variable: a C library function or the framework has that "
      "name",
      "3:7: 'int' is a C++ keyword and cannot name a model element",
      "4:7: 'Places' is reserved: the generated classes use it",
      "5:7: 'x_Mark' is reserved: names ending in '_Mark' are used by the generated classes",
      "6:7: 'serverArray' is reserved: names ending in 'Array' are used by the generated classes",
      "7:12: 'Erlang' is reserved: the framework has a type or constant of that name"}},
    {"place in a fragment that may use globals only",
     "model m\nplace a = b + 1\nplace b\nexponential f[i in 0 .. a] { rate 1 }\n",
     {"2:11: place 'b' is not in scope here: an initial marking may use global variables only",
      "4:25: place 'a' is not in scope here: a family's range may use global variables only"}},
    {"groups", "model m\nexponential a { rate 1 }\ngroup g { a, zz, a }\ngroup h { a }\ngroup e { }\n",
     {"3:14: unknown activity 'zz' in group 'g'", "3:18: activity 'a' is already in group 'g'",
      "4:11: activity 'a' is already in group 'g'", "5:7: group 'e' has no member"}},

    // Helper code, named expressions and stops.
    {"helper code, conditions and stops written wrong",
     "model m\nplace p\ncode int f() { return 1; }\ncondition = p > 0\ncondition c p > 0\n"
     "stop p == 0\nstop when\n",
     {"3:1: expected '{' after 'code': helper code is a { } block",
      "4:11: expected the condition's name, found '='",
      "5:13: expected '=' after the condition's name, found 'p'",
      "6:6: expected 'when' after 'stop', found 'p'", "7:10: expected a condition after 'when'"}},
    {"named expressions: cycles, names and scope",
     "model m\nglobal int N\nstudy { N = 1 }\nplace p = up ? 1 : 0\ncondition up = p > 0 && down\n"
     "condition down = !up\ndefine self = self + 1\ncondition p = 1\n"
     "exponential e[i in 0 .. far] { rate 1 }\ndefine far = N\ndefine int = 2\n",
     {"4:11: condition 'up' is not in scope here: an initial marking may use global variables "
      "and helper code only",
      "5:11: condition 'up' depends on itself: up -> down -> up",
      "7:8: expression 'self' depends on itself: self -> self",
      "8:11: duplicate name 'p' (first declared at 4:7 as a place)",
      "9:25: expression 'far' is not in scope here: a family's range may use global variables "
      "and helper code only",
      "11:8: 'int' is a C++ keyword and cannot name a model element"}},

    // Activities: missing and misplaced clauses.
    {"missing rate, phases, delay",
     "model m\nexponential a { when true }\nerlang b { rate 1 }\ndeterministic c { weight 2 }\n",
     {"2:13: exponential activity 'a' has no rate", "3:8: Erlang activity 'b' has no phases",
      "4:15: deterministic activity 'c' has no delay"}},
    {"clauses that do not belong, and twice",
     "model m\nexponential a {\n    rate 1\n    delay 2\n    rank 3\n    rate 4\n}\n"
     "instantaneous b {\n    rate 1\n}\n",
     {"4:5: 'delay' is not allowed in an exponential activity",
      "5:5: 'rank' is not allowed in an exponential activity",
      "6:5: a second 'rate' clause in activity 'a'",
      "9:5: 'rate' is not allowed in a instantaneous activity"}},
    // Sampled delays: literal parameters out of range, missing and foreign clauses.
    {"sampled parameters out of range",
     "model m\nweibull a {\n    shape 0\n    scale -2.5\n}\ngamma b {\n    shape -1\n"
     "    scale 1e-3\n}\nlognormal c {\n    logmean -4\n    logvariance 0.0\n}\n"
     "normal d {\n    mean -1\n    variance -1\n}\npareto e {\n    minimum 0\n    shape 1.5\n}\n"
     "beta f {\n    shape1 2\n    shape2 0\n}\nuniform g {\n    low -1\n    high 2\n}\n",
     {"3:11: the weibull shape must be positive, found 0",
      "4:11: the weibull scale must be positive, found -2.5",
      "7:11: the gamma shape must be positive, found -1",
      "12:17: the lognormal logvariance must be positive, found 0.0",
      "16:14: the normal variance must be positive, found -1",
      "19:13: the pareto minimum must be positive, found 0",
      "24:12: the beta shape2 must be positive, found 0",
      "27:9: the uniform low must not be negative, found -1"}},
    // A bound written as an expression is left to the run-time check.
    {"sampled bounds out of order",
     "model m\nuniform a {\n    low 3\n    high 3\n}\ntriangular b {\n    low 1\n    high 4\n"
     "    mode 5\n}\ntriangular c {\n    low 1\n    high 2 * 3\n    mode 9\n}\n",
     {"2:9: the uniform activity 'a' needs low below high, found low 3 and high 3",
      "6:12: the triangular activity 'b' needs its mode between low and high, found 5"}},
    {"sampled clauses missing and foreign",
     "model m\nweibull a {\n    shape 2\n    rate 1\n}\nlognormal b {\n    sigma 1\n}\n",
     {"2:9: weibull activity 'a' has no scale", "4:5: 'rate' is not allowed in a weibull activity",
      "6:11: lognormal activity 'b' has no logmean",
      "6:11: lognormal activity 'b' has no logvariance",
      "7:5: expected a clause (logmean, logvariance, weight, when, do, input or output), found "
      "'sigma'"}},
    {"discrete and phase-type parameters out of range",
     "model m\ngeometric a {\n    probability 0\n}\nbinomial b {\n    trials 2.5\n"
     "    probability 1.5\n}\nnegativebinomial c {\n    successes 0\n    probability 1\n}\n"
     "conditionalweibull d {\n    shape 1\n    scale 2\n    age -1\n}\n"
     "hyperexponential e {\n    probability 0.5\n    phaserate 0\n    probability -0.5\n"
     "    phaserate 1\n}\nhypoexponential f {\n    phaserate 1\n    phaserate -3\n}\n",
     {"3:17: the geometric probability must lie in (0, 1], found 0",
      "6:12: the binomial trials must be a whole number, 0 or above, found 2.5",
      "7:17: the binomial probability must lie in [0, 1], found 1.5",
      "10:15: the negativebinomial successes must be a whole number, 1 or above, found 0",
      "16:9: the conditionalweibull age must not be negative, found -1",
      "20:15: the hyperexponential phaserate must be positive, found 0",
      "21:17: the hyperexponential probability must lie in [0, 1], found -0.5",
      "26:15: the hypoexponential phaserate must be positive, found -3"}},
    // Each branch of a hyperexponential needs its probability and its rate, and
    // literal probabilities must sum to 1; a probability written as an
    // expression is left to the run-time check.
    {"phase-type lists incomplete or inconsistent",
     "model m\nhyperexponential a {\n    probability 0.5\n    phaserate 1\n"
     "    phaserate 2\n}\nhyperexponential b {\n    probability 0.5\n    phaserate 1\n"
     "    probability 0.25\n    phaserate 2\n}\nhypoexponential c {\n    when true\n}\n"
     "hyperexponential d {\n    probability 0.5 * 1\n    phaserate 1\n"
     "    probability 0.25\n    phaserate 2\n}\n",
     {"2:18: hyperexponential activity 'a' has no probability for its phase 2",
      "7:18: the hyperexponential activity 'b' needs probabilities that sum to 1, found a sum "
      "of 0.75",
      "13:17: hypoexponential activity 'c' has no phaserate"}},
    {"arcs and arrays", "model m\nplace s[2]\nplace p\nexponential a {\n    rate 1\n    input s, p[0]\n}\n",
     {"6:11: 's' is an array: name an element, as in s[i]", "6:14: 'p' is not an array"}},

    // Types and sizes.
    {"array sizes",
     "model m\nglobal double alpha\nglobal int N\nstudy { alpha = 1\nN = 2 }\nplace a[alpha]\n"
     "place b[2.5]\nplace c[M]\nplace d[0]\nplace e[N]\n",
     {"6:9: array size of 'a' is not an integer: 'alpha' is a double",
      "7:9: array size of 'b' is not an integer: 2.5", "8:9: unknown global variable 'M' as the size of 'c'",
      "9:9: array size of 'd' must lie in 1..32767"}},
    {"study values of the wrong type",
     "model m\nglobal short S\nglobal int I\nglobal bool B\nglobal char C\nglobal double D\n"
     "study {\n    S = 40000\n    I = 1.5\n    B = 2\n    C = 'ab'\n    D = true\n}\n",
     {"8:9: value 40000 is out of the range of a short",
      "9:9: type mismatch: value 1.5 is not an int (the type of 'I')",
      "10:9: type mismatch: value 2 is not a bool (the type of 'B')",
      "11:9: a character literal holds one character",
      "12:9: type mismatch: value true is not a double (the type of 'D')"}},
    {"study counts and entries",
     "model m\nglobal int K, N, M\nglobal double x\nstudy {\n    K = {1, 2, 3}\n    N = 1 .. 4\n"
     "    K = 3\n    gamma = 1\n    x = 1 .. 2 step 0\n}\n",
     {"4:1: the study gives no value to the global variable 'M'",
      "6:5: 'N' has 4 values but the study has 3 experiments (as 'K' at 5:5 says)",
      "7:5: 'K' is given values twice (first at 5:5)", "8:5: unknown global variable 'gamma'",
      "9:21: the step of a range must not be 0"}},
    {"table rows", "model m\nglobal int N\nstudy {\n    experiments (N) {\n        1, 2\n        \"x\": 3\n    }\n}\n",
     {"5:9: this row has 2 values for 1 global variables"}},
    {"structures",
     "model m\nstruct s {\n    short a\n    short a\n    long b\n    double fields\n}\nplace p : s = 1\n"
     "place q : t\nstruct e { }\n",
     {"4:11: duplicate field 'a' in structure 's'",
      "5:5: a field of a structure cannot be a long (use int or double)",
      "6:12: 'fields' is reserved: a structured variable has a member of that name",
      "8:15: a structured place takes its initial values from its structure's fields",
      "9:11: unknown structure type 't'", "10:8: structure 'e' has no field"}},

    // Erlang activities count their phases in hidden places, one per activity or group.
    {"erlang family outside a group",
     "model m\nplace q[2]\nerlang serve[i in 0 .. 1] {\n    rate 1\n    phases 2\n    input q[i]\n}\n",
     {"3:8: the erlang family 'serve' needs one phase counter per member: put it in a group, "
      "whose members share one, or declare one erlang activity per member"}},
    {"names of the phase counters and their reset", "model m\nplace go_Phase\nplace ResetErlangPhases\n",
     {"2:7: 'go_Phase' is reserved: names ending in '_Phase' are used by the generated classes",
      "3:7: 'ResetErlangPhases' is reserved: the generated classes use it"}},

    // Correct files whose model the generator would refuse to explore.
    {"no state, and an unstable initial state", "model m\ninstantaneous go {\n    do ;\n}\n",
     {"1:7: model 'm' has no place: the generator cannot explore a model without state",
      "2:15: instantaneous activity 'go' is enabled in every state (no input arc, no 'when'): "
      "the initial state would not be stable, and the generator refuses it"}},
    {"an erlang activity's counter is state",
     "model m\nerlang tick {\n    rate 1\n    phases 2\n}\ninstantaneous now {\n    weight 2\n}\n",
     {"6:15: instantaneous activity 'now' is enabled in every state (no input arc, no 'when'): "
      "the initial state would not be stable, and the generator refuses it"}},

    {"an instantaneous activity enabled initially by literal markings",
     "model m\nglobal int N\nstudy { N = 1 }\nplace p = 1\nplace s[2] = 3\nplace q\nplace r = N\n"
     "instantaneous i {\n    input p, s[1]\n    output q\n}\ninstantaneous j {\n    input q, p\n}\n"
     "instantaneous k {\n    input r\n}\ndeterministic d {\n    delay 1\n    input p\n}\n",
     {"8:15: instantaneous activity 'i' is enabled in the initial state (each of its input "
      "places starts with a token, and it has no 'when'): the initial state would not be "
      "stable, and the generator refuses it"}},

    // Reward variables.
    {"reward variables",
     "model m\nexponential a { rate 1 }\nreward r { rate 1 }\nreward r steady { rate 1 }\n"
     "reward s steady { at 3 }\nreward q interval { impulse nothere 1 }\nreward z { at 1 .. 0 }\n"
     "reward w average {\n    over 5 .. 1\n    impulse a 1\n    impulse a 2\n}\n",
     {"3:8: instant reward 'r' has no time point (at <time>)",
      "4:8: duplicate reward variable 'r' (first declared at 3:8)",
      "5:8: reward 's' has neither a rate nor an impulse",
      "5:19: 'at' gives the time points of an instant reward; a steady-state reward has none",
      "6:8: interval reward 'q' has no interval (over <start> .. <stop>)",
      "6:29: unknown activity 'nothere'", "7:8: reward 'z' has neither a rate nor an impulse",
      "7:15: the range of time points is empty or too long",
      "9:10: the interval 5 .. 1 ends before it starts", "11:13: a second impulse on 'a' in reward 'w'"}},
    {"rewards until absorption",
     "model m\nplace p\nreward r until { rate 1 }\nreward s until absorption {\n    at 3\n"
     "    over 0 .. 1\n    rate p\n}\n",
     {"3:16: expected 'absorption' after 'until', found '{'",
      "5:5: 'at' gives the time points of an instant reward; a reward until absorption has none",
      "6:5: 'over' gives the intervals of an interval or average reward; a reward until "
      "absorption has none"}},
};

class BadModelTest : public ::testing::TestWithParam<BadModel> {};

TEST_P(BadModelTest, ReportsEveryErrorAtItsPosition) {
    const BadModel& c = GetParam();
    EXPECT_EQ(errorsOf(c.source), c.errors) << c.name;
}

INSTANTIATE_TEST_SUITE_P(Table, BadModelTest, ::testing::ValuesIn(badModels));

TEST(BadModelReportTest, ShowsTheSourceLineAndACaretAndCountsTheErrors) {
    std::string report;
    errorsOf("model m\nplace busy\nexponential e {\n\trate 1\n\tinput bsy\n}\n", &report);
    EXPECT_EQ(report, "bad.san:5:8: error: unknown place 'bsy'\n"
                      "\tinput bsy\n"
                      "\t      ^\n"
                      "1 error in bad.san\n");
}

} // namespace
