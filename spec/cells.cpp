// SPDX-License-Identifier: MIT
// What the engines and the cells share.
#include "spec/cells.h"

#include "util/json_verify.h"
#include "util/reply.h"

#include <cstring>

// The text of an element is wanted only for the line about one that is no JSON. That is a null alone: json-c
// has no object for it.
json_text spec_element_text(json_object *element)
{
    return json_text("null", element);
}

void spec_take_numbers(json_object *element, spec_numbers &numbers)
{
    json_text text = spec_element_text(element);
    json_verify_get_int(text, "siid", &numbers.siid);
    json_verify_get_int(text, "piid", &numbers.piid);
}

spec_pair spec_local(const spec_numbers &numbers)
{
    spec_pair local = {};
    spec_map_lookup(static_cast<uint32_t>(numbers.siid), static_cast<uint32_t>(numbers.piid), &local.siid,
                    &local.piid);
    return local;
}

size_t spec_element_count(json_object *elements)
{
    return json_object_is_type(elements, json_type_array) ? json_object_array_length(elements) : 0;
}

spec_pair spec_take_entry(json_object *element, spec_request &request)
{
    request.element = element;
    spec_take_numbers(element, request.numbers);
    memset(request.text, 0, sizeof request.text);
    return spec_local(request.numbers);
}

spec_json_string spec_make_json_string(const char *value)
{
    json_ptr object(json_object_new_string(value));
    const char *text = object ? json_object_to_json_string_ext(object.get(), reply_default) : nullptr;
    if (!text)
        reply_no_memory(__func__);
    return { std::move(object), text };
}

int32_t spec_night_swapped(int32_t night)
{
    if (night == 0)
        return 2;
    return night == 2 ? 0 : night;
}
