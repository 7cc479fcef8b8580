// SPDX-License-Identifier: MIT
#include "core/loop.h"

#include "core/camwarden.h"
#include "core/otd_link.h"
#include "core/pollset.h"
#include "core/tick.h"
#include "libkivo_util.h"

#include <csignal>
#include <cstdio>
#include <ctime>
#include <unistd.h>

constexpr timespec wait_time = { 0, 100 * 1000 * 1000 };

void loop_block_sigint(void)
{
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);
}

static sigset_t open_mask(void)
{
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    sigdelset(&mask, SIGINT);
    return mask;
}

// A ppoll that finds something ready delivers no signal: under steady traffic an interrupt would wait for
// ever.
static void serve_pending_sigint(const sigset_t &open)
{
    sigset_t pending;
    sigpending(&pending);
    if (sigismember(&pending, SIGINT) == 1)
        sigsuspend(&open);
}

// The record is asked anew for each entry: handling one may have closed another.
static void handle_readable(int fd)
{
    if (fd == kit.otd_sock)
        otd_recv_handler(fd);
    else if (fd == kit.timer_fd)
        tick_handler(fd);
    else if (fd == kit.mc_fd)
        selvar_close_retry();
    else if (fd == kit.sound_fd)
        sound_close_retry();
}

static void handle_broken(int index, int fd, short revents)
{
    log_warning("POLLNVAL | POLLHUP | POLLERR fd: pollfds[%d]: %d, revents: 0x%08x\n", index, fd,
                static_cast<unsigned>(static_cast<int>(revents)));
    if (fd == kit.otd_sock) {
        otd_close();
    } else if (fd == kit.sound_fd) {
        sound_close();
    } else if (fd == kit.mc_fd) {
        selvar_close();
    } else {
        close(fd);
        pollset_remove(fd);
    }
}

static bool handle_entry(int index)
{
    int fd = kit.pollfds[index].fd;
    short revents = kit.pollfds[index].revents;
    if (revents & POLLIN) {
        handle_readable(fd);
        return true;
    }
    if (revents & POLLOUT) {
        if (fd == kit.otd_sock)
            log_info("POLLOUT fd: %d\n", fd);
        return true;
    }
    if (revents & (POLLERR | POLLHUP | POLLNVAL)) {
        handle_broken(index, fd, revents);
        return true;
    }
    return false;
}

void loop_run(void)
{
    const sigset_t open = open_mask();
    while (kit.exiting != 1) {
        serve_pending_sigint(open);
        int ready = ppoll(kit.pollfds, static_cast<nfds_t>(kit.nfds), &wait_time, &open);
        if (ready < 0) {
            perror("poll");
            return;
        }
        for (int i = 0; i < kit.nfds && ready > 0; i++)
            if (handle_entry(i))
                ready--;
    }
}
