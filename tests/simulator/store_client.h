// SPDX-License-Identifier: MIT
// store_client.h - a client of the store in a story that says what it likes, well-formed or not.
#pragma once

#include "store/wire.h"
#include "store_process.h"

struct raw_client {
    int fd = -1;
    wire_buffer in;
    uint64_t last_id = 0;
};

raw_client raw_connect(void); // says nothing yet
raw_client raw_connect_as(const char *name);
void raw_close(raw_client &client);

// Sends a request of this kind; its id. The bytes are all taken before it returns.
uint64_t raw_ask(raw_client &client, wire_kind kind, const std::string &space, const std::string &key,
                 const wire_value &value = {});
void raw_send_bytes(raw_client &client, const std::string &bytes);

// The next message, within 20 s; false: the service has closed the connection, or the time is over.
bool raw_receive(raw_client &client, wire_message &message);

// The status that the service answers with; notifications that come first are dropped.
wire_status raw_answer(raw_client &client, uint64_t id);

// raw_ask and raw_answer.
wire_status raw_do(raw_client &client, wire_kind kind, const std::string &space, const std::string &key,
                   const wire_value &value = {});

// The text that the service has for the key; "(nothing)" without one.
std::string raw_get(raw_client &client, const std::string &space, const std::string &key);

bool raw_is_closed(raw_client &client); // waits for it

wire_value text_value(const std::string &text);
