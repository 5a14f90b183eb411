#include "support/child_process.h"

#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

namespace qsfp::test {

ChildResult run_in_child(const std::function<int()> &body) {
    int pipe_fds[2];
    if (pipe(pipe_fds) != 0) {
        return {-1, "pipe failed"};
    }
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        close(pipe_fds[0]);
        dup2(pipe_fds[1], STDERR_FILENO);
        const int code = body();
        std::fflush(nullptr);
        _exit(code);
    }
    close(pipe_fds[1]);
    ChildResult result{-1, {}};
    char buf[4096];
    for (ssize_t n; (n = read(pipe_fds[0], buf, sizeof buf)) > 0;) {
        result.err.append(buf, static_cast<std::size_t>(n));
    }
    close(pipe_fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status)) {
        result.exit_code = WEXITSTATUS(status);
    }
    return result;
}

}  // namespace qsfp::test
