// SPDX-License-Identifier: MIT
#include "stage/commands.h"

#include "common/clock.h"
#include "common/control.h"
#include "common/journal.h"
#include "common/json.h"

#include <algorithm>

constexpr int event_key = 1; // as the device kit numbers its events
constexpr int64_t ns_per_ms = 1'000'000;
constexpr int64_t ns_per_s = 1'000'000'000;

static void turn_key(stage &stage, int state)
{
    json_object *fields = json_object_new_object();
    json_set_number(fields, "state", state);
    journal_write("stage", "key", fields);
    json_object *event = json_object_new_object();
    json_set_number(event, "event", event_key);
    json_set_number(event, "key", state);
    stage_tell_kits(stage, event);
}

// NULL: the key may be turned.
static json_object *refuse_key(const stage &stage)
{
    if (stage.kits.empty())
        return control_refused("nobody heard the key, the daemon is not running; ./camera status shows why");
    if (stage.key.held)
        return control_refused("the key is held already; try again when it has been let go");
    return nullptr;
}

static json_object *turn_if_possible(stage &stage, int state)
{
    json_object *refusal = refuse_key(stage);
    if (refusal != nullptr)
        return refusal;
    turn_key(stage, state);
    return control_done(nullptr);
}

json_object *command_key_press(stage &stage, connection &, json_object *)
{
    return turn_if_possible(stage, 1);
}

json_object *command_key_release(stage &stage, connection &, json_object *)
{
    return turn_if_possible(stage, 0);
}

// The daemon counts a held key in whole seconds, at its ticks. It is let go when that many have been counted
// too, or a hold of exactly so long would be noticed or not by chance.
static int64_t release_ns(const stage &stage, int64_t press_ns, int64_t hold_ns)
{
    constexpr int64_t time_for_a_tick_ns = 100 * ns_per_ms;
    const int64_t counted_ns = press_ns / ns_per_s * ns_per_s + hold_ns;
    const int64_t tick_ns = clock_driver_tick_from(stage.clock, counted_ns);
    const int64_t passed_ns = press_ns + hold_ns;
    return tick_ns == INT64_MAX ? passed_ns : std::max(passed_ns, tick_ns + time_for_a_tick_ns);
}

json_object *command_key_hold(stage &stage, connection &client, json_object *arguments)
{
    const int ms = command_number(arguments, "ms", 0);
    if (ms <= 0)
        return control_refused("how long is the key held? give \"ms\" above 0");
    json_object *refusal = refuse_key(stage);
    if (refusal != nullptr)
        return refusal;
    const int64_t now_ns = clock_monotonic_ns();
    turn_key(stage, 1);
    stage.key = { .held = true,
                  .release_ns = release_ns(stage, now_ns, ms * ns_per_ms),
                  .client = client.id };
    client.awaiting = true;
    return nullptr;
}

void key_run(stage &stage)
{
    if (!stage.key.held || clock_monotonic_ns() < stage.key.release_ns)
        return;
    stage.key.held = false;
    turn_key(stage, 0);
    server_answer(stage.control, stage.key.client, control_done(nullptr));
}
