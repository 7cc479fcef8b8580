// SPDX-License-Identifier: MIT
#include "core/otd_route.h"

#include "core/dispatcher.h"
#include "core/kit.h"
#include "core/otd_link.h"
#include "libkivo_util.h"
#include "spec/get_properties.h"
#include "spec/pull.h"
#include "spec/set_properties.h"
#include "util/json_verify.h"
#include "util/text.h"

#include <cstring>

constexpr size_t params_size = 1024;
constexpr size_t did_size = 20;

static void get_properties(int32_t id, const json_text &msg, int)
{
    const spec_snapshot snapshot = {
        .power = shared(kit.power).load(),
        .flip = shared(kit.flip).load(),
        .wdr = kit.wdr,
        .color = kit.color,
        .watermark = kit.watermark,
        .track_switch = shared(kit.track_switch).load(),
        .light = kit.light,
        .night = kit.night,
        .motion_record = kit.motion_record,
        .card_status = kit.card_status,
    };
    nubo_spec_handle_get_properties(snapshot, id, msg);
}

// Served to whoever names this device in its parameters, and never seen by the dispatcher.
struct spec_method {
    const char *name;
    void (*run)(int32_t id, const json_text &msg, int length);
};

static constexpr spec_method spec_methods[] = {
    { "get_properties", get_properties },
    { "set_properties", nubo_spec_handle_set_properties },
};

int spec_did_match(const char *text, int)
{
    json_ptr parsed(json_tokener_parse(text));
    json_object *member = nullptr;
    if (!parsed || !json_object_object_get_ex(parsed.get(), "did", &member))
        return 0;
    const char *value = json_object_get_string(member);
    if (!value)
        return 0;
    char did[did_size];
    text_copy(did, sizeof did, value);
    log_debug("-------------->>>specdid : %s\n", did);
    return text_equal(did, g_did) ? 1 : 0;
}

static const spec_method *find_spec_method(const json_text &msg)
{
    for (const spec_method &method : spec_methods)
        if (json_verify_method_value(msg, "method", method.name, json_type_string) == 0)
            return &method;
    return nullptr;
}

// Also with id -1 while nothing was pulled, and with the 0 of a message that has no id: the number decides.
static void take_pull_answer(int32_t id, const json_text &msg)
{
    if (id != g_get_spec_id)
        return;
    g_get_spec_id = -1;
    json_object *result = nullptr;
    json_object *properties = nullptr;
    if (json_object_object_get_ex(msg.object, "result", &result) &&
        json_object_object_get_ex(result, "properties", &properties) && properties)
        get_param_from_spec_service_parse(properties);
}

static bool names_this_device(const json_text &msg)
{
    char params[params_size] = {};
    json_verify_get_array(msg, "params", params, sizeof params);
    return params[0] != '\0' && spec_did_match(params, static_cast<int>(strlen(params))) > 0;
}

bool otd_route(int sock, const json_text &msg, int length, int32_t *id)
{
    json_verify_get_int(msg, "id", id);
    take_pull_answer(*id, msg);
    last_rpc_id = *id;
    const spec_method *method = find_spec_method(msg);
    if (!method) {
        msg_dispatcher(msg, length, sock, 0);
        return true;
    }
    if (!names_this_device(msg)) {
        log_debug("nubo spec cmd did error");
        return false;
    }
    method->run(*id, msg, length);
    return true;
}

static char *copy_message(const char *start, size_t length)
{
    char *copy = static_cast<char *>(malloc(length + 1));
    if (!copy)
        return nullptr;
    memcpy(copy, start, length);
    copy[length] = '\0';
    return copy;
}

// One tokener serves block after block, since making one costs as much as a tenth of a request. Only after a
// parse that stopped half-way there is a new one: a reset leaves the first half of a surrogate pair in it,
// which the next block's first escape would be joined with.
static json_tokener *kept_tokener = nullptr;

// NULL: memory ran out.
static json_tokener *fresh_tokener(void)
{
    if (!kept_tokener)
        kept_tokener = json_tokener_new();
    if (kept_tokener)
        json_tokener_reset(kept_tokener);
    return kept_tokener;
}

static void forget_tokener(void)
{
    json_tokener_free(kept_tokener);
    kept_tokener = nullptr;
}

// The first value of the block decides whether it is JSON at all. It is parsed here once; only a block that
// fails, or holds less than one whole value, is looked at again the way that logs.
int otd_recv_handler_block(int sock, const char *data, int len)
{
    log_debug("%s(), sockfd: %d, msg: %.*s, length: %d bytes\n", __func__, sock, len, data, len);
    json_tokener *tokener = fresh_tokener();
    if (!tokener) {
        log_warning("%s(), malloc error\n", __func__);
        return -1;
    }
    int consumed = 0;
    int32_t id = 0; // kept from message to message
    while (consumed < len) {
        const char *start = data + consumed;
        int left = len - consumed;
        json_ptr value(json_tokener_parse_ex(tokener, start, left));
        if (!value) {
            forget_tokener();
            if (consumed == 0 && json_verify(data) != 0)
                return -1;
            log_warning("%s(), token parse error msg: %.*s, length: %d bytes\n", __func__, left, start, left);
            return consumed;
        }
        size_t length = json_tokener_get_parse_end(tokener);
        text_ptr copy(copy_message(start, length));
        if (!copy) {
            log_warning("%s(), malloc error\n", __func__);
            return -1;
        }
        if (!otd_route(sock, json_text(copy.get(), value.get()), static_cast<int>(length), &id))
            return -1;
        consumed += static_cast<int>(length);
    }
    return consumed;
}
