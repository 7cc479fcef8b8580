// SPDX-License-Identifier: MIT
#include "core/kit.h"
#include "handlers/properties.h"
#include "libkivo_util.h"
#include "util/reply.h"
#include "util/text.h"

#include <cstdio>

constexpr int answer_size = 32;

struct prop {
    const char *name;
    void (*answer)(char *buf, size_t size);
};

static void on_off(char *buf, size_t size, bool on)
{
    text_copy(buf, size, on ? "on" : "off");
}

static void decimal(char *buf, size_t size, int32_t number)
{
    snprintf(buf, size, "%d", number);
}

// Some flags are on only when they are 1, others when they are not 0; the difference is kept.
template <uint8_t kit_state::*field> static void when_one(char *buf, size_t size)
{
    on_off(buf, size, shared(kit.*field).load() == 1);
}

template <uint8_t kit_state::*field> static void when_not_zero(char *buf, size_t size)
{
    on_off(buf, size, shared(kit.*field).load() != 0);
}

template <int32_t kit_state::*field> static void number(char *buf, size_t size)
{
    decimal(buf, size, kit.*field);
}

static void record_mode(char *buf, size_t size)
{
    if (kit.motion_record == 2)
        text_copy(buf, size, "stop");
    else
        on_off(buf, size, kit.motion_record == 1);
}

static void alarm_text(char *buf, size_t size)
{
    text_copy(buf, size, motion_alarm_cfg);
}

static void region_text(char *buf, size_t size)
{
    text_copy(buf, size, motion_region_cfg);
}

static void mini_level_number(char *buf, size_t size)
{
    decimal(buf, size, mini_level);
}

// clang-format off
static constexpr prop props[] = {
    { "light",                   when_one<&kit_state::light> },
    { "power",                   when_one<&kit_state::power> },
    { "watermark",               when_one<&kit_state::watermark> },
    { "motion_detection_enable", when_one<&kit_state::motion_enable> },
    { "full_color",              when_one<&kit_state::color> },
    { "motion_record",           record_mode },
    { "wdr",                     when_not_zero<&kit_state::wdr> },
    { "flip",                    when_not_zero<&kit_state::flip> },
    { "sdcard_status",           number<&kit_state::card_status> },
    { "night_mode",              number<&kit_state::night> },
    { "motion_alarm",            alarm_text },
    { "motion_region",           region_text },
    { "mini_level",              mini_level_number },
    { "max_client",              number<&kit_state::max_client> },
    { "track",                   when_not_zero<&kit_state::tracking> },
    { "improve_program",         when_not_zero<&kit_state::improve_program> },
};
// clang-format on

int get_prop_value(const char *name, char *buf, int size)
{
    if (!name || !buf || size < 1) {
        log_err("parameter is null\n");
        return -1;
    }
    auto room = static_cast<size_t>(size);
    memset(buf, 0, room);
    for (const prop &row : props) {
        if (!text_equal(row.name, name))
            continue;
        row.answer(buf, room);
        return 0;
    }
    log_err("unknow key %s\n", name);
    text_copy(buf, room, "unknow");
    return -1;
}

static json_ptr answers_to(json_object *names)
{
    json_ptr answers(json_object_new_array());
    size_t count = json_object_array_length(names);
    for (size_t i = 0; answers && i < count; i++) {
        const char *name = json_object_get_string(json_object_array_get_idx(names, i));
        char value[answer_size] = {};
        get_prop_value(name, value, sizeof value);
        log_debug("props key:%s, value:%s!\n", name ? name : "(null)", value);
        json_object *answer = json_object_new_string(value);
        if (!answer || json_object_array_add(answers.get(), answer) != 0) {
            json_object_put(answer);
            return nullptr;
        }
    }
    return answers;
}

int otd_send_props(const json_text &msg, int32_t id, char *out, int outsize)
{
    if (!msg.text || !out)
        return -1;
    if (!msg.object) {
        log_err("%s: Not in json format: %s\n", __func__, msg.text);
        return -1;
    }
    json_object *params = nullptr;
    if (!json_object_object_get_ex(msg.object, "params", &params)) {
        log_err("%s: get props error\n", __func__);
        return -1;
    }
    if (!json_object_is_type(params, json_type_array)) {
        log_err("%s: params json type error\n", __func__);
        return -1;
    }
    json_ptr reply(json_object_new_object());
    if (!reply || !json_add(reply.get(), "id", json_ptr(json_object_new_int(id))) ||
        !json_add(reply.get(), "result", answers_to(params)))
        return reply_no_memory(__func__);
    return reply_render(out, static_cast<size_t>(outsize), reply.get(), reply_default) ? 0 : -1;
}
