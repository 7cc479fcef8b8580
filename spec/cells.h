// SPDX-License-Identifier: MIT
// cells.h - the cells of the property table, and the state that a message keeps while its entries are
// worked through. Only spec/ includes this. Main thread only.
//
// What one entry leaves behind for the next is a field here, and a function that changes it is called take or
// swap.
#pragma once

#include "spec/get_properties.h"
#include "spec/properties.h"
#include "util/json_text.h"

constexpr size_t spec_entry_size = 1000; // an entry and a text value, with the NUL

// The pair of the entry in hand as it was received; what it lacks is that of the entry before.
struct spec_numbers {
    int32_t siid = 0;
    int32_t piid = 0;
};

struct spec_get {
    spec_snapshot snapshot; // the request's own: reading the night mode changes it
    spec_numbers numbers = {};
    char entry[spec_entry_size] = {}; // cleared before each entry, cut when it is too long
};

// A set or a pull. A value that cannot be read as its row wants it leaves the holders as they are.
struct spec_request {
    int32_t id; // for the calls of the daemon's own methods
    json_object *element = nullptr;
    spec_numbers numbers = {};
    int32_t flag = 0;                // holder of booleans
    int32_t number = 0;              // holder of integers
    char text[spec_entry_size] = {}; // cleared before each entry
};

struct spec_change {
    int32_t id;
    spec_pair local;
    const char *value;
};

// An element of a request as the checks take it.
json_text spec_element_text(json_object *element);
void spec_take_numbers(json_object *element, spec_numbers &numbers);
spec_pair spec_local(const spec_numbers &numbers);

spec_pair spec_take_entry(json_object *element, spec_request &request); // makes it the entry in hand

// 0 for what is no array.
size_t spec_element_count(json_object *elements);

// A value in quotes and escaped. text is the object's own, NULL when memory ran out, which has been logged.
struct spec_json_string {
    json_ptr object;
    const char *text;
};
spec_json_string spec_make_json_string(const char *value);

int32_t spec_night_swapped(int32_t night); // 0 and 2 change places between the cloud and the camera

// get: what the entry becomes.
void spec_entry_text(spec_get &get, const char *value);
void spec_entry_number(spec_get &get, int32_t value);
void spec_entry_json(spec_get &get, const char *value);
void spec_entry_no_such(spec_get &get); // code -4003, logged

template <uint8_t spec_snapshot::*field> void get_flag(const spec_property &, spec_get &get)
{
    spec_entry_json(get, get.snapshot.*field ? "true" : "false");
}

template <int32_t spec_snapshot::*field> void get_field(const spec_property &, spec_get &get)
{
    spec_entry_number(get, get.snapshot.*field);
}

spec_get_cell get_did, get_version, get_flip, get_night_and_swap, get_sd_total, get_sd_free, get_sd_used;
spec_get_cell get_text, get_on_off, get_in, get_decimal, get_region;
spec_get_cell get_json_string; // escaped; what is read in place of an absent one goes in as it stands

// set: a call of the row's method.
spec_write_cell call_on_off, call_flip, call_night_and_swap, call_record_mode;

// set and pull: a write of the row's key. decimal3: at most three characters.
spec_write_cell store_on_off, store_decimal, store_region, store_text, store_unlimited, store_decimal3;
spec_write_cell store_decimal3_or_text; // the number, or what the text converts to
spec_write_cell store_word_on_off;      // the texts "true" and "false"; others are skipped
spec_write_cell store_digit_region;     // the texts "1" and "0"; others are skipped

spec_report_cell report_on_off, report_number, report_text, report_json_string, report_json, report_region;
spec_report_cell report_flip, report_night, report_record_mode, report_card_status, report_scene, report_in;
spec_report_cell report_sd_total, report_sd_free, report_sd_used;
