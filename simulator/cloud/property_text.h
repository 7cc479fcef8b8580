// SPDX-License-Identifier: MIT
// property_text.h - reads what the daemon writes about properties: answers to reads and writes, and reports.
//
// That is not always JSON. Some texts stand in it with their quotes as they are, a property without an answer
// leaves nothing between two commas, and an entry ends after 999 characters wherever it is then.
#pragma once

#include "cloud/properties.h"

#include <cstdint>
#include <string>
#include <vector>

struct property_entry {
    bool empty = true; // nothing stands in its place
    property_number number = { 0, 0 };
    json_ptr value; // NULL: there is none
    int code = 0;
    bool tidy = true; // false: the entry is no JSON; value is then the text that stands there
};

enum class property_message_kind { none, answer, report };

struct property_message {
    property_message_kind kind = property_message_kind::none;
    int64_t id = 0;
    std::vector<property_entry> entries;
};

property_message property_read(const std::string &text);

// Whether an answer or report begins at start, and where it ends when it is no JSON; npos: its end has not
// come.
bool property_message_begins(const std::string &text, size_t start);
size_t property_message_end(const std::string &text, size_t start);
