// SPDX-License-Identifier: MIT
// What "set_properties" and a pulled value do to a property.
#include "spec/cells.h"

#include "spec/set_properties.h"
#include "store/selvar_nvram.h"
#include "util/json_verify.h"
#include "util/text.h"

constexpr int32_t flipped_degrees = 180;
constexpr size_t decimal_size = 12;
constexpr size_t decimal3_size = 3 + 1;
constexpr int text_type = 1; // of the store

static int take_number(spec_request &request)
{
    return json_verify_get_int(spec_element_text(request.element), "value", &request.number);
}

static void take_flag(spec_request &request)
{
    json_verify_get_boolean(spec_element_text(request.element), "value", &request.flag);
}

// Stays empty for a value that is no text.
static int take_text(spec_request &request)
{
    return json_verify_get_string(spec_element_text(request.element), "value", request.text,
                                  sizeof request.text);
}

static void take_number_or_text(spec_request &request)
{
    if (take_number(request) != 0 && take_text(request) == 0)
        request.number = atoi(request.text);
}

static const char *on_off(bool on)
{
    return on ? "on" : "off";
}

static void store(const spec_property &row, const char *value)
{
    auto set = row.place == spec_place::nvram ? selvar_nvram_set_string : selvar_mem_set_string;
    set(row.key, value, 1);
}

void call_on_off(const spec_property &row, spec_request &request)
{
    take_flag(request);
    spec_set_rpc(request.id, row.method, on_off(request.flag), spec_rpc_text);
}

void call_flip(const spec_property &row, spec_request &request)
{
    take_number(request);
    spec_set_rpc(request.id, row.method, on_off(request.number == flipped_degrees), spec_rpc_text);
}

// The holder keeps the swapped number.
void call_night_and_swap(const spec_property &row, spec_request &request)
{
    take_number(request);
    request.number = spec_night_swapped(request.number);
    char mode[decimal_size];
    snprintf(mode, sizeof mode, "%d", request.number);
    spec_set_rpc(request.id, row.method, mode, spec_rpc_number);
}

void call_record_mode(const spec_property &row, spec_request &request)
{
    static constexpr const char *modes[] = { "off", "on", "stop" };
    take_number(request);
    bool known = request.number >= 0 && request.number < static_cast<int32_t>(std::size(modes));
    spec_set_rpc(request.id, row.method, known ? modes[request.number] : "", spec_rpc_text);
}

void store_on_off(const spec_property &row, spec_request &request)
{
    take_flag(request);
    store(row, on_off(request.flag));
}

void store_decimal(const spec_property &row, spec_request &request)
{
    take_number(request);
    char decimal[decimal_size];
    snprintf(decimal, sizeof decimal, "%d", request.number);
    store(row, decimal);
}

static void store_three_characters(const spec_property &row, int32_t number)
{
    char decimal[decimal_size];
    snprintf(decimal, sizeof decimal, "%d", number);
    decimal[decimal3_size - 1] = '\0';
    store(row, decimal);
}

void store_decimal3(const spec_property &row, spec_request &request)
{
    take_number(request);
    store_three_characters(row, request.number);
}

void store_decimal3_or_text(const spec_property &row, spec_request &request)
{
    take_number_or_text(request);
    store_three_characters(row, request.number);
}

void store_region(const spec_property &row, spec_request &request)
{
    take_number(request);
    store(row, request.number != 0 ? spec_region_on : spec_region_off);
}

void store_text(const spec_property &row, spec_request &request)
{
    take_text(request);
    store(row, request.text);
}

void store_unlimited(const spec_property &row, spec_request &request)
{
    take_text(request);
    selvar_mem_set_unlimit_len(row.key, text_type, request.text);
}

void store_word_on_off(const spec_property &row, spec_request &request)
{
    take_text(request);
    if (text_equal(request.text, "true"))
        store(row, "on");
    else if (text_equal(request.text, "false"))
        store(row, "off");
}

void store_digit_region(const spec_property &row, spec_request &request)
{
    take_text(request);
    if (text_equal(request.text, "0"))
        store(row, spec_region_off);
    else if (text_equal(request.text, "1"))
        store(row, spec_region_on);
}
