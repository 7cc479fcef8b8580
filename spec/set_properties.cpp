// SPDX-License-Identifier: MIT
#include "spec/set_properties.h"

#include "libkivo_util.h"
#include "spec/cells.h"
#include "spec/service.h"
#include "util/growing_text.h"
#include "util/reply.h"
#include "util/send_text.h"
#include "util/text.h"

// Part of the log texts, whatever lines the calls stand on now.
constexpr int set_ack_line = 732;
constexpr int response_line = 165;
constexpr int rpc_line = 1323;

constexpr size_t rpc_size = 1000;

static bool add_head(growing_text &ack, int32_t id)
{
    return growing_text_print(ack, "{\"id\" : %d,\"result\" : [", id);
}

static bool add_entry(growing_text &ack, int32_t siid, int32_t piid)
{
    return growing_text_print(ack, "{\"did\" : \"%.20s\",\"siid\" : %d,\"piid\" : %d,\"code\" : 0}", spec_did,
                              siid, piid);
}

static int send_ack(const char *function, int line, const growing_text &ack)
{
    log_debug("[%s][%d]set properties ack : %s", function, line, ack.text.get());
    return send_text(spec_sock, ack.text.get());
}

int nubo_spec_response(int32_t id, int32_t siid, int32_t piid)
{
    growing_text ack;
    if (!add_head(ack, id) || !add_entry(ack, siid, piid) || !growing_text_add(ack, "]}"))
        return reply_no_memory(__func__);
    return send_ack(__func__, response_line, ack);
}

// False: memory ran out.
static bool make_ack(json_object *entries, int32_t id, growing_text &ack)
{
    if (!add_head(ack, id))
        return false;
    spec_numbers numbers;
    size_t count = spec_element_count(entries);
    for (size_t i = 0; i < count; i++) {
        spec_take_numbers(json_object_array_get_idx(entries, i), numbers);
        if (!add_entry(ack, numbers.siid, numbers.piid) || (i + 1 < count && !growing_text_add(ack, ",")))
            return false;
    }
    return growing_text_add(ack, "]}");
}

static void apply(json_object *element, spec_request &request)
{
    spec_pair local = spec_take_entry(element, request);
    const spec_service *service = spec_service_find(local);
    if (service && service->set_line)
        log_err("%s", service->set_line);
    const spec_property *row = spec_property_find(local);
    if (row && row->set.filled)
        row->set.run(*row, request);
}

// The first member with either name. False: there is none.
static bool find_entries(json_object *message, json_object **entries)
{
    if (!json_object_is_type(message, json_type_object))
        return false;
    json_object_iterator member = json_object_iter_begin(message);
    json_object_iterator end = json_object_iter_end(message);
    for (; !json_object_iter_equal(&member, &end); json_object_iter_next(&member)) {
        const char *name = json_object_iter_peek_name(&member);
        if (!text_equal(name, "params") && !text_equal(name, "properties"))
            continue;
        *entries = json_object_iter_peek_value(&member);
        return true;
    }
    return false;
}

void nubo_spec_handle_set_properties(int32_t id, const json_text &msg, int)
{
    json_object *entries = nullptr;
    if (!find_entries(msg.object, &entries))
        return;
    growing_text ack;
    if (!make_ack(entries, id, ack)) {
        reply_no_memory(__func__);
        return;
    }
    send_ack(__func__, set_ack_line, ack);

    spec_request request = { .id = id };
    size_t count = spec_element_count(entries);
    for (size_t i = 0; i < count; i++)
        apply(json_object_array_get_idx(entries, i), request);
}

int spec_set_rpc(int32_t id, const char *method, const char *parameter, int kind)
{
    char text[rpc_size] = {};
    if (kind == spec_rpc_text)
        snprintf(text, sizeof text, "{\"id\":%d,\"method\":\"%s\",\"params\":[\"%s\"]}", id, method,
                 parameter);
    else if (kind == spec_rpc_number)
        snprintf(text, sizeof text, "{\"id\":%d,\"method\":\"%s\",\"params\":[%d]}", id, method,
                 atoi(parameter));
    log_debug("[%s][%d]camwarden rpc : %s", __func__, rpc_line, text);
    if (!spec_rpc_dispatch)
        return -1;
    return spec_rpc_dispatch(text, static_cast<int>(strlen(text)), spec_sock, 1);
}
