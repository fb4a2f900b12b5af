// measure: runs one command and reports what it cost.
//
//   measure <report-file> <command> [arguments...]
//
// Runs the command as a child process (standard streams inherited), waits for
// it and writes one line to <report-file>:
//
//   <exit status> <wall seconds> <cpu seconds> <peak resident KiB>
//
// The exit status is 128 + the signal number when the child was killed. CPU
// time is user + system time of the child; the peak resident set size is the
// kernel's high-water mark for the child (getrusage through wait4).

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

double seconds(const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
}

double now() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: measure <report-file> <command> [arguments...]\n");
        return 1;
    }
    const double start = now();
    const pid_t child = fork();
    if (child < 0) {
        std::fprintf(stderr, "measure: cannot fork: %s\n", std::strerror(errno));
        return 1;
    }
    if (child == 0) {
        execvp(argv[2], argv + 2);
        std::fprintf(stderr, "measure: cannot run %s: %s\n", argv[2], std::strerror(errno));
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    while (wait4(child, &status, 0, &usage) < 0) {
        if (errno != EINTR) {
            std::fprintf(stderr, "measure: wait failed: %s\n", std::strerror(errno));
            return 1;
        }
    }
    const double wall = now() - start;
    const int exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);

    std::FILE* report = std::fopen(argv[1], "w");
    if (report == nullptr) {
        std::fprintf(stderr, "measure: cannot write %s: %s\n", argv[1], std::strerror(errno));
        return 1;
    }
    std::fprintf(report, "%d %.4f %.4f %ld\n", exitStatus, wall,
                 seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_maxrss);
    std::fclose(report);
    return 0;
}
