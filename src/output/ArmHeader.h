#pragma once
// The header of the .arm file: the output type's line and a placeholder line of
// blanks are written before the exploration; the state count is written over the
// placeholder once every row is in the file. A reader skips line 3 as filler, so
// line 3 must exist whatever the count.

#include <cstdint>
#include <iosfwd>
#include <string>

namespace ArmHeader {

// The placeholder: `type`, a line feed, `blanks` blanks and a line feed.
std::string placeholder(short type, int blanks);

// The type's line and the count's line, with their line feeds.
std::string headerLines(short type, std::uint64_t count);

// True when the type's line, the count's line and the line feed of line 3 fit
// in the placeholder, so that the header can be written over it in place.
bool fitsInPlace(short type, std::uint64_t count, int blanks);

// Completes the header of a file that begins with placeholder(type, blanks):
// the type's line and the count's line are written over the placeholder, whose
// remaining blanks and final line feed form line 3. When they do not fit, the
// rest of the file is first moved back by the bytes missing, so that line 3
// stays (empty). `file` must be open for reading and writing; false when a read
// or write failed.
bool complete(std::iostream& file, short type, std::uint64_t count, int blanks);

} // namespace ArmHeader
