// SPDX-License-Identifier: MIT
#include "store_client.h"

#include <poll.h>

constexpr int patience_ms = 20000;

raw_client raw_connect(void)
{
    raw_client client;
    client.fd = wire_connect();
    EXPECT_GE(client.fd, 0);
    return client;
}

raw_client raw_connect_as(const char *name)
{
    raw_client client = raw_connect();
    raw_ask(client, wire_kind::hello, "", name);
    return client;
}

void raw_close(raw_client &client)
{
    close(client.fd);
    client = {};
}

void raw_send_bytes(raw_client &client, const std::string &bytes)
{
    wire_buffer out = { bytes, 0 };
    pollfd waiting = { client.fd, POLLOUT, 0 };
    while (wire_write(client.fd, out) && wire_waiting(out) > 0)
        ASSERT_EQ(poll(&waiting, 1, patience_ms), 1);
}

uint64_t raw_ask(raw_client &client, wire_kind kind, const std::string &space, const std::string &key,
                 const wire_value &value)
{
    wire_buffer frame;
    const wire_message request = { .kind = kind,
                                   .status = wire_status::done,
                                   .id = ++client.last_id,
                                   .space = space,
                                   .key = key,
                                   .value = value };
    EXPECT_TRUE(wire_put(frame, request));
    raw_send_bytes(client, frame.bytes);
    return request.id;
}

bool raw_receive(raw_client &client, wire_message &message)
{
    pollfd waiting = { client.fd, POLLIN, 0 };
    bool open = true;
    while (wire_take(client.in, message) != wire_taken::message) {
        if (!open || poll(&waiting, 1, patience_ms) != 1)
            return false;
        open = wire_read(client.fd, client.in, wire_value_max);
    }
    return true;
}

wire_status raw_answer(raw_client &client, uint64_t id)
{
    wire_message message;
    while (raw_receive(client, message))
        if (message.kind != wire_kind::notification && message.id == id)
            return message.status;
    ADD_FAILURE() << "the service did not answer";
    return wire_status::timed_out;
}

wire_status raw_do(raw_client &client, wire_kind kind, const std::string &space, const std::string &key,
                   const wire_value &value)
{
    return raw_answer(client, raw_ask(client, kind, space, key, value));
}

std::string raw_get(raw_client &client, const std::string &space, const std::string &key)
{
    wire_message message;
    const uint64_t id = raw_ask(client, wire_kind::get, space, key);
    while (raw_receive(client, message))
        if (message.kind == wire_kind::get && message.id == id)
            return message.status == wire_status::done ? message.value.text : "(nothing)";
    return "(no answer)";
}

bool raw_is_closed(raw_client &client)
{
    wire_message message;
    while (raw_receive(client, message)) {
    }
    pollfd waiting = { client.fd, POLLIN, 0 };
    char byte = 0;
    return poll(&waiting, 1, 0) == 1 && recv(client.fd, &byte, 1, MSG_DONTWAIT) <= 0;
}

wire_value text_value(const std::string &text)
{
    return { wire_type::text, text };
}
