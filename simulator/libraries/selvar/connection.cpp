// SPDX-License-Identifier: MIT
#include "handle.h"

#include "common/clock.h"
#include "common/host_time.h"
#include "common/run_folder.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

constexpr size_t read_max = 1024 * 1024;
constexpr size_t out_max = 64 * 1024 * 1024; // bytes that the service has not taken
constexpr int64_t close_patience_ms = 1000;

static bool add_to_set(selvar_handle *handle, int fd)
{
    epoll_event event = { .events = EPOLLIN, .data = { .fd = fd } };
    return fd >= 0 && epoll_ctl(handle->set, EPOLL_CTL_ADD, fd, &event) == 0;
}

static bool open_descriptors(selvar_handle *handle)
{
    handle->set = epoll_create1(EPOLL_CLOEXEC);
    handle->timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    handle->wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    return handle->set >= 0 && add_to_set(handle, handle->socket) && add_to_set(handle, handle->timer) &&
           add_to_set(handle, handle->wake);
}

static void close_descriptors(selvar_handle *handle)
{
    for (const int fd : { handle->set, handle->socket, handle->timer, handle->wake })
        if (fd >= 0)
            close(fd);
}

selvar_handle *connection_open()
{
    const int socket = wire_connect();
    if (socket < 0)
        return nullptr;
    auto *handle = new selvar_handle;
    handle->socket = socket;
    wire_message hello = { .kind = wire_kind::hello, .space = {}, .key = run_folder_who(), .value = {} };
    if (open_descriptors(handle) && connection_send(handle, hello))
        return handle;
    close_descriptors(handle);
    delete handle;
    return nullptr;
}

// A connection that is gone stays readable, so that its owner hears of it.
static void become_gone(selvar_handle *handle)
{
    handle->gone = true;
    handle->out = {};
    epoll_ctl(handle->set, EPOLL_CTL_DEL, handle->socket, nullptr);
}

static void take_in(selvar_handle *handle)
{
    const bool open = wire_read(handle->socket, handle->in, read_max);
    wire_message message;
    wire_taken taken = wire_taken::nothing;
    while ((taken = wire_take(handle->in, message)) == wire_taken::message)
        handle->arrived.push_back(std::move(message));
    if (!open || taken == wire_taken::malformed)
        become_gone(handle);
}

void connection_exchange(selvar_handle *handle)
{
    if (handle->gone)
        return;
    const bool open = wire_write(handle->socket, handle->out);
    take_in(handle); // also what it said before it went
    if (!open && !handle->gone)
        become_gone(handle);
}

bool connection_send(selvar_handle *handle, const wire_message &message)
{
    if (handle->gone || wire_waiting(handle->out) > out_max || !wire_put(handle->out, message))
        return false;
    // The service listens no more while many of its answers lie about: then they are taken in first.
    if (!wire_write(handle->socket, handle->out) || wire_waiting(handle->out) > 0)
        connection_exchange(handle);
    connection_rearm(handle);
    return !handle->gone;
}

void connection_wait(selvar_handle *handle, int host_ms)
{
    const bool wants_room = wire_waiting(handle->out) > 0;
    const short events = static_cast<short>(wants_room ? POLLIN | POLLOUT : POLLIN);
    pollfd waiting = { handle->socket, events, 0 };
    poll(&waiting, 1, host_ms);
}

void connection_free(selvar_handle *handle)
{
    int64_t until_ms = host_time_ms() + close_patience_ms;
    while (!handle->gone && wire_waiting(handle->out) > 0 && host_time_ms() < until_ms) {
        const size_t waiting = wire_waiting(handle->out);
        connection_wait(handle, static_cast<int>(close_patience_ms));
        connection_exchange(handle);
        handle->arrived.clear();
        if (wire_waiting(handle->out) < waiting)
            until_ms = host_time_ms() + close_patience_ms;
    }
    close_descriptors(handle);
    delete handle;
}

static void listen_for_room(selvar_handle *handle)
{
    const bool wanted = wire_waiting(handle->out) > 0;
    if (handle->gone || wanted == handle->listens_for_room)
        return;
    epoll_event event = { .events = EPOLLIN | (wanted ? EPOLLOUT : 0U), .data = { .fd = handle->socket } };
    epoll_ctl(handle->set, EPOLL_CTL_MOD, handle->socket, &event);
    handle->listens_for_room = wanted;
}

void connection_set_wake(selvar_handle *handle)
{
    const bool wanted = !handle->arrived.empty() || handle->gone;
    if (wanted == handle->awake)
        return;
    uint64_t count = 1;
    const ssize_t moved =
        wanted ? write(handle->wake, &count, sizeof count) : read(handle->wake, &count, sizeof count);
    handle->awake = moved > 0 ? wanted : handle->awake;
}

// The virtual clock may be stepped or stand still: so the timer rings at least once a second while something
// is expected.
static void set_timer(selvar_handle *handle)
{
    uint64_t rings = 0;
    if (read(handle->timer, &rings, sizeof rings) > 0)
        handle->armed_ns = 0;
    if (handle->deadlines.empty())
        return;
    const int64_t next_ns = handle->deadlines.begin()->first;
    if (handle->armed_ns != 0 && handle->armed_ns <= next_ns)
        return;
    const int wait_ms = clock_host_wait_ms(next_ns);
    itimerspec setting = {};
    setting.it_value.tv_sec = wait_ms / 1000;
    setting.it_value.tv_nsec = wait_ms % 1000 * 1000000L + 1; // a time of 0 would switch it off
    timerfd_settime(handle->timer, 0, &setting, nullptr);
    handle->armed_ns = next_ns;
}

void connection_rearm(selvar_handle *handle)
{
    listen_for_room(handle);
    set_timer(handle);
    connection_set_wake(handle);
}
