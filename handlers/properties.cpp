// SPDX-License-Identifier: MIT
#include "handlers/properties.h"

#include "core/kit.h"
#include "handlers/leds.h"
#include "libcam_warden.h"
#include "libkivo_util.h"
#include "store/selvar_nvram.h"
#include "util/json_verify.h"
#include "util/reply.h"
#include "util/send_text.h"
#include "util/text.h"

#include <cstdio>

constexpr size_t reply_size = 1024;
constexpr int value_size = 128;

void send_ok_reply(const json_text &msg)
{
    if (rpc_origin != 0)
        return;
    int32_t id = 0;
    json_verify_get_int(msg, "id", &id);
    char text[reply_size];
    reply_ok(text, sizeof text, id);
    send_text(kit.otd_sock, text);
}

int report_prop(const char *name, const char *value)
{
    char text[reply_size];
    snprintf(text, sizeof text, "{\"id\":%d,\"method\":\"props\",\"params\":{\"%s\":\"%s\"}}",
             generate_random_id(), name, value);
    log_debug("reportbuf: %s\n", text);
    return send_text(kit.otd_sock, text);
}

int report_power_status(const char *value)
{
    return report_prop("power", value);
}

bool refused_by_update(void)
{
    if (!kit.ota)
        return false;
    log_err("ota status:%d \n", kit.ota);
    return true;
}

static void wdr_changes(bool on)
{
    if (on && kit.wdr)
        log_debug("otd_set_wdr_process: WDR current is already enabled\n");
    if (!on && kit.wdr != 1)
        log_debug("otd_set_wdr_process: WDR current is already disabled\n");
    kit.wdr = on ? 1 : 0;
}

static void light_changes(bool on)
{
    if (shared(kit.power).load() != 1)
        return;
    leds_show(on ? led_pattern_name::light_call_on : led_pattern_name::light_off);
    if (on)
        torvu_led_setpriority(1);
}

// The setters that take "on" or "off" and differ only in these.
struct on_off_setting {
    const char *key;
    const char *stamp_key;    // a mem key that takes the time of the request, or NULL
    void (*changes)(bool on); // before the key is written, or NULL
};

static constexpr on_off_setting light = { "light", nullptr, light_changes };
static constexpr on_off_setting flip = { "flip", "time_flip", nullptr };
static constexpr on_off_setting wdr = { "wdr", "time_wdr", wdr_changes };
static constexpr on_off_setting watermark = { "watermark", nullptr, nullptr };
static constexpr on_off_setting full_color = { "full_color", nullptr, nullptr };
static constexpr on_off_setting improve_program = { "improve_program", nullptr, nullptr };

static void write_on_off(const on_off_setting &setting, const json_text &msg)
{
    char value[value_size] = {};
    json_verify_get_array(msg, "params", value, sizeof value);
    bool on = text_equal(value, "on");
    if (!on && !text_equal(value, "off"))
        return;
    if (setting.changes)
        setting.changes(on);
    selvar_nvram_set_string(setting.key, value, 0);
}

static int set_on_off(const on_off_setting &setting, const json_text &msg)
{
    log_debug("msg: %s\n", msg.text);
    send_ok_reply(msg);
    if (refused_by_update())
        return -1;
    if (setting.stamp_key)
        selvar_mem_set_uint64(setting.stamp_key, time_realtime_ms());
    write_on_off(setting, msg);
    return 0;
}

int set_light(int, const json_text &msg)
{
    return set_on_off(light, msg);
}

int set_flip(int, const json_text &msg)
{
    return set_on_off(flip, msg);
}

int set_watermark(int, const json_text &msg)
{
    return set_on_off(watermark, msg);
}

int set_wdr(int, const json_text &msg)
{
    return set_on_off(wdr, msg);
}

int set_full_color(int, const json_text &msg)
{
    return set_on_off(full_color, msg);
}

int set_improve_program(const json_text &msg)
{
    log_debug("msg: %s\n", msg.text);
    write_on_off(improve_program, msg);
    return 0;
}

static void power_becomes(const char *value)
{
    report_power_status(value);
    selvar_nvram_set_string("power", value, 0);
}

static void power_on(void)
{
    if (shared(kit.power).load() != 0)
        log_warning("otd_power_process: current is already normal status\n");
    power_becomes("on");
}

static void power_off(void)
{
    if (shared(kit.power).load() != 1)
        log_warning("otd_power_process: current is already sleep status\n");
    power_becomes("off");
}

// Only this one changes kit at once: a second toggle may come before the notification does.
static void power_toggle(void)
{
    if (shared(kit.power).load() != 1) {
        power_becomes("on");
        return;
    }
    power_becomes("off");
    shared(kit.power).store(0);
}

struct power_action {
    const char *value;
    void (*run)(void);
};

// clang-format off
static constexpr power_action power_actions[] = {
    { "on",     power_on },
    { "off",    power_off },
    { "toggle", power_toggle },
};
// clang-format on

int otd_power_process(int, const json_text &msg)
{
    log_debug("msg: %s\n", msg.text);
    if (kit.ota) {
        log_err("OTA status current is true, Could not set power status\n");
        return -1;
    }
    send_ok_reply(msg);
    char value[value_size] = {};
    json_verify_get_array(msg, "params", value, sizeof value);
    log_debug("[%s][%d] value = %s", __func__, __LINE__, value);
    if (value[0] == '\0') {
        json_verify_get_string(msg, "params", value, sizeof value);
        log_debug("[%s][%d]set_power params value : %s", __func__, __LINE__, value);
    }
    for (const power_action &action : power_actions)
        if (text_equal(action.value, value))
            action.run();
    return 0;
}
