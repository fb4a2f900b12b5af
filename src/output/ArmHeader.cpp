#include "output/ArmHeader.h"

#include <algorithm>
#include <charconv>
#include <istream>
#include <vector>

namespace {

// Bytes moved per step when the rows make room for a longer header.
constexpr std::size_t MoveChunk = 1 << 20;

} // namespace

namespace ArmHeader {

std::string headerLines(short type, std::uint64_t count) {
    char text[64];
    char* end = std::to_chars(text, text + 24, type).ptr;
    *end++ = '\n';
    end = std::to_chars(end, end + 24, count).ptr;
    *end++ = '\n';
    return std::string(text, end);
}

std::string placeholder(short type, int blanks) {
    char text[24];
    char* end = std::to_chars(text, text + sizeof text, type).ptr;
    return std::string(text, end) + '\n' + std::string(static_cast<std::size_t>(blanks), ' ') +
           '\n';
}

bool fitsInPlace(short type, std::uint64_t count, int blanks) {
    // Line 3 needs at least its line feed after the count's line.
    return headerLines(type, count).size() + 1 <= placeholder(type, blanks).size();
}

bool complete(std::iostream& file, short type, std::uint64_t count, int blanks) {
    std::string header = headerLines(type, count);
    const std::size_t reserved = placeholder(type, blanks).size();
    if (!fitsInPlace(type, count, blanks)) {
        // Move everything after the placeholder back, from the end, so that no
        // byte is overwritten before it has been moved.
        const std::size_t missing = header.size() + 1 - reserved;
        file.seekg(0, std::ios::end);
        std::streamoff length = file.tellg();
        if (!file || length < static_cast<std::streamoff>(reserved))
            return false;
        std::vector<char> chunk(MoveChunk);
        std::streamoff position = length;
        while (position > static_cast<std::streamoff>(reserved)) {
            std::streamoff size =
                std::min<std::streamoff>(static_cast<std::streamoff>(MoveChunk),
                                         position - static_cast<std::streamoff>(reserved));
            position -= size;
            file.seekg(position);
            file.read(chunk.data(), size);
            file.seekp(position + static_cast<std::streamoff>(missing));
            file.write(chunk.data(), size);
            if (!file)
                return false;
        }
        header += '\n'; // line 3, empty
    }
    file.seekp(0);
    file.write(header.data(), static_cast<std::streamsize>(header.size()));
    file.flush();
    return static_cast<bool>(file);
}

} // namespace ArmHeader
