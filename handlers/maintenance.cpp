// SPDX-License-Identifier: MIT
#include "handlers/maintenance.h"

#include "core/kit.h"
#include "handlers/leds.h"
#include "libkivo_util.h"
#include "sound/prompts.h"
#include "sound/sound.h"
#include "store/selvar_nvram.h"
#include "util/children.h"
#include "util/guards.h"
#include "util/reply.h"
#include "util/send_text.h"

#include <syslog.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

static const char log2tf_path[] = "/mnt/data/bin/log2tf.sh";
static const char reboot_notice[] = "{\"method\":\"_internal.reboot\",\"params\":null}";
static_assert(sizeof reboot_notice - 1 == 43);

constexpr int restore_reply_room = 36; // what the OK needs with any id
constexpr size_t shell_output_size = 880;

// By the level that the cloud asks for.
static constexpr int syslog_priorities[] = { LOG_ERR, LOG_WARNING, LOG_INFO, LOG_DEBUG, LOG_DEBUG };

bool reboot_refused_by_update(void)
{
    if (!kit.ota)
        return false;
    log_err("device is otaing, don't allow reboot!\n");
    return true;
}

void kit_reboot(void)
{
    log_info("%s(), reset done and reboot 5s later...\n", __func__);
    if (reboot_refused_by_update())
        return;
    if (kit.otd_sock < 1)
        log_warning("%s(), otd_sock not ready: %d\n", __func__, kit.otd_sock);
    else
        send_text(kit.otd_sock, reboot_notice);
    shared(kit.rebooting).store(1);
    leds_show(led_pattern_name::reboot);
    sound_play(sound_prompt_name(sound_booting), sound_queued, language);
    kit.reboot_time = time_monotonic();
    run_log2tf();
}

static int restore_and_reboot(void)
{
    int result = selvar_nvram_restore();
    sound_play(sound_prompt_name(sound_reset_success), sound_queued, language);
    selvar_mem_set_string("dev_status", "reset", 0);
    kit_reboot();
    return result;
}

int reset_to_factory(void)
{
    return reboot_refused_by_update() ? -1 : restore_and_reboot();
}

int restore_handler(int32_t id, char *out, int outsize)
{
    if (reboot_refused_by_update())
        return -1;
    if (outsize >= restore_reply_room)
        reply_ok(out, static_cast<size_t>(outsize), id);
    else
        log_err("json string too long. %s, line %d\n", __FILE__, __LINE__);
    return restore_and_reboot();
}

void run_log2tf(void)
{
    log_info("Run: %s\n", log2tf_path);
    if (child_start(log2tf_path) != 0) {
        log_err("Can not run %s: %s\n", log2tf_path, strerror(errno));
        return;
    }
    log_info("This is the parent process\n");
}

static void collect_output(FILE *output, char *out, int outsize)
{
    size_t room = outsize > 0 ? static_cast<size_t>(outsize) - 1 : 0;
    char *line = nullptr;
    size_t line_size = 0;
    ssize_t got = 0;
    while ((got = getline(&line, &line_size, output)) > 0) {
        size_t length = static_cast<size_t>(got);
        bool too_long = length > room;
        if (too_long) {
            log_warning("outsize (%d) too small\n", outsize);
            length = room;
        }
        memcpy(out, line, length);
        out += length;
        room -= length;
        if (too_long)
            break;
    }
    if (outsize > 0)
        *out = '\0';
    free(line);
}

void run_cmd(const char *command, char *out, int outsize)
{
    log_debug("run cmd: %s\n", command);
    FILE *output = popen(command, "r");
    if (!output)
        return;
    if (out)
        collect_output(output, out, outsize);
    pclose(output);
}

int local_handler_shell(const json_text &msg, int32_t id, char *out, int outsize)
{
    if (!msg.object) {
        log_warning("%s: Not in json format: %s\n", __func__, msg.text);
        return -1;
    }
    json_object *params = nullptr;
    if (!json_object_object_get_ex(msg.object, "params", &params) ||
        !json_object_is_type(params, json_type_string))
        return -1;
    const char *command = json_object_get_string(params);
    log_debug("%s: shell cmd: %s\n", __func__, command);
    char output[shell_output_size] = {};
    run_cmd(command, output, sizeof output);
    reply_refusal(out, static_cast<size_t>(outsize), id, output);
    return 0;
}

int otd_set_loglevel(const json_text &msg)
{
    json_object *params = nullptr;
    json_object *wanted = nullptr;
    if (!json_object_object_get_ex(msg.object, "params", &params) ||
        !json_object_object_get_ex(params, "loglevel", &wanted))
        return -1;
    int level = json_object_get_int(wanted);
    if (static_cast<uint32_t>(level) >= std::size(syslog_priorities)) {
        log_err("get loglevel fail :%d\n", level);
        return -1;
    }
    log_set_syslog_level(syslog_priorities[level]);
    return 0;
}
