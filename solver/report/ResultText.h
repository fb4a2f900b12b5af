#pragma once
// The text of one result in each output format, shared by every writer of results
// (gen-solve's report, a study's collected report): the same cells, fields and keys.

#include "methods/Measures.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace gensolver {

// Shortest text that reads back as the same double.
std::string exactText(double x);

// x formatted by a printf format such as "%.6g".
std::string formattedText(const char* format, double x);

// s as a JSON string literal, quotes included.
std::string jsonString(const std::string& s);

// s as one CSV field: quoted, quotes doubled, when it holds a comma, quote or line feed.
std::string csvField(const std::string& s);

// The table's column names for a result: variable, type, start, stop, value, error
// bound, steps, method.
const std::vector<std::string>& resultTableHead();

// The cells of one result under resultTableHead().
std::vector<std::string> resultTableCells(const Result& r);

// Writes head and rows as columns aligned by blanks, two at least between columns.
void writeAlignedTable(std::ostream& out, const std::vector<std::string>& head,
                       const std::vector<std::vector<std::string>>& rows);

// The CSV header of a result's fields, without a line feed.
const char* resultCsvHead();

// One result's CSV fields under resultCsvHead(), without a line feed.
void writeResultCsv(std::ostream& out, const Result& r);

// One result's JSON key/value pairs, without the enclosing braces.
void writeResultJson(std::ostream& out, const Result& r);

} // namespace gensolver
