// SPDX-License-Identifier: MIT
// stream.h - cuts the daemon's byte stream into JSON objects, which follow one another with nothing between
// them, and into what is none. A message about properties that is no JSON stays in one piece.
#pragma once

#include "common/json.h"

#include <optional>
#include <string>

struct stream_piece {
    std::string text; // the bytes as they came
    json_ptr object;  // NULL: the text is no JSON object
};

struct stream {
    std::string held; // arrived and not yet taken
};

// Takes the next piece; none: what is held is the start of an object, or empty. the_end: nothing more is
// coming, so a start of an object counts as no JSON.
std::optional<stream_piece> stream_take(stream &from, bool the_end);
