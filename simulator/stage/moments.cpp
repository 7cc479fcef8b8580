// SPDX-License-Identifier: MIT
#include "stage/moments.h"

#include "common/clock.h"
#include "common/control.h"
#include "common/json.h"
#include "stage/commands.h"

#include <algorithm>

constexpr int64_t ns_per_ms = 1'000'000;

static json_object *answer_at(int64_t now_ns)
{
    json_object *answer = json_object_new_object();
    json_set_number(answer, "ms", now_ns / ns_per_ms);
    return control_done(answer);
}

void moments_run(stage &stage)
{
    const int64_t now_ns = clock_monotonic_ns();
    std::erase_if(stage.moments, [&](const awaited_moment &awaited) {
        if (awaited.due_ns > now_ns)
            return false;
        server_answer(stage.control, awaited.client, answer_at(now_ns));
        return true;
    });
}

void moments_forget(stage &stage, uint64_t client)
{
    std::erase_if(stage.moments, [&](const awaited_moment &awaited) { return awaited.client == client; });
}

void moments_refuse(stage &stage, const char *sentence)
{
    for (const awaited_moment &awaited : stage.moments)
        server_answer(stage.control, awaited.client, control_refused(sentence));
    stage.moments.clear();
}

json_object *command_clock_wait(stage &stage, connection &client, json_object *arguments)
{
    constexpr int64_t longest_ms = INT64_MAX / ns_per_ms;
    const int64_t until_ms = json_get_number(arguments, "until_ms", -1);
    if (until_ms < 0 || until_ms > longest_ms)
        return control_refused("clock.wait needs the moment as a number in \"until_ms\"");
    client.awaiting = true;
    stage.moments.push_back({ .client = client.id, .due_ns = until_ms * ns_per_ms });
    return nullptr;
}
