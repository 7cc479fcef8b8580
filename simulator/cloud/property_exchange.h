// SPDX-License-Identifier: MIT
// property_exchange.h - what the cloud asks of the camera's properties, hears of them, and believes of them.
#pragma once

#include "cloud/property_text.h"

#include <deque>

struct cloud;

// What the cloud knows of one property. A value that was kept stays until the camera reports another or the
// cloud sets one: what the camera answers to a read is older than that.
struct property_copy {
    json_ptr value;        // NULL: none is known
    const char *from = ""; // "reported", "read", "written", "kept"
    json_ptr reported;     // last, since the daemon connected or a check began; NULL: not
    bool was_read = false; // since then
    property_entry read;   // the answer
};

// A request to which no answer has come.
struct property_request {
    int64_t id = 0;
    bool writes = false;
    std::vector<property_number> numbers;
    std::vector<json_ptr> values; // that are written, as numbers
};

struct property_exchange {
    std::vector<property_copy> copies = std::vector<property_copy>(properties_table().size());
    std::deque<property_request> open; // oldest first
    bool changed = false;              // since the copies were saved
};

// NULL: not a property of the table.
property_copy *property_copy_of(cloud &self, property_number number);

// Believes it from now on. A property that is not in the table is passed over.
void property_take(cloud &self, property_number number, json_object *value, const char *from);

// Remembers a request that has been sent.
void property_expect(cloud &self, property_request request);

// Any message of the daemon.
void property_hear(cloud &self, const std::string &text);

// The daemon's question for the cloud's values.
void property_answer_pull(cloud &self, json_object *message);

// The daemon is gone, or a check begins: what was reported and read before does not count any more.
void property_begin_anew(cloud &self);

// {"property":"2.1","name":"power","value":true}; without a name for a property that is not in the table,
// without a value where there is none.
json_ptr property_named(property_number number, json_object *value);

// What the daemon reads at once; a message that does not fit is lost.
constexpr size_t daemon_window = 4096;
