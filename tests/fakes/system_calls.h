// SPDX-License-Identifier: MIT
// system_calls.h - the calls of libc that a unit test must not really make, or wants to steer. They take
// libc's place in every test program.
//
// Only recorded, never made: perror, settimeofday, kill, sync, system, usleep, sleep, execv, and popen unless
// a test asks for the real one. Recorded and made: close of the descriptors that a test names. Steered:
// socket, connect, timerfd_create, ppoll and poll.
#pragma once

#include "fakes/record.h"

#include <poll.h>

#include <csignal>

#include <cstdint>
#include <functional>

struct system_fakes {
    int settimeofday_result = 0; // -1 comes with settimeofday_errno
    int settimeofday_errno = 0;
    int system_result = 0;
    std::function<int(const char *)> on_system; // runs after a call of system has been recorded
    std::function<void(unsigned)> on_usleep;    // stands in for a usleep, which is then not recorded
    std::function<void(unsigned)> on_sleep;     // inside a sleep, after it has been recorded
    std::function<void()> on_perror;            // inside a perror, after it has been recorded

    bool popen_is_real = false;
    bool popen_fails = false;
    std::string popen_output; // what the command prints, when popen is not real

    bool timerfd_fails = false;
    bool socket_fails = false;
    int connect_port = 0; // where 127.0.0.1:54320 really leads; 0: nobody listens

    // Stands in for the wait of the loop when set: fills the returned events, gives the result.
    std::function<int(pollfd *, nfds_t, const timespec *, const sigset_t *)> on_poll;
};

extern system_fakes libc;

void system_reset();

// The wait itself, for a script that ends in it.
int real_ppoll(pollfd *entries, nfds_t count, const timespec *timeout, const sigset_t *mask);

// Really runs it: for what harms nobody.
int real_system(const char *command);

// From now on a close of fd is recorded.
void watch_close(int fd);

// "execv(/path)", with every argument, in order; also from a child that vfork made.
texts executed();
sigset_t executed_mask(); // the signals that the newest of them began with blocked
