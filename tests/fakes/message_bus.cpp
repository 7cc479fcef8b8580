// SPDX-License-Identifier: MIT
// libwrax and libwraxev.
#include "fakes/message_bus.h"
#include "fakes/failing.h"
#include "fakes/record.h"

#include <cerrno>
#include <deque>
#include <set>

constexpr int event_left = 1;

struct subscription {
    wrax_rcv_handler handler;
    void *argument;
};

struct wrax_rcv {
    subscription subscriptions[4];
    bool abandoned; // the player's leaving was told
};

struct bus_event {
    int event;
    std::string message;
};

bus_fakes bus;

static std::set<wrax_rcv *> receivers;
static wrax_rcv *latest;
static std::vector<bus_message> messages;
static std::deque<bus_event> waiting;
static int sends_until_failure;
static int last_result;

void bus_reset()
{
    bus = bus_fakes();
    messages.clear();
    waiting.clear();
    sends_until_failure = 0;
    last_result = 0;
}

std::vector<bus_message> bus_messages()
{
    return messages;
}

std::vector<std::string> bus_texts()
{
    std::vector<std::string> all;
    all.reserve(messages.size());
    for (const bus_message &each : messages)
        all.push_back(each.bytes);
    return all;
}

void bus_forgets_messages()
{
    messages.clear();
}

void bus_send_fails(int nth)
{
    sends_until_failure = nth;
}

int bus_receivers()
{
    return static_cast<int>(receivers.size());
}

const wrax_rcv *bus_receiver()
{
    return latest;
}

void bus_player_connects()
{
    waiting.push_back({ 0, "" });
}

void bus_player_leaves()
{
    waiting.push_back({ event_left, "" });
}

void bus_player_says(const std::string &header, const std::string &text)
{
    EXPECT_EQ(header.size(), 12U);
    waiting.push_back({ 3, header + text });
}

int bus_last_result()
{
    return last_result;
}

int wrax_rcv_global_init(void)
{
    record_call("wrax_rcv_global_init()");
    return call_is_to_fail() ? -1 : 0;
}

void wrax_rcv_global_exit(void)
{
    record_call("wrax_rcv_global_exit()");
}

wrax_rcv *wrax_rcv_create(const char *path)
{
    record_call("wrax_rcv_create(%s)", quoted(path).c_str());
    if (bus.create_fails || call_is_to_fail())
        return nullptr;
    latest = new wrax_rcv();
    receivers.insert(latest);
    return latest;
}

int wrax_rcv_event(wrax_rcv *receiver, int event, wrax_rcv_handler handler, void *argument)
{
    record_call("wrax_rcv_event(%d, %s, %s)", event, handler == nullptr ? "none" : "yes",
                argument == nullptr ? "null" : "something");
    if (call_is_to_fail())
        return -1;
    receiver->subscriptions[event] = { handler, argument };
    return 0;
}

int wrax_rcv_start(wrax_rcv *)
{
    record_call("wrax_rcv_start()");
    return bus.player_listens && !call_is_to_fail() ? 0 : -1;
}

int wrax_rcv_fd(wrax_rcv *)
{
    record_call("wrax_rcv_fd()");
    return call_is_to_fail() ? -1 : bus.fd;
}

static int fail(int error)
{
    errno = error;
    return -1;
}

int wrax_rcv_poll(wrax_rcv *receiver)
{
    record_call("wrax_rcv_poll()");
    if (receiver->abandoned)
        return fail(ENOTCONN);
    if (call_is_to_fail())
        return fail(EIO);
    while (!waiting.empty()) {
        bus_event now = waiting.front();
        waiting.pop_front();
        receiver->abandoned = now.event == event_left;
        subscription &subscribed = receiver->subscriptions[now.event];
        last_result = subscribed.handler(receiver, now.message.c_str(), subscribed.argument);
    }
    if (bus.poll_result < 0 && bus.poll_errno)
        errno = *bus.poll_errno;
    return bus.poll_result;
}

// A short message is shown, a long one only measured.
static std::string shown(const std::string &bytes)
{
    return bytes.size() <= 16 ? quoted(bytes.c_str()) : "...";
}

int wrax_rcv_send_message(wrax_rcv *receiver, const void *bytes, int length)
{
    EXPECT_TRUE(receivers.contains(receiver));
    std::string copy(static_cast<const char *>(bytes), static_cast<size_t>(length));
    record_call("wrax_rcv_send_message(%s, %d)", shown(copy).c_str(), length);
    if (bus.on_send)
        bus.on_send();
    if (call_is_to_fail() || (sends_until_failure > 0 && --sends_until_failure == 0))
        return fail(EPIPE);
    messages.push_back({ copy, bytes });
    return bus.send_result;
}

void wrax_rcv_destroy(wrax_rcv *receiver)
{
    record_call("wrax_rcv_destroy()");
    EXPECT_EQ(receivers.erase(receiver), 1U) << "destroyed twice";
    delete receiver;
}
