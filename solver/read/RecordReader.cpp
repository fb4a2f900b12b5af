#include "read/RecordReader.h"

#include <cmath>

namespace gensolver {

RecordReader::RecordReader(const std::string& path, const std::vector<Variable>& variables,
                           std::uint32_t states, const char* source)
    : In(path), States(states), Source(source) {
    for (const Variable& v : variables) {
        if (!In.next(Line))
            In.fail("the file ends in the header where variable \"" + v.name +
                    "\" was expected (truncated)");
        if (trim(Line) != v.name)
            In.fail("header names " + quote(trim(Line)) + " where the .pvtype file has \"" +
                    v.name + "\"");
    }
}

void RecordReader::beginRecord(std::uint32_t record, std::uint32_t state) {
    std::uint64_t number = 0;
    const bool read = In.nextDigits(number);
    if (!read && !In.next(Line))
        In.fail("the file ends after " + std::to_string(record - 1) + " of " +
                std::to_string(States) + " records (truncated, or the " + Source +
                " file is not from the same run)");
    if (!read && !parseUnsigned(Line, number))
        In.fail("expected the state number " + std::to_string(state) + ", found " + quote(Line));
    if (number != state)
        In.fail("record of state " + std::to_string(number) + " where state " +
                std::to_string(state) + " was expected");
}

double RecordReader::value(const char* what, std::uint32_t state) {
    // A whole number converts to the nearest double as its text would.
    std::uint64_t whole = 0;
    if (In.nextDigits(whole))
        return static_cast<double>(whole);
    if (!In.next(Line))
        In.fail(std::string("the file ends inside the record of state ") + std::to_string(state) +
                " of " + std::to_string(States) + " (truncated)");
    double x = 0.0;
    if (!parseDouble(Line, x))
        In.fail(std::string(what) + " of state " + std::to_string(state) +
                " is not a number: " + quote(Line));
    if (!std::isfinite(x))
        In.fail(std::string(what) + " of state " + std::to_string(state) +
                " is not finite: " + quote(Line));
    return x;
}

void RecordReader::end() {
    while (In.next(Line))
        if (!trim(Line).empty())
            In.fail("more records than the " + std::to_string(States) +
                    (std::string(Source) == ".arm" ? " states" : " records") + " of the " + Source +
                    " file: " + quote(Line));
}

} // namespace gensolver
