// SPDX-License-Identifier: MIT
// The night mode and the motion-detection family.
#include "core/kit.h"
#include "handlers/properties.h"
#include "libkivo_util.h"
#include "store/selvar_nvram.h"
#include "util/json_verify.h"
#include "util/reply.h"
#include "util/text.h"

#include <cstdio>

constexpr uint32_t night_modes = 3;
constexpr int answer_size = 256;

// The first element that is a night mode, or -1.
static int first_night_mode(json_object *params)
{
    size_t count = json_object_array_length(params);
    for (size_t i = 0; i < count; i++) {
        int number = json_object_get_int(json_object_array_get_idx(params, i));
        if (static_cast<uint32_t>(number) < night_modes)
            return number;
    }
    return -1;
}

int night_mode_set(const json_text &msg, int32_t id, char *out, int outsize)
{
    if (refused_by_update())
        return -1;
    if (!msg.object) {
        log_warning("%s: Not in json format: %s\n", __func__, msg.text);
        return -1;
    }
    json_object *params = nullptr;
    if (!json_object_object_get_ex(msg.object, "params", &params)) {
        log_debug("params parse error.\n");
        return -1;
    }
    if (!json_object_is_type(params, json_type_array))
        return -1;

    auto room = static_cast<size_t>(outsize);
    int mode = first_night_mode(params);
    if (mode < 0) {
        reply_refusal(out, room, id, "unknown set val");
        return 0;
    }
    char text[12];
    snprintf(text, sizeof text, "%d", mode);
    selvar_nvram_set_string("night_mode", text, 0);
    reply_ok(out, room, id);
    return 0;
}

// One request of the family: params is an array, reply holds the id.
struct props_request {
    json_object *params;
    json_object *reply;
    char *out;
    size_t room;
};

static void store_text(const char *key, const char *value)
{
    selvar_nvram_set_string(key, value, 0);
    log_info("set %s %s ok!\n", key, value);
}

// An empty array and a null have no text: nothing is written, and that is no failure.
static int store_first(const char *key, const props_request &request)
{
    json_object *first = json_object_array_get_idx(request.params, 0);
    if (!first)
        return 0;
    const char *text = json_object_get_string(first);
    if (!text)
        return reply_no_memory(__func__);
    store_text(key, text);
    return 0;
}

static int store_all(const char *key, const props_request &request)
{
    const char *text = json_object_to_json_string_ext(request.params, reply_compact);
    if (!text)
        return reply_no_memory(__func__);
    store_text(key, text);
    return 0;
}

static int answer(const props_request &request, int flags)
{
    return reply_render(request.out, request.room, request.reply, flags) ? 0 : -1;
}

static int answer_one(const props_request &request)
{
    if (!json_add(request.reply, "result", json_ptr(json_object_new_int(1))))
        return reply_no_memory(__func__);
    return answer(request, reply_default);
}

// A text that is no array goes in all the same, as null when it is not even JSON.
static int add_prop(const props_request &request, const char *name)
{
    char text[answer_size];
    get_prop_value(name, text, sizeof text);
    json_ptr value(json_tokener_parse(text));
    if (!json_object_is_type(value.get(), json_type_array))
        log_err("%s: params json type error\n", "otd_set_props");
    if (json_object_object_add(request.reply, "result", value.get()) != 0)
        return reply_no_memory(__func__);
    static_cast<void>(value.release());
    return 0;
}

static int set_motion_record(const props_request &request)
{
    return store_first("motion_record", request) < 0 ? -1 : answer_one(request);
}

static int set_motion_alarm(const props_request &request)
{
    return store_all("motion_alarm", request) < 0 ? -1 : answer_one(request);
}

static int get_motion_alarm(const props_request &request)
{
    return add_prop(request, "motion_alarm") < 0 ? -1 : answer(request, reply_default);
}

static int set_motion_region(const props_request &request)
{
    return store_all("motion_region", request);
}

static int get_motion_region(const props_request &request)
{
    if (add_prop(request, "motion_region") < 0 || answer(request, reply_compact) < 0)
        return -1;
    log_debug("get_motion_region: %s\n", request.out);
    return 0;
}

static int set_motion_detection_enable(const props_request &request)
{
    return store_first("motion_detection_enable", request);
}

struct props_action {
    const char *key;
    int (*run)(const props_request &request);
};

// clang-format off
static constexpr props_action props_actions[] = {
    { "motion_record",           set_motion_record },
    { "motion_alarm",            set_motion_alarm },
    { "motion_alarm_get",        get_motion_alarm },
    { "get_motion_region",       get_motion_region },
    { "motion_region",           set_motion_region },
    { "motion_detection_enable", set_motion_detection_enable },
};
// clang-format on

int otd_set_props(const json_text &msg, int32_t id, char *out, int outsize, const char *key)
{
    if (!msg.text || !out)
        return -1;
    if (refused_by_update())
        return -1;
    json_object *params = nullptr;
    if (json_verify_params(msg, __func__, &params) != 0)
        return -1;
    if (!json_object_is_type(params, json_type_array)) {
        log_err("%s: params json type error\n", __func__);
        return -1;
    }
    json_ptr reply(json_object_new_object());
    if (!reply || !json_add(reply.get(), "id", json_ptr(json_object_new_int(id))))
        return reply_no_memory(__func__);
    props_request request = { params, reply.get(), out, static_cast<size_t>(outsize) };
    for (const props_action &action : props_actions)
        if (text_equal(action.key, key))
            return action.run(request);
    return 0;
}
