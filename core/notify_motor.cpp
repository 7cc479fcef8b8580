// SPDX-License-Identifier: MIT
#include "core/notify_motor.h"

#include "core/kit.h"
#include "handlers/motor_commands.h"
#include "libcam_warden.h"
#include "libkivo_util.h"
#include "motor/rotation.h"
#include "motor/rotation_channel.h"
#include "sound/sound.h"
#include "store/selvar_nvram.h"
#include "util/text.h"

#include <cstdint>
#include <cstdio>

constexpr int operation_empty = 6;
constexpr int operation_slide = 12;
constexpr int by_hand_below = 6; // these operations are a movement by hand
constexpr int slide_size = 128;

struct motor_step {
    int operation;
    int when_flipped;
    void (*log)(const char *format, ...);
    const char *failure; // the text goes by what was asked for, not by what the flipped motor did
};

// clang-format off
static constexpr motor_step motor_steps[] = {
    { 1, 2, log_err,   "left overflow\n" },
    { 2, 1, log_err,   "right overflow\n" },
    { 3, 4, log_debug, "up overflow\n" },
    { 4, 3, log_debug, "down overflow\n" },
};
// clang-format on

static void note_movement(void)
{
    sound_ban(); // nobody is to speak while the head turns
    shared(motor_time).store(static_cast<int64_t>(time_realtime_ms()));
    auto track_time = shared(kit.track_time);
    uint32_t started = track_time.load();
    if (started != 0) // unless the rotation ends at this moment
        track_time.compare_exchange_strong(started, time_monotonic());
}

static void run_step(const motor_step &step, char *position)
{
    int operation = shared(kit.flip).load() ? step.when_flipped : step.operation;
    if (torvu_motor_control(operation, position, motor_position_size) < 0)
        step.log("%s", step.failure);
}

static void run_operation(int operation)
{
    char position[motor_position_size] = {};
    for (const motor_step &step : motor_steps) {
        if (step.operation == operation) {
            run_step(step, position);
            return;
        }
    }
    if (operation == motor_reset) {
        log_debug("motor reset!\n");
        snprintf(position, sizeof position, "[%d,%d]", motor_centre, motor_centre);
        torvu_motor_control(motor_reset, position, motor_position_size);
    } else if (operation == operation_empty) {
        torvu_motor_control(operation_empty, position, motor_position_size);
    } else {
        log_err("%s: set_motor unknown operation:%d\n", "selvar_notify_handler", operation);
    }
}

void notify_motor_cmd(const char *value)
{
    int index = shared(av_index).load();
    int operation = -1;
    int third = -1;
    sscanf(value, "[%d,%d,%d]", &index, &operation, &third);
    shared(av_index).store(index);
    if (operation < 0 || third < 0) {
        log_err("motor msg error, [%d,%d]", operation, third);
        return;
    }
    if (operation < by_hand_below)
        note_movement();
    run_operation(operation);
}

void notify_motor(const char *value)
{
    char position[motor_position_size] = {};
    int h = shared(motor_position_h).load();
    int v = shared(motor_position_v).load();
    if (value) {
        int numbers = sscanf(value, "[%d,%d]", &h, &v);
        kit_position_read(numbers, h, v);
        log_debug("motor h:%d, v:%d\n", h, v);
        text_copy(position, sizeof position, value);
    } else {
        snprintf(position, sizeof position, "[%d,%d]", h, v);
    }
    if (!motor_reset_flag)
        return;
    log_debug("motor reset : %s!", position);
    torvu_motor_control(motor_reset, position, motor_position_size);
    motor_reset_flag = 0;
    selvar_mem_set_string("motor_reset", "1", 0);
}

void notify_motor_reset(const char *value)
{
    motor_reset_flag = text_equal(value, "1") ? 0 : 1;
    log_debug("motor_reset_flag: %d\n", motor_reset_flag);
}

void notify_track(const char *value)
{
    if (text_equal(value, "stop"))
        rotation_stop();
    else if (check_track_enable() == 1)
        rotation_start(value, false);
    else
        log_debug("check_track_enable failed!\n");
}

void notify_track_switch(const char *value)
{
    uint8_t on = text_equal(value, "on") ? 1 : 0;
    shared(kit.track_switch).store(on);
    if (on)
        motor_rotate_init();
    else
        motor_rotate_finish();
    log_debug("kit.track_switch: %d\n", on);
}

void notify_motor_slide_screen(const char *value)
{
    int index = shared(av_index).load();
    int operation = 0;
    char text[slide_size] = {};
    sscanf(value, "[%d,%d,%127s", &index, &operation, text);
    shared(av_index).store(index);
    if (operation != operation_slide) {
        log_err("motor_slide_screen:%d error\n", operation);
        return;
    }
    int x = 0;
    int y = 0;
    sscanf(text, "%d,%d", &x, &y);
    snprintf(text, sizeof text, "[%d,%d]", x, y);
    log_debug("motor_slide_screen buf:%s\n", text);
    torvu_motor_control(operation_slide, text, slide_size);
}
