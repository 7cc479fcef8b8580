// SPDX-License-Identifier: MIT
#include "spec/get_properties.h"

#include "libkivo_util.h"
#include "spec/cells.h"
#include "spec/service.h"
#include "util/growing_text.h"
#include "util/reply.h"
#include "util/send_text.h"

static void answer_without_cell(spec_pair local, spec_get &get)
{
    const spec_service *service = spec_service_find(local);
    if (service && service->refuses)
        spec_entry_no_such(get);
}

static void answer(json_object *element, spec_get &get)
{
    get.entry[0] = '\0';
    spec_take_numbers(element, get.numbers);
    spec_pair local = spec_local(get.numbers);
    const spec_property *row = spec_property_find(local);
    if (row && row->get.filled)
        row->get.run(*row, get);
    else
        answer_without_cell(local, get);
}

// False: memory ran out.
static bool make_reply(json_object *params, spec_get &get, int32_t id, growing_text &reply)
{
    if (!growing_text_print(reply, "{\"id\" : %d,\"result\" : [", id))
        return false;
    size_t count = spec_element_count(params);
    for (size_t i = 0; i < count; i++) {
        answer(json_object_array_get_idx(params, i), get);
        if (!growing_text_add(reply, get.entry) || (i + 1 < count && !growing_text_add(reply, ",")))
            return false;
    }
    return growing_text_add(reply, "]}");
}

void nubo_spec_handle_get_properties(const spec_snapshot &snapshot, int32_t id, const json_text &msg)
{
    json_object *params = nullptr;
    if (!json_object_object_get_ex(msg.object, "params", &params))
        return;
    spec_get get = { .snapshot = snapshot };
    growing_text reply;
    if (!make_reply(params, get, id, reply)) {
        reply_no_memory(__func__);
        return;
    }
    log_debug("[nubo_spec]<ack> %s", reply.text.get());
    send_text(spec_sock, reply.text.get());
}
