#pragma once
// Writes a Solution as a table for people, as CSV or as JSON.

#include "methods/Measures.h"

#include <iosfwd>

namespace gensolver {

enum class Format { Table, Csv, Json };

void writeReport(std::ostream& out, const Solution& solution, Format format, double epsilon);

} // namespace gensolver
