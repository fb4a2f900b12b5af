// The compiler's own stages on small inputs: fragments as the lexer cuts them,
// the names a fragment refers to, and the study's values as the checker
// computes them. Expected values come from the language's rules (and, for the
// shipped range, from the study's table of doubles).

#include "Checker.h"
#include "Lexer.h"
#include "Parser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// The fragment that follows the word `rate` in `text`, and how many errors it gave.
Fragment rateFragment(const std::string& text, int* errors = nullptr) {
    Diagnostics d("t.san", text);
    Lexer lex(text, d);
    const std::size_t at = text.find("rate") + 4;
    Fragment f = lex.fragment(at);
    if (errors != nullptr)
        *errors = d.count();
    return f;
}

TEST(LanguageTest, FragmentsEndWhereTheLanguageSays) {
    struct Case {
        const char* text;
        const char* fragment;
        bool block;
        int line, column; // where the fragment's text starts
    };
    const Case cases[] = {
        {"rate alpha * 2\nnext", "alpha * 2", false, 1, 6},
        {"rate alpha // per hour\n", "alpha", false, 1, 6},
        {"rate (a +\n      b) * 2\nnext", "(a +\n      b) * 2", false, 1, 6},
        {"rate x[f(1,\n 2)]\n", "x[f(1,\n 2)]", false, 1, 6},
        {"{ rate 1 }", "1", false, 1, 8},                  // one-line block: the brace ends it
        {"rate s == \"}\" ? 1 : 0\n", "s == \"}\" ? 1 : 0", false, 1, 6},
        {"rate c == ')'\n", "c == ')'", false, 1, 6},
        {"rate a /* ( */ + b\n", "a /* ( */ + b", false, 1, 6},
        {"rate { return \"}\"[0] == '}' ? 1 : 2; } next", " return \"}\"[0] == '}' ? 1 : 2; ", true, 1, 7},
        {"rate {\n  // }\n  return 1;\n}\n", "\n  // }\n  return 1;\n", true, 1, 7},
    };
    for (const Case& c : cases) {
        int errors = -1;
        Fragment f = rateFragment(c.text, &errors);
        EXPECT_EQ(f.text, c.fragment) << c.text;
        EXPECT_EQ(f.block, c.block) << c.text;
        EXPECT_EQ(f.at.line, c.line) << c.text;
        EXPECT_EQ(f.at.column, c.column) << c.text;
        EXPECT_EQ(errors, 0) << c.text;
    }
}

TEST(LanguageTest, FragmentsLeftOpenAreErrors) {
    for (const char* text : {"rate (a +\n b\n", "rate { return 1;\n", "rate x[1\n"}) {
        int errors = 0;
        rateFragment(text, &errors);
        EXPECT_EQ(errors, 1) << text;
    }
}

TEST(LanguageTest, FragmentNamesSkipMembersLiteralsAndComments) {
    struct Case {
        const char* text;
        std::vector<std::string> names;
    };
    const Case cases[] = {
        {"a.b + c->d + e::f + g", {"a", "c", "e", "g"}},
        {"s . kind + t -> x", {"s", "t"}},
        {"\"idle\" + 'b' + busy // failed\n/* up */ + 1e5 + 0x1Fu + 2.5e-3f", {"busy"}},
        {"std::max(a, b)", {"std", "a", "b"}},
        {"q[k]+=1;", {"q", "k"}},
    };
    for (const Case& c : cases) {
        std::vector<std::string> names;
        for (const FragmentIdentifier& id : fragmentIdentifiers(c.text))
            names.push_back(id.name);
        EXPECT_EQ(names, c.names) << c.text;
    }
}

// The values of the first global in each experiment, as C++ literals.
std::vector<std::string> studyValues(const std::string& declarations, const std::string& study) {
    const std::string text = "model m\nplace p\n" + declarations + "\nstudy {\n" + study + "\n}\n";
    Diagnostics d("t.san", text);
    Parser parser(text, d);
    ModelFile file = parser.parse();
    CheckedModel model = checkModel(file, "t.san", d);
    EXPECT_FALSE(d.hasErrors()) << text;
    return model.globals.empty() ? std::vector<std::string>{} : model.globals[0].values;
}

TEST(LanguageTest, StudyValuesAreExactLiteralsOfTheirType) {
    struct Case {
        const char* declaration;
        const char* study;
        std::vector<std::string> values;
    };
    const Case cases[] = {
        // The shipped study's range: each value the previous plus 1e-6 in doubles.
        {"global double w", "w = 1e-6 .. 1e-5 step 1e-6",
         {"1e-06", "2e-06", "3e-06", "4e-06", "4.9999999999999996e-06", "5.999999999999999e-06",
          "6.999999999999999e-06", "8e-06", "9e-06", "1e-05"}},
        {"global int N", "N = 2 .. 5", {"2", "3", "4", "5"}},
        {"global int N", "N = 5 .. -1 step -3", {"5", "2", "(-1)"}},
        {"global long L", "L = {-9223372036854775808, 7}", {"(-9223372036854775807L - 1)", "7L"}},
        {"global int I", "I = -2147483648", {"(-2147483647 - 1)"}},
        {"global short S", "S = {-32768, 32767}",
         {"static_cast<short>(-32768)", "static_cast<short>(32767)"}},
        {"global double D", "D = {1000, 0.1, 1e300}", {"1000.0", "0.1", "1e+300"}},
        {"global float F", "F = 0.1 .. 0.3 step 0.1", {"0.1f", "0.2f", "0.3f"}},
        {"global char C", "C = {'x', 65, '\\n'}",
         {"static_cast<char>(120)", "static_cast<char>(65)", "static_cast<char>(10)"}},
        {"global bool B", "B = {true, 0, 1, false}", {"true", "false", "true", "false"}},
        // A constant fills every experiment that another entry makes.
        {"global double x\nglobal int K", "x = 2.5\nK = {1, 2, 3}", {"2.5", "2.5", "2.5"}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(studyValues(c.declaration, c.study), c.values) << c.study;
}

} // namespace
