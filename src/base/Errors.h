#pragma once
// Error reports of the model framework. Each writes a fixed message to standard
// error; only MemoryAllocationError and endRunWith end the process (status 1), and
// InvalidStructType does not return normally either.

#include <string>

[[noreturn]] void MemoryAllocationError();
void MemoryError();
void ErrorEmptyParameter(const char* name);
void InconsistantState();
void UserError();
void ArrayTypeMismatchError(char* first, char* second);
void StructTypeMismatchError(char* first, char* second);
void InvalidArrayType();
[[noreturn]] void InvalidStructType();
void InvalidUnorderedType();
void ArrayOutOfBoundsError(char* where);

namespace SyncError {
void WrongDistributionType();
void NoAction();
} // namespace SyncError

// Writes line and a newline to standard error in one piece (the simulator's
// worker processes may report at once) and ends the run with status 1; the
// exit handlers remove the run's unfinished result files.
[[noreturn]] void endRunWith(const std::string& line);
// Makes endRunWith call `handler` with the line first (null: none). A handler
// that returns leaves the line to be written and the run ended as above. The
// simulator's worker processes use it to send the line to the process that
// started them, which reports it once for all of them.
using RunEndHandler = void (*)(const std::string& line);
void setRunEndHandler(RunEndHandler handler);
// A value as those lines print it: "nan" whatever its sign bit, else as a
// stream writes a double.
std::string valueText(double value);

// Copies a NUL-terminated text into a new array-new buffer; reports through
// MemoryAllocationError when the copy cannot be allocated.
char* copyText(const char* text);
