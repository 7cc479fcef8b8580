// SPDX-License-Identifier: MIT
#include "ctl/execute.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

void execute(const std::vector<std::string> &line)
{
    std::vector<char *> arguments;
    arguments.reserve(line.size() + 1);
    for (const std::string &word : line)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
}

int execute_and_listen(const std::vector<std::string> &line, std::string &words)
{
    int ends[2];
    if (pipe(ends) != 0)
        return -1;
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        close(ends[1]);
        execute(line);
        dprintf(STDERR_FILENO, "%s: %s", line[0].c_str(), strerror(errno));
        _exit(127);
    }
    close(ends[1]);
    char buffer[4096];
    ssize_t count = 0;
    while ((count = read(ends[0], buffer, sizeof(buffer))) > 0 || (count < 0 && errno == EINTR))
        words.append(buffer, static_cast<size_t>(count > 0 ? count : 0));
    close(ends[0]);
    int status = -1;
    while (pid > 0 && waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}
