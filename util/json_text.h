// SPDX-License-Identifier: MIT
// json_text.h - a JSON text together with the object that it stands for, so that a message is parsed once.
//
// A function that looks into a message takes a const json_text &. A caller that has only the text passes the
// text; one that has parsed it already passes both, and nothing is parsed again.
#pragma once

#include "util/guards.h"

struct json_text {
    // Parses text. NULL or bad text: object is NULL.
    json_text(const char *message) // NOLINT(google-explicit-constructor): passing a plain text is the point
        : text(message), owned(message ? json_tokener_parse(message) : nullptr), object(owned.get())
    {
    }

    // Borrows what has been parsed from message.
    json_text(const char *message, json_object *parsed) : text(message), object(parsed) {}

    const char *text;
    json_ptr owned;
    json_object *object;
};
