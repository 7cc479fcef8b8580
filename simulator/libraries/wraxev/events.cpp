// SPDX-License-Identifier: MIT
#include "../wrax/receiver.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

static constexpr int event_connected = 0;
static constexpr int event_left = 1;
static constexpr int event_message = 3;

// In one poll: who is told more than anybody can hear still gets to its other work.
static constexpr int most_packets = 64;

static int fail(int error)
{
    errno = error;
    return -1;
}

int wrax_rcv_event(wrax_rcv *receiver, int event, wrax_rcv_handler handler, void *argument)
{
    if (receiver == nullptr || event < 0 || event >= wrax_event_count || event == 2)
        return fail(EINVAL);
    receiver->subscriptions[event] = { .handler = handler, .argument = argument };
    return 0;
}

int wrax_rcv_fd(wrax_rcv *receiver)
{
    return receiver == nullptr ? fail(EINVAL) : receiver->fd;
}

static void deliver(wrax_rcv *receiver, int event)
{
    const wrax_subscription &subscription = receiver->subscriptions[event];
    if (subscription.handler != nullptr)
        subscription.handler(receiver, receiver->message, subscription.argument);
}

static bool is_hello(const wrax_rcv *receiver, size_t size)
{
    return size == strlen(bus_hello) && memcmp(receiver->message, bus_hello, size) == 0;
}

// An event that comes without a message.
static void deliver_empty(wrax_rcv *receiver, int event)
{
    memset(receiver->message, 0, bus_header_size + 1);
    deliver(receiver, event);
}

static void take_packet(wrax_rcv *receiver, size_t size)
{
    if (!receiver->greeted) {
        receiver->greeted = is_hello(receiver, size);
        if (receiver->greeted)
            deliver_empty(receiver, event_connected);
        return;
    }
    // Whatever came, there is a header and an end of the text.
    if (size < bus_header_size)
        memset(receiver->message + size, 0, bus_header_size - size);
    receiver->message[std::max(size, bus_header_size)] = '\0';
    deliver(receiver, event_message);
}

// False: nothing more is there.
static bool take_event(wrax_rcv *receiver)
{
    const ssize_t size = recv(receiver->fd, receiver->message, bus_longest, MSG_DONTWAIT);
    if (size > 0) {
        take_packet(receiver, static_cast<size_t>(size));
        return true;
    }
    // A peer that left without reading all is told once as an error; what it sent before comes after that.
    if (size < 0 && (errno == EINTR || errno == ECONNRESET))
        return true;
    if (size < 0 && errno == EAGAIN)
        return false;
    receiver->gone = true;
    if (receiver->greeted)
        deliver_empty(receiver, event_left);
    return false;
}

int wrax_rcv_poll(wrax_rcv *receiver)
{
    if (receiver == nullptr)
        return fail(EINVAL);
    if (receiver->fd < 0)
        return fail(ENOTCONN);
    if (receiver->gone)
        return fail(ECONNRESET);
    for (int i = 0; i < most_packets && take_event(receiver); i++) {
    }
    // A player that ended before its hello never connected: its end is no event.
    return receiver->gone && !receiver->greeted ? fail(ECONNRESET) : 0;
}
