// SPDX-License-Identifier: MIT
// wire.h - what the store service and its client libraries say to each other on $CAMERA_RUN/store.
//
// A frame is its length, a fixed head, and three texts: space, key, value. Numbers are in the machine's
// own order, since both ends run on one machine. A client that says hello, with its name as the key, may
// write and watch, and the journal tells of it; one that does not may only get. Requests are answered in
// order, each with a frame of the same kind and id. A set, an unset or a reset is answered first and notified
// then, the setter included.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

constexpr size_t wire_key_max = 1024;          // bytes of a key
constexpr size_t wire_value_max = 1024 * 1024; // bytes of a value

enum class wire_kind : uint8_t { // of a reply also what xresponse_message_type gives
    hello = 1,
    get = 2,
    set = 3,
    unset = 4,
    watch = 5,
    unwatch = 6,
    other = 7, // value: the command
    sync = 8,
    notification = 9 // id: that of the watch it belongs to
};

enum class wire_status : uint8_t {
    done = 0,
    no_space,    // neither nvram nor mem
    bad_key,     // empty, too long or with a NUL
    bad_value,   // of no known type, too long, or no number
    no_value,    // nothing to get
    no_command,  // other than "reset", or a reset of mem
    too_many,    // keys watched by one client
    not_written, // the database refused it
    not_known,   // a client that has not said hello
    timed_out    // never sent: what a client library makes of a missing reply
};

enum class wire_type : uint8_t { none = 0, text = 1, number = 5 };

struct wire_value {
    wire_type type = wire_type::none;
    std::string text; // any bytes; of a number its decimal digits
};

struct wire_message {
    wire_kind kind = wire_kind::hello;
    wire_status status = wire_status::done;
    uint64_t id = 0;
    std::string space;
    std::string key;
    wire_value value;
};

// Bytes on their way: appended at the end, taken from the front.
struct wire_buffer {
    std::string bytes;
    size_t taken = 0;
};

size_t wire_waiting(const wire_buffer &buffer); // bytes not yet taken

// Appends the message as a frame. False: its key or value is too long; nothing was appended.
bool wire_put(wire_buffer &buffer, const wire_message &message);

enum class wire_taken { message, nothing, malformed };

// Takes the next whole frame. Malformed: no later frame can be found, the connection is of no use any more.
wire_taken wire_take(wire_buffer &buffer, wire_message &message);

// Reads what has arrived on a non-blocking socket, about limit bytes at most. False: the peer has left.
bool wire_read(int fd, wire_buffer &in, size_t limit);

// Sends as much as the non-blocking socket takes. False: the peer has left.
bool wire_write(int fd, wire_buffer &out);

// A non-blocking, close-on-exec connection to the store of the run folder; -1 when nobody answers within a
// second.
int wire_connect();

// The number in decimal digits; false when text is anything else or does not fit.
bool wire_number(const std::string &text, uint64_t &number);

// A text of any bytes, or a number in its shortest decimal form, of the allowed length.
bool wire_value_is_sound(const wire_value &value);
