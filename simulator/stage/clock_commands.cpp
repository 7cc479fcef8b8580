// SPDX-License-Identifier: MIT
#include "stage/commands.h"

#include "common/clock.h"
#include "common/clock_owner.h"
#include "common/control.h"
#include "common/host_time.h"
#include "common/json.h"

#include <algorithm>

constexpr int64_t ns_per_ms = 1'000'000;

static json_object *describe_clock(void)
{
    json_object *about = json_object_new_object();
    json_set_number(about, "ms", clock_monotonic_ns() / ns_per_ms);
    json_set_number(about, "realtime_ms", clock_realtime_ns() / ns_per_ms);
    return about;
}

json_object *command_clock(stage &, connection &, json_object *)
{
    return control_done(describe_clock());
}

static void end_step(stage &stage, json_object *answer)
{
    stage.step.under_way = false;
    clock_driver_step(stage.clock, 0);
    server_answer(stage.control, stage.step.client, answer);
}

json_object *command_clock_step(stage &stage, connection &client, json_object *arguments)
{
    constexpr int64_t longest_ms = INT64_C(366) * 24 * 3600 * 1000;
    const int64_t ms = json_get_number(arguments, "ms");
    if (ms <= 0 || ms > longest_ms)
        return control_refused("the clock is stepped by \"ms\" above 0 and at most a year");
    if (stage.step.under_way)
        return control_refused("the clock is being stepped already; try again when that is done");
    stage.step = { .under_way = true,
                   .until_ns = clock_monotonic_ns() + ms * ns_per_ms,
                   .client = client.id,
                   .give_up_ms = host_time_ms() + stage.step_patience_ms };
    clock_driver_step(stage.clock, stage.step.until_ns);
    client.awaiting = true;
    return nullptr;
}

void clock_run(stage &stage)
{
    if (!stage.step.under_way)
        return;
    if (clock_monotonic_ns() >= stage.step.until_ns) {
        end_step(stage, control_done(describe_clock()));
        return;
    }
    if (stage.phase == stage_phase::stopping) {
        end_step(stage, control_refused("the camera is stopping"));
        return;
    }
    const int64_t host_ms = host_time_ms();
    if (stage_is_whole(stage))
        stage.step.give_up_ms = host_ms + stage.step_patience_ms;
    if (host_ms >= stage.step.give_up_ms) {
        end_step(stage, control_refused("not all of the camera runs, so its clock goes on at its own pace; "
                                        "./camera status shows what is missing"));
    }
}

void clock_forget(stage &stage, uint64_t client)
{
    if (stage.step.under_way && stage.step.client == client)
        end_step(stage, nullptr);
}

json_object *command_timer(stage &stage, connection &client, json_object *arguments)
{
    driven_timer timer = { .owner = client.id,
                           .name = command_number(arguments, "fd", -1),
                           .fd = server_take_descriptor(client) };
    if (timer.fd < 0)
        return control_refused("clock.timer needs the timer's descriptor beside the line");
    int first_ms = std::max(command_number(arguments, "first_ms", 0), 0);
    int interval_ms = std::max(command_number(arguments, "interval_ms", 0), 0);
    if (!clock_driver_add(stage.clock, timer, first_ms, interval_ms))
        return control_refused("the descriptor beside clock.timer is no timer");
    return control_done(nullptr);
}
