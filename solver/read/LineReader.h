#pragma once
// Reads a text file line by line through one large buffer with read(2): no
// iostreams, no allocation per line. Lines are handed out as views into the
// buffer, valid until the next call.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace gensolver {

class LineReader {
public:
    // Opens the file; throws InputError when it cannot be opened.
    explicit LineReader(std::string path, std::size_t bufferSize = std::size_t{1} << 20);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;
    LineReader(LineReader&&) = delete;
    LineReader& operator=(LineReader&&) = delete;

    // The next line without its line feed; false at the end of the file. A line
    // longer than the buffer is refused with an InputError.
    bool next(std::string_view& line);
    // Discards the next line whatever its length; false at the end of the file.
    bool skip();
    // Reads the next line as a whole number where it is nothing but 1 to 19
    // digits and its line feed is in the buffer already: true, with the number.
    // Otherwise false, and nothing is read (next() then reads it the slow way).
    // The files' lines are mostly such numbers: this spares a search for the
    // line's end and a conversion, each a pass over the line's bytes.
    bool nextDigits(std::uint64_t& value) {
        const char* p = buffer_.get() + begin_;
        const char* const end = buffer_.get() + end_;
        std::uint64_t v = 0;
        const char* const first = p;
        while (p != end && static_cast<unsigned char>(*p - '0') < 10 && p - first < 19)
            v = v * 10 + static_cast<unsigned>(*p++ - '0');
        if (p == first || p == end || *p != '\n')
            return false;
        begin_ = static_cast<std::size_t>(p + 1 - buffer_.get());
        ++line_;
        value = v;
        return true;
    }
    // Starts again at the first line.
    void rewind();
    // Goes on reading at byte `offset` of the file, as line `lines` + 1 (for the
    // messages' line numbers).
    void seek(std::uint64_t offset, std::uint64_t lines);
    // The byte of the file where the next line starts.
    std::uint64_t offset() const { return base_ + begin_; }

    // Number of the line last returned or skipped (1 for the first line).
    std::uint64_t line() const { return line_; }
    const std::string& path() const { return path_; }
    // Throws an InputError naming the file and the current line.
    [[noreturn]] void fail(const std::string& what) const;

private:
    // Moves the unread bytes to the front and reads more; false when nothing more came.
    bool refill();

    std::string path_;
    int fd_ = -1;                    // owned file descriptor
    std::unique_ptr<char[]> buffer_; // owned read buffer, not zeroed
    std::size_t size_;               // its size in bytes
    std::uint64_t base_ = 0;         // the file's byte held at the buffer's start
    std::size_t begin_ = 0;          // first unread byte
    std::size_t end_ = 0;            // one past the last byte read
    bool atEnd_ = false;             // read(2) reported the end of the file
    std::uint64_t line_ = 0;
};

// The text without leading and trailing blanks, tabs and carriage returns.
std::string_view trim(std::string_view text);

// Whole-text conversions (after trim): false when the text is not entirely a number.
bool parseUnsigned(std::string_view text, std::uint64_t& value);
bool parseInt(std::string_view text, long long& value);
bool parseDouble(std::string_view text, double& value);

// A short quotation of a text for messages: at most 40 characters, in quotes.
std::string quote(std::string_view text);

} // namespace gensolver
