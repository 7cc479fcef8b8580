// SPDX-License-Identifier: MIT
#include "handlers/motor_commands.h"

#include "core/kit.h"
#include "handlers/properties.h"
#include "libcam_warden.h"
#include "libkivo_util.h"
#include "store/selvar_nvram.h"
#include "util/reply.h"

#include <cstdio>
#include <cstring>

constexpr int64_t hands_off_ms = 5000; // tracking must not fight whoever has just moved the head

// One "set_motor" on its way.
struct motor_request {
    json_object *params;
    int32_t id;
    char *out;
    size_t room;
};

struct motor_row {
    int code;                                                       // as the app numbers it
    int (*run)(const motor_row &row, const motor_request &request); // 0, or -1 with a reply written
    int operation;                                                  // as the device kit numbers it
    const char *failure; // NULL: the device kit's result does not matter
};

static int refuse(const motor_request &request, const char *message)
{
    reply_refusal(request.out, request.room, request.id, message);
    return -1;
}

static int fail(const motor_row &row, const motor_request &request)
{
    reply_motor_failure(request.out, request.room, request.id, row.failure);
    return -1;
}

// The position that the device kit writes counts also when the step ran into the end of travel.
static int run_step(const motor_row &row, const motor_request &request)
{
    char position[motor_position_size + 1] = {};
    int result = torvu_motor_control(row.operation, position, motor_position_size);
    int h = 0;
    int v = 0;
    int numbers = sscanf(position, "[%d,%d]", &h, &v);
    kit_position_read(numbers, h, v);
    return result < 0 ? fail(row, request) : 0;
}

static int run_reset(const motor_row &row, const motor_request &request)
{
    char position[motor_position_size + 1] = {};
    snprintf(position, motor_position_size, "[%d,%d]", motor_centre, motor_centre);
    if (torvu_motor_control(row.operation, position, motor_position_size) < 0)
        return fail(row, request);
    kit_position_read(2, motor_centre, motor_centre);
    selvar_nvram_set_string("motor", position, 0);
    return 0;
}

// Where the head comes to rest is told by the device kit's events.
static int run_go_to(const motor_row &row, const motor_request &request)
{
    json_object *location = nullptr;
    if (!json_object_object_get_ex(request.params, "location", &location) || !location) {
        log_err("[%s:%d] Get position location is null", "otd_set_motor_process", __LINE__);
        return refuse(request, "location is NULL");
    }
    const char *text = json_object_get_string(location);
    if (!text) {
        refuse(request, "location is NULL");
        return reply_no_memory(__func__);
    }
    torvu_motor_control(row.operation, const_cast<char *>(text), static_cast<int>(strlen(text)));
    log_info("get motor position: %s\n", text);
    return 0;
}

// clang-format off
static constexpr motor_row motor_rows[] = {
    {  1, run_step,  1,           "left overflow" },
    {  2, run_step,  2,           "right overflow" },
    {  3, run_step,  3,           "up overflow" },
    {  4, run_step,  4,           "down overflow" },
    {  5, run_reset, motor_reset, "reset busying" },
    {  6, run_go_to, motor_go_to, nullptr },
    { 11, run_go_to, motor_go_to, nullptr },
};
// clang-format on

static int run_operation(int code, const motor_request &request)
{
    log_debug("%s: set_motor step: %d\n", "otd_set_motor_process", code);
    for (const motor_row &row : motor_rows)
        if (row.code == code)
            return row.run(row, request);
    log_err("%s: set_motor unknown operation:%d\n", "otd_set_motor_process", code);
    return refuse(request, "unknown operation");
}

int otd_set_motor_process(const json_text &msg, int32_t id, char *out, int outsize)
{
    motor_request request = { nullptr, id, out, static_cast<size_t>(outsize) };
    if (shared(kit.power).load() != 1) {
        log_err("Power status current is OFF, Could not set motor\n");
        return refuse(request, "power off");
    }
    if (!msg.object) {
        log_debug("%s: Not in json format: %s\n", __func__, msg.text);
        return refuse(request, "joson parse error");
    }
    if (!json_object_object_get_ex(msg.object, "params", &request.params))
        return refuse(request, "params is NULL");
    json_object *operation = nullptr;
    if (!json_object_object_get_ex(request.params, "operation", &operation))
        return refuse(request, "operation is NULL");
    if (!json_object_is_type(operation, json_type_int))
        return refuse(request, "operation type is wrong");
    if (run_operation(json_object_get_int(operation), request) < 0)
        return -1;
    snprintf(out, request.room, "{\"id\":%d,\"result\":[\"OK\"],\"params\":{\"angle\":%d,\"elevation\":%d}}",
             id, shared(motor_position_h).load(), shared(motor_position_v).load());
    return 0;
}

int check_track_enable(void)
{
    // Before the clock: a movement in between would look like one in the future.
    int64_t moved = shared(motor_time).load();
    uint64_t now = time_realtime_ms();
    if (shared(kit.track_switch).load() != 1) {
        log_debug("check_track_enable track_switch false!\n");
        return 0;
    }
    if (shared(kit.rebooting).load() != 0) {
        log_debug("device rebooting, don't allow track!\n");
        return 0;
    }
    auto since = static_cast<int64_t>(now - static_cast<uint64_t>(moved));
    if (moved != 0 && since >= 0 && since < hands_off_ms) {
        log_debug("check_track_enable motor_time < 5000!\n");
        return 0;
    }
    return 1;
}

int report_track_status(const char *value)
{
    return report_prop("track", value);
}
