// SPDX-License-Identifier: MIT
#include "stage/commands.h"

#include "common/control.h"
#include "common/host_time.h"
#include "common/json.h"

constexpr int look_ms = 2;               // between two looks at the block
constexpr int64_t free_within_ms = 2000; // of host time
constexpr int64_t made_within_ms = 300;  // by a daemon that has just been told to track
constexpr int64_t made_after_ms = 50;    // that it appeared; what was posted before that would be lost
constexpr int64_t taken_within_ms = 500;

static const char *sentence(rotation_state state)
{
    switch (state) {
    case rotation_state::absent:
        return "tracking is off, so nobody takes a rotation; ./camera track on";
    case rotation_state::unusable:
        return "the block for rotations cannot be used: somebody else made it, and not as the daemon would";
    case rotation_state::locked:
        return "the block for rotations stays locked; who locked it has died or hangs";
    case rotation_state::waiting:
        return "a rotation waits already, the daemon has not taken it; ./camera head shows whether it turns";
    case rotation_state::free:
        break;
    }
    return "";
}

static void end(stage &stage, json_object *answer)
{
    stage.rotation.under_way = false;
    server_answer(stage.control, stage.rotation.client, answer);
}

static bool may_change(const rotation_post_request &request, rotation_state state, int64_t host_ms)
{
    if (state == rotation_state::absent)
        return host_ms < request.begin_ms + made_within_ms;
    const bool others_at_it = state == rotation_state::waiting || state == rotation_state::locked;
    return others_at_it && host_ms < request.begin_ms + free_within_ms;
}

static void try_to_post(stage &stage, int64_t host_ms)
{
    rotation_post_request &request = stage.rotation;
    const bool fresh = host_ms < request.absent_ms + made_after_ms;
    const rotation_state state =
        fresh ? rotation_look(stage.rotation_key) : rotation_post(stage.rotation_key, request.text);
    if (state == rotation_state::absent)
        request.absent_ms = host_ms;
    if (state == rotation_state::free && fresh)
        return;
    if (state == rotation_state::free) {
        request.posted = true;
        request.begin_ms = host_ms;
    } else if (!may_change(request, state, host_ms)) {
        end(stage, control_refused(sentence(state)));
    }
}

static void see_it_taken(stage &stage, int64_t host_ms)
{
    const rotation_state state = rotation_look(stage.rotation_key);
    const bool waits = state == rotation_state::waiting || state == rotation_state::locked;
    if (waits && host_ms < stage.rotation.begin_ms + taken_within_ms)
        return;
    json_object *done = json_object_new_object();
    json_object_object_add(done, "taken", json_object_new_boolean(state == rotation_state::free));
    end(stage, control_done(done));
}

int rotation_run(stage &stage)
{
    constexpr int nothing_to_do_ms = 1000;
    const int64_t host_ms = host_time_ms();
    if (stage.rotation.under_way && !stage.rotation.posted)
        try_to_post(stage, host_ms);
    if (stage.rotation.under_way && stage.rotation.posted)
        see_it_taken(stage, host_ms);
    return stage.rotation.under_way ? look_ms : nothing_to_do_ms;
}

json_object *command_rotate(stage &stage, connection &client, json_object *arguments)
{
    const std::string text = json_get_text(arguments, "text");
    if (text.empty() || text.size() > rotation_longest)
        return control_refused("a rotation is a text of 1 to 31 characters, such as [30,-15,0] or stop");
    if (stage.rotation.under_way)
        return control_refused("another rotation is being posted; try again in a moment");
    stage.rotation = {
        .under_way = true, .posted = false, .text = text, .client = client.id, .begin_ms = host_time_ms()
    };
    client.awaiting = true;
    return nullptr;
}
