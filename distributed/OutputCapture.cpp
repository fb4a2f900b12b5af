#include "OutputCapture.h"

#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <unistd.h>

namespace {

// The capture's state, shared with the exit handler.
struct Captured {
    std::stringbuf out, err;           // what std::cout and std::cerr received
    std::streambuf* realOut = nullptr; // not owned: std::cout's own buffer
    std::streambuf* realErr = nullptr; // not owned: std::cerr's own buffer
    bool shown = false;                // keepFromHere was called
    bool complete = false;             // finish was called
};

Captured& captured() {
    static Captured* state = new Captured; // outlives every static destructor
    return *state;
}

void writeAll(int fd, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n <= 0)
            return;
        done += static_cast<std::size_t>(n);
    }
}

// At exit: an unfinished run shows what the process reported.
void showUnfinished() {
    Captured& state = captured();
    if (!state.shown || state.complete)
        return;
    writeAll(STDOUT_FILENO, state.out.str());
    writeAll(STDERR_FILENO, state.err.str());
}

} // namespace

void OutputCapture::begin() {
    Captured& state = captured();
    state.realOut = std::cout.rdbuf(&state.out);
    state.realErr = std::cerr.rdbuf(&state.err);
    std::atexit(showUnfinished);
}

void OutputCapture::keepFromHere() {
    Captured& state = captured();
    if (state.realOut == nullptr)
        return;
    state.out.str(std::string());
    state.err.str(std::string());
    state.shown = true;
}

void OutputCapture::finish() {
    captured().complete = true;
}
