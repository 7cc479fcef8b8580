// SPDX-License-Identifier: MIT
#include "core/events.h"

#include "core/kit.h"
#include "handlers/maintenance.h"
#include "libkivo_util.h"
#include "store/selvar_nvram.h"

#include <cstdio>

int32_t motor_seq = 0;

enum event_code { event_key = 1, event_motor_stop = 2, event_motor_update = 3 };

constexpr int32_t motor_seq_end = 100;

static int32_t next_motor_seq(void)
{
    auto seq = shared(motor_seq);
    int32_t old = seq.load();
    int32_t next = 0;
    do
        next = old + 1 == motor_seq_end ? 0 : old + 1;
    while (!seq.compare_exchange_weak(old, next));
    return next;
}

static void on_key(const int *state)
{
    log_info("event callback key: %d\n", *state);
    if (*state == 1) {
        log_debug("key press!\n");
        shared(kit.key_press_time).store(time_monotonic());
        run_log2tf();
    } else if (*state == 0) {
        log_debug("key release!\n");
        shared(kit.key_press_time).store(0);
    }
}

static void publish_position(int state, int h, int v, int32_t seq)
{
    int index = shared(av_index).load();
    if (index < 0) {
        log_warning("av index (%d) illegal\n", index);
        return;
    }
    char text[64];
    snprintf(text, sizeof text, "[%d,%d,%d,%d,%d]", index, state, h, v, seq);
    selvar_mem_set_string("motor_position", text, 0);
}

static void publish_time(void)
{
    uint64_t now = time_realtime_ms();
    shared(motor_time).store(static_cast<int64_t>(now));
    selvar_mem_set_uint64("time_motor", now);
}

static void on_motor_stop(const char *text, int32_t seq)
{
    log_debug("event callback motor stop: %s\n", text);
    int h = shared(motor_position_h).load();
    int v = shared(motor_position_v).load();
    int numbers = sscanf(text, "[%d,%d]", &h, &v);
    kit_position_read(numbers, h, v);
    selvar_nvram_set_string("motor", text, 0);
    selvar_nvram_sync();
    publish_position(0, h, v, seq);
    publish_time();
}

static void on_motor_update(const char *text, int32_t seq)
{
    log_debug("event callback motor update: %s\n", text);
    int state = 0;
    int h = shared(motor_position_h).load();
    int v = shared(motor_position_v).load();
    int numbers = sscanf(text, "[%d,%d,%d]", &state, &h, &v) - 1;
    kit_position_read(numbers, h, v);
    publish_position(state, h, v, seq);
    publish_time();
}

void device_event_callback(int event, void *param)
{
    int32_t seq = next_motor_seq();
    if (!param) {
        log_warning("device event callback param is null!\n");
        return;
    }
    switch (event) {
    case event_key:
        on_key(static_cast<const int *>(param));
        break;
    case event_motor_stop:
        on_motor_stop(static_cast<const char *>(param), seq);
        break;
    case event_motor_update:
        on_motor_update(static_cast<const char *>(param), seq);
        break;
    default:
        log_warning("device event callback unknown event:%d!\n", event);
    }
}
