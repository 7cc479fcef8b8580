// SPDX-License-Identifier: MIT
// render.h - a line of the journal as a person reads it: time, who, what.
#pragma once

#include "common/json.h"

#include <string>

// "   3.204  store   nvram power = off  (by daemon)", without a line end whatever the texts hold.
std::string render_entry(json_object *entry);

// The same without time and who.
std::string render_what(json_object *entry);
