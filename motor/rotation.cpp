// SPDX-License-Identifier: MIT
#include "motor/rotation.h"

#include "core/kit.h"
#include "handlers/motor_commands.h"
#include "libcam_warden.h"
#include "libkivo_util.h"
#include "util/text.h"

#include <cstdint>
#include <cstdio>

constexpr uint64_t settled_ms = 5000;
constexpr int degrees_length = -1; // how the device kit is told that the value is a number

// Operations of the device kit.
struct rotation_axis {
    int positive, negative;
};

static constexpr rotation_axis horizontal = { 7, 8 };
static constexpr rotation_axis vertical = { 9, 10 };

static std::atomic<int32_t> busy = 0;

static int32_t magnitude(int32_t degrees)
{
    if (degrees == INT32_MIN)
        return INT32_MAX;
    return degrees < 0 ? -degrees : degrees;
}

static void turn(const rotation_axis &axis, int32_t degrees)
{
    if (degrees == 0)
        return;
    bool flipped = shared(kit.flip).load() != 0;
    int operation = (degrees > 0) != flipped ? axis.positive : axis.negative;
    int32_t value = magnitude(degrees);
    torvu_motor_control(operation, &value, degrees_length);
}

// False: the daemon shuts down meanwhile, and nobody would end another turn.
static bool wait_for_rest(void)
{
    while (motor_running_dectect() != 0)
        if (shared(kit.exiting).load() != 0)
            return false;
    return true;
}

void rotation_start(const char *text, bool waits_for_rest)
{
    shared(kit.track_time).store(time_monotonic());
    shared(kit.tracking).store(1);
    int h = 0;
    int v = 0;
    int unused = 0;
    sscanf(text, "[%d,%d,%d]", &h, &v, &unused);
    log_debug("degree h:%d, v:%d\n", h, v);
    turn(horizontal, h);
    if (waits_for_rest && !wait_for_rest())
        return;
    turn(vertical, v);
    if (waits_for_rest)
        wait_for_rest();
}

void rotation_stop(void)
{
    // A clock that went back gives a huge difference: the movement was long ago.
    uint64_t moved = static_cast<uint64_t>(shared(motor_time).load());
    if (time_realtime_ms() - moved < settled_ms) {
        log_err("motor is moving , can't reset position.\n");
        return;
    }
    shared(kit.track_time).store(0);
    char position[motor_position_size] = {};
    snprintf(position, sizeof position, "[%d,%d]", shared(motor_position_h).load(),
             shared(motor_position_v).load());
    torvu_motor_control(motor_go_to, position, motor_position_size);
    shared(kit.tracking).store(0);
}

static void carry_out(const char *command)
{
    if (text_equal(command, "stop"))
        rotation_stop();
    else if (check_track_enable() == 1 && shared(kit.power).load() != 0)
        rotation_start(command, true);
    else
        log_debug("check_track_enable failed!\n");
}

void shm_message(int, const char *command)
{
    if (busy.exchange(1) != 0) {
        log_err("motor is already running ,drop this time rotate\n");
        return;
    }
    log_err("rotate = %s\n", command);
    carry_out(command);
    busy.store(0);
}
