#include "ChildProcess.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

namespace genstudies {

std::string ProcessEnd::describe() const {
    if (!started)
        return error;
    if (signal != 0)
        return "killed by signal " + std::to_string(signal);
    return "exit status " + std::to_string(status);
}

ProcessEnd runProcess(const std::vector<std::string>& args, const std::string& outFile,
                      const std::string& errFile) {
    ProcessEnd end;
    std::vector<char*> argv;
    for (const std::string& a : args)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_addopen(&actions, 2, errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        end.error = "cannot run " + args[0] + ": " + std::strerror(spawned);
        return end;
    }
    int wstatus = 0;
    pid_t waited = 0;
    do
        waited = waitpid(pid, &wstatus, 0);
    while (waited < 0 && errno == EINTR);
    if (waited < 0) {
        end.error = "cannot wait for " + args[0] + ": " + std::strerror(errno);
        return end;
    }
    end.started = true;
    if (WIFSIGNALED(wstatus))
        end.signal = WTERMSIG(wstatus);
    else
        end.status = WEXITSTATUS(wstatus);
    return end;
}

} // namespace genstudies
