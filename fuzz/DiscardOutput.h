#pragma once
// Sends standard output and standard error of the code under test to a buffer
// that drops every byte: the parsers echo what they read, and millions of echo
// lines would slow the fuzzer down without telling anything. The bytes are still
// handed over, so a read past the end of a text is still caught.

#include <iostream>
#include <streambuf>

namespace fuzzsupport {

class DiscardBuffer : public std::streambuf {
protected:
    int_type overflow(int_type c) override { return traits_type::not_eof(c); }
    std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
};

inline void discardStandardStreams() {
    static DiscardBuffer sink;
    std::cout.rdbuf(&sink);
    std::cerr.rdbuf(&sink);
}

} // namespace fuzzsupport
