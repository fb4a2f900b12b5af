#include "read/LineReader.h"

#include "read/InputError.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace gensolver {

LineReader::LineReader(std::string path, std::size_t bufferSize)
    : path_(std::move(path)), size_(bufferSize < 64 ? 64 : bufferSize) {
    fd_ = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0)
        throw InputError(path_, std::string("cannot open: ") + std::strerror(errno));
    // A small file gets a buffer of its own size (but lines longer than the buffer
    // are refused, so never less than 64 KiB).
    struct stat info {};
    if (::fstat(fd_, &info) == 0 && S_ISREG(info.st_mode) && info.st_size >= 0) {
        const std::size_t fits = static_cast<std::size_t>(info.st_size) + 1;
        size_ = std::min(size_, std::max<std::size_t>(fits, std::size_t{1} << 16));
    }
    buffer_.reset(new char[size_]);
}

LineReader::~LineReader() {
    if (fd_ >= 0)
        ::close(fd_);
}

void LineReader::fail(const std::string& what) const {
    throw InputError(path_, line_, what);
}

bool LineReader::refill() {
    if (atEnd_)
        return false;
    if (begin_ > 0) {
        std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
        base_ += begin_;
        end_ -= begin_;
        begin_ = 0;
    }
    if (end_ == size_)
        return false;
    for (;;) {
        const ssize_t got = ::read(fd_, buffer_.get() + end_, size_ - end_);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            throw InputError(path_, line_ + 1, std::string("cannot read: ") + std::strerror(errno));
        }
        if (got == 0) {
            atEnd_ = true;
            return false;
        }
        end_ += static_cast<std::size_t>(got);
        return true;
    }
}

bool LineReader::next(std::string_view& line) {
    std::size_t searched = begin_;
    for (;;) {
        const char* start = buffer_.get() + searched;
        const void* lf = std::memchr(start, '\n', end_ - searched);
        if (lf != nullptr) {
            const std::size_t at =
                static_cast<std::size_t>(static_cast<const char*>(lf) - buffer_.get());
            line = std::string_view(buffer_.get() + begin_, at - begin_);
            begin_ = at + 1;
            ++line_;
            return true;
        }
        const std::size_t unread = end_ - begin_;
        if (!refill()) {
            if (end_ - begin_ == size_) {
                ++line_;
                fail("line longer than " + std::to_string(size_) + " bytes");
            }
            if (begin_ == end_)
                return false;
            // The last line has no line feed.
            line = std::string_view(buffer_.get() + begin_, end_ - begin_);
            begin_ = end_;
            ++line_;
            return true;
        }
        searched = begin_ + unread;
    }
}

bool LineReader::skip() {
    for (;;) {
        const void* lf = std::memchr(buffer_.get() + begin_, '\n', end_ - begin_);
        if (lf != nullptr) {
            begin_ = static_cast<std::size_t>(static_cast<const char*>(lf) - buffer_.get()) + 1;
            ++line_;
            return true;
        }
        const bool hadBytes = begin_ != end_;
        base_ += end_;
        begin_ = end_ = 0;
        if (!refill()) {
            if (hadBytes)
                ++line_;
            return hadBytes;
        }
    }
}

void LineReader::rewind() {
    seek(0, 0);
}

void LineReader::seek(std::uint64_t offset, std::uint64_t lines) {
    if (::lseek(fd_, static_cast<off_t>(offset), SEEK_SET) < 0)
        throw InputError(path_, "cannot go to byte " + std::to_string(offset) + ": " +
                                    std::strerror(errno));
    base_ = offset;
    begin_ = end_ = 0;
    atEnd_ = false;
    line_ = lines;
}

namespace {

// The whole text (after trim, a leading '+' allowed) as a number of type T.
template <class T> bool parseWithSign(std::string_view text, T& value) {
    text = trim(text);
    if (!text.empty() && text.front() == '+')
        text.remove_prefix(1);
    if (text.empty())
        return false;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    return ec == std::errc() && end == text.data() + text.size();
}

} // namespace

std::string_view trim(std::string_view text) {
    auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    while (!text.empty() && blank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && blank(text.back()))
        text.remove_suffix(1);
    return text;
}

bool parseUnsigned(std::string_view text, std::uint64_t& value) {
    text = trim(text);
    if (text.empty() || text.front() < '0' || text.front() > '9')
        return false;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    return ec == std::errc() && end == text.data() + text.size();
}

bool parseInt(std::string_view text, long long& value) {
    return parseWithSign(text, value);
}

bool parseDouble(std::string_view text, double& value) {
    // Out-of-range texts (1e999) come back as errors and count as not numbers.
    return parseWithSign(text, value);
}

std::string quote(std::string_view text) {
    std::string out = "\"";
    for (const char c : text.substr(0, 40))
        out += (c >= 32 && c < 127) ? c : '?';
    if (text.size() > 40)
        out += "...";
    return out + "\"";
}

} // namespace gensolver
