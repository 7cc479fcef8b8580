// SPDX-License-Identifier: MIT
// The night mode and the motion-detection family.
#include "core/kit.h"
#include "handlers/properties.h"
#include "libkivo_util.h"
#include "store/selvar_nvram.h"
#include "util/text.h"

#include <cstdio>

constexpr int compact = 4; // json-c's flag
constexpr uint32_t night_modes = 3;
constexpr int answer_size = 256;

static bool refused_by_update(void)
{
    if (!kit.ota)
        return false;
    log_err("ota status:%d \n", kit.ota);
    return true;
}

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
        snprintf(out, room, "{\"id\":%d,\"error\":{\"code\":-33020,\"message\":\"%s\"}}", id,
                 "unknown set val");
        return 0;
    }
    char text[12];
    snprintf(text, sizeof text, "%d", mode);
    selvar_nvram_set_string("night_mode", text, 0);
    snprintf(out, room, "{\"id\":%d,\"result\":[\"OK\"]}", id);
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
    if (!value)
        return;
    selvar_nvram_set_string(key, value, 0);
    log_info("set %s %s ok!\n", key, value);
}

static void store_first(const char *key, const props_request &request)
{
    store_text(key, json_object_get_string(json_object_array_get_idx(request.params, 0)));
}

static void store_all(const char *key, const props_request &request)
{
    store_text(key, json_object_to_json_string_ext(request.params, compact));
}

static void answer_one(const props_request &request)
{
    json_add(request.reply, "result", json_ptr(json_object_new_int(1)));
    snprintf(request.out, request.room, "%s", json_object_to_json_string(request.reply));
}

static void add_prop(const props_request &request, const char *name)
{
    char text[answer_size];
    get_prop_value(name, text, sizeof text);
    json_ptr value(json_tokener_parse(text));
    if (!json_object_is_type(value.get(), json_type_array))
        log_err("%s: params json type error\n", "otd_set_props");
    json_object_object_add(request.reply, "result", value.release());
}

static void set_motion_record(const props_request &request)
{
    store_first("motion_record", request);
    answer_one(request);
}

static void set_motion_alarm(const props_request &request)
{
    store_all("motion_alarm", request);
    answer_one(request);
}

static void get_motion_alarm(const props_request &request)
{
    add_prop(request, "motion_alarm");
    snprintf(request.out, request.room, "%s", json_object_to_json_string(request.reply));
}

static void set_motion_region(const props_request &request)
{
    store_all("motion_region", request);
}

static void get_motion_region(const props_request &request)
{
    add_prop(request, "motion_region");
    snprintf(request.out, request.room, "%s", json_object_to_json_string_ext(request.reply, compact));
    log_debug("get_motion_region: %s\n", request.out);
}

static void set_motion_detection_enable(const props_request &request)
{
    store_first("motion_detection_enable", request);
}

struct props_action {
    const char *key;
    void (*run)(const props_request &request);
};

static constexpr props_action props_actions[] = {
    {"motion_record",            set_motion_record          },
    { "motion_alarm",            set_motion_alarm           },
    { "motion_alarm_get",        get_motion_alarm           },
    { "get_motion_region",       get_motion_region          },
    { "motion_region",           set_motion_region          },
    { "motion_detection_enable", set_motion_detection_enable},
};

int otd_set_props(const json_text &msg, int32_t id, char *out, int outsize, const char *key)
{
    if (!msg.text || !out)
        return -1;
    if (refused_by_update())
        return -1;
    if (!msg.object) {
        log_err("%s: Not in json format: %s\n", __func__, msg.text);
        return -1;
    }
    json_object *params = nullptr;
    if (!json_object_object_get_ex(msg.object, "params", &params)) {
        log_err("%s: set_props error\n", __func__);
        return -1;
    }
    if (!json_object_is_type(params, json_type_array)) {
        log_err("%s: params json type error\n", __func__);
        return -1;
    }
    json_ptr reply(json_object_new_object());
    if (!reply || !json_add(reply.get(), "id", json_ptr(json_object_new_int(id))))
        return -1;
    props_request request = { params, reply.get(), out, static_cast<size_t>(outsize) };
    for (const props_action &action : props_actions)
        if (text_equal(action.key, key))
            action.run(request);
    return 0;
}
