// SPDX-License-Identifier: MIT
#include "fakes/children.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

// The daemon ends inside its SIGINT handler, allocations and all. That is safe, because the signal is open
// only where the loop waits, but ThreadSanitizer cannot know it.
extern "C" const char *__tsan_default_options()
{
    return "report_signal_unsafe=0";
}

static int report_fd = -1;

// The lines may hold anything but a NUL, so NUL ends each.
static void report_story()
{
    for (const std::string &line : story())
        if (write(report_fd, line.c_str(), line.size() + 1) < 0)
            return;
}

static texts split(const std::string &bytes)
{
    texts lines;
    for (size_t from = 0; from < bytes.size(); from = bytes.find('\0', from) + 1)
        lines.emplace_back(bytes.c_str() + from);
    return lines;
}

static std::string read_all(int fd)
{
    std::string text;
    char piece[4096];
    for (ssize_t count; (count = read(fd, piece, sizeof(piece))) > 0;)
        text.append(piece, static_cast<size_t>(count));
    return text;
}

[[noreturn]] static void be_the_child(int fd, const std::function<void()> &body)
{
    report_fd = fd;
    record_clear();
    std::atexit(report_story);
    body();
    exit(0);
}

child_result run_in_child(const std::function<void()> &body)
{
    int ends[2] = { -1, -1 };
    EXPECT_EQ(pipe(ends), 0);
    pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        be_the_child(ends[1], body);
    }
    close(ends[1]);
    child_result result = {};
    result.story = split(read_all(ends[0]));
    close(ends[0]);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    result.exited = WIFEXITED(status);
    result.exit_status = result.exited ? WEXITSTATUS(status) : WTERMSIG(status);
    return result;
}
