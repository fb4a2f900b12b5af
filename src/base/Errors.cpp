#include "base/Errors.h"
#include "base/Assert.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>
#include <sstream>

namespace {

// Every report line ends with a newline and a flush of the error stream.
void line(const char* text) { std::cerr << text << std::endl; }

} // namespace

namespace gen_detail {
void assertionFailed(const char* source, const char* function, const char* condition) {
    std::cerr << source << ": " << function << ": Assertion `" << condition << "' failed."
              << std::endl;
    std::abort();
}
} // namespace gen_detail

void MemoryAllocationError() {
    line("Insufficient Memory to allocate dynamic data structures from heap memory");
    line("Exiting program...");
    std::exit(1);
}

namespace {
RunEndHandler runEndHandler = nullptr;
} // namespace

void setRunEndHandler(RunEndHandler handler) {
    runEndHandler = handler;
}

void endRunWith(const std::string& text) {
    if (runEndHandler != nullptr)
        runEndHandler(text);
    std::cerr << text + "\n" << std::flush;
    std::exit(1);
}

std::string valueText(double value) {
    if (std::isnan(value))
        return "nan";
    std::ostringstream text;
    text << value;
    return text.str();
}

void MemoryError() { line("Memory Error"); }

void ErrorEmptyParameter(const char* name) {
    std::cerr << name << ": Parameter was an empty reference" << std::endl;
}

void InconsistantState() {
    line("This program has entered into an inconsistant state. Please report this bug.");
}

void UserError() { line("A user error has been detected"); }

void ArrayTypeMismatchError(char* first, char* second) {
    line("Array types for equivalence sharing do not match for state variables: ");
    std::cerr << "  " << first << std::endl;
    std::cerr << "  " << second << std::endl;
}

void StructTypeMismatchError(char* first, char* second) {
    line("Struct types for equivalence sharing do not match for state variables: ");
    std::cerr << "  " << first << std::endl;
    std::cerr << "  " << second << std::endl;
}

void InvalidArrayType() { line("ArrayType is not valid"); }

void InvalidStructType() {
    // The caller cannot go on with an element of unknown kind: end the run.
    line("ArrayType is invalid for struct element");
    std::exit(1);
}

void InvalidUnorderedType() { line("ArrayType is invalid for unordered element"); }

void ArrayOutOfBoundsError(char* where) {
    std::cerr << "Array out of bounds error at " << where << std::endl;
}

namespace SyncError {
void WrongDistributionType() {
    line("You can only synchronize actions from one type,either exponential or instantenous");
}
void NoAction() { line(" no Action found in model"); }
} // namespace SyncError

char* copyText(const char* text) {
    std::size_t length = std::strlen(text) + 1;
    char* copy = new (std::nothrow) char[length];
    if (copy == nullptr)
        MemoryAllocationError();
    std::memcpy(copy, text, length);
    return copy;
}
