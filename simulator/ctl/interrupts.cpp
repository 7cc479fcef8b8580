// SPDX-License-Identifier: MIT
#include "ctl/interrupts.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

static constexpr int endings[] = { SIGINT, SIGTERM, SIGHUP };

static volatile sig_atomic_t count;
static volatile sig_atomic_t child; // that has not ended, 0: none

static void on_interrupt(int signal, siginfo_t *about, void *)
{
    const int error = errno;
    count = count + 1;
    if (about->si_code <= 0 && child > 0)
        kill(child, signal);
    errno = error;
}

void interrupts_watch(void)
{
    struct sigaction action = {};
    action.sa_sigaction = on_interrupt;
    action.sa_flags = SA_SIGINFO;
    for (const int signal : endings)
        sigaction(signal, &action, nullptr);
}

void interrupts_release(void)
{
    for (const int signal : endings)
        std::signal(signal, SIG_DFL);
}

int interrupts_count(void)
{
    return count;
}

pid_t interrupts_fork(void)
{
    sigset_t held;
    sigset_t before;
    sigemptyset(&held);
    for (const int signal : endings)
        sigaddset(&held, signal);
    sigprocmask(SIG_BLOCK, &held, &before);
    const pid_t pid = fork();
    if (pid == 0)
        interrupts_release();
    else
        child = pid;
    sigprocmask(SIG_SETMASK, &before, nullptr);
    return pid;
}

pid_t interrupts_wait(int &status)
{
    siginfo_t about = {};
    // First noticed, then forgotten, then reaped: its number is never another process's.
    while (waitid(P_ALL, 0, &about, WEXITED | WNOWAIT) != 0) {
        if (errno != EINTR)
            return -1;
    }
    if (about.si_pid == child)
        child = 0;
    return waitpid(about.si_pid, &status, 0);
}
