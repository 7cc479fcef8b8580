// SPDX-License-Identifier: MIT
#include "handlers/loud_sound.h"

#include "core/kit.h"
#include "libkivo_util.h"
#include "store/selvar_nvram.h"
#include "util/json_verify.h"
#include "util/reply.h"
#include "util/text.h"

#include <cstdio>

constexpr size_t reply_size = 1024;

static const char *const setting_keys[] = { "lsd_switch", "lsd_push", "lsd_sensity" };

// A null has no text and is not written.
static bool write_setting(const char *key, json_object *value)
{
    if (!value)
        return true;
    const char *text = json_object_get_string(value);
    if (text)
        selvar_nvram_set_string(key, text, 0);
    return text != nullptr;
}

static bool write_settings(json_object *settings)
{
    for (const char *key : setting_keys) {
        json_object *value = nullptr;
        if (json_object_object_get_ex(settings, key, &value) && !write_setting(key, value))
            return false;
    }
    return true;
}

static json_object *first_of(json_object *params)
{
    return json_object_is_type(params, json_type_array) ? json_object_array_get_idx(params, 0) : nullptr;
}

int otd_set_lsd_info(const json_text &msg, int32_t id, char *out, const char *method, int32_t *reply_flag)
{
    log_info("%s , msg:%s ... \n", __func__, msg.text);
    json_object *params = nullptr;
    if (json_verify_params(msg, __func__, &params) != 0) {
        *reply_flag = 0;
        return -1;
    }
    if (!text_equal(method, "set_lsd_config"))
        return 0;
    *reply_flag = 1;
    if (!write_settings(first_of(params))) {
        *reply_flag = 0;
        return reply_no_memory(__func__);
    }
    reply_ok(out, reply_size, id);
    return 0;
}

int otd_get_lsd_info(int32_t id, char *out)
{
    snprintf(out, reply_size,
             "{\"code\":0,\"id\":%d,\"result\":[{\"lsd_switch\":%d,\"lsd_push\":%d,\"lsd_sensity\":%d}]}", id,
             lsd_switch, lsd_push, lsd_sensity);
    log_info(">>>>ackbuf=%s\n", out);
    return 0;
}
