// SPDX-License-Identifier: MIT
// Every read has a connection of its own, which lives as long as the call: so it waits behind nothing, may be
// made from any thread, and finds a store that was started again.
#include "common/host_time.h"
#include "store/wire.h"

#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#pragma GCC visibility push(default)
#include "libselvar_share.h"
#pragma GCC visibility pop

constexpr int64_t patience_ms = 1000;
constexpr size_t read_max = 2 * wire_value_max;

// False: the time is over.
static bool wait_for(int fd, short events, int64_t until_ms)
{
    for (;;) {
        const int64_t left = until_ms - host_time_ms();
        if (left <= 0)
            return false;
        pollfd waiting = { fd, events, 0 };
        if (poll(&waiting, 1, static_cast<int>(left)) > 0)
            return true;
    }
}

static bool send_all(int fd, wire_buffer &out, int64_t until_ms)
{
    while (wire_write(fd, out)) {
        if (wire_waiting(out) == 0)
            return true;
        if (!wait_for(fd, POLLOUT, until_ms))
            return false;
    }
    return false;
}

static bool receive(int fd, wire_message &answer, int64_t until_ms)
{
    wire_buffer in;
    bool open = true;
    for (;;) {
        const wire_taken taken = wire_take(in, answer);
        if (taken != wire_taken::nothing)
            return taken == wire_taken::message;
        if (!open || !wait_for(fd, POLLIN, until_ms))
            return false;
        open = wire_read(fd, in, read_max);
    }
}

// A number comes as its decimal digits; a text with a NUL inside ends there for a reader of C strings.
static char *copy_of(const wire_value &value)
{
    char *copy = static_cast<char *>(malloc(value.text.size() + 1));
    if (copy)
        memcpy(copy, value.text.c_str(), value.text.size() + 1);
    return copy;
}

char *libselvar_config_get(int, const char *space, const char *group, const char *key)
{
    if (!space || !key || !group || strcmp(group, "default") != 0)
        return nullptr;
    wire_buffer out;
    wire_message answer;
    if (!wire_put(out, { .kind = wire_kind::get, .space = space, .key = key, .value = {} }))
        return nullptr;

    const int64_t until_ms = host_time_ms() + patience_ms;
    const int fd = wire_connect();
    if (fd < 0)
        return nullptr;
    const bool answered = send_all(fd, out, until_ms) && receive(fd, answer, until_ms);
    close(fd);
    return answered && answer.status == wire_status::done ? copy_of(answer.value) : nullptr;
}
