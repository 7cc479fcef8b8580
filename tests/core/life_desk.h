// SPDX-License-Identifier: MIT
// life_desk.h - a whole life of the daemon, from its start to its orderly end.
#pragma once

#include "core/camwarden.h"

#include "fakes/daemon_desk.h"

#include <signal.h>

// The first wait fails, unless a test writes another script.
struct life : kit_desk {
    life()
    {
        pthread_sigmask(SIG_BLOCK, nullptr, &mask_before);
        sigaction(SIGINT, nullptr, &interrupt_before);
        sigaction(SIGPIPE, nullptr, &pipe_before);
        platform.monotonic_s = 1001;
        libc.on_poll = [this](pollfd *, nfds_t, const timespec *, const sigset_t *) {
            running = kit;
            return -1;
        };
    }
    ~life() override
    {
        sigaction(SIGINT, &interrupt_before, nullptr);
        sigaction(SIGPIPE, &pipe_before, nullptr);
        pthread_sigmask(SIG_SETMASK, &mask_before, nullptr);
        selvar_nvram_exit();
    }

    kit_state running = {}; // as the loop found it
    sigset_t mask_before = {};
    struct sigaction interrupt_before = {};
    struct sigaction pipe_before = {};
};
