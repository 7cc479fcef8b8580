// SPDX-License-Identifier: MIT
#include "player/player.h"

#include "common/clock.h"
#include "common/control.h"
#include "common/nearest.h"
#include "player/bus.h"

#include <algorithm>
#include <cstring>

static constexpr int64_t ns_per_ms = 1'000'000;

static json_object *describe(const prompt &described)
{
    json_ptr about = playback_describe(described);
    json_set_number(about.get(), "lasts_ms", described.length_ns / ns_per_ms);
    return about.release();
}

static json_object *status(player &self, json_object *)
{
    const bool sounds = !self.sound.queue.empty();
    json_ptr done(json_object_new_object());
    json_object_object_add(done.get(), "connected", json_object_new_boolean(!self.links.empty()));
    json_object_object_add(done.get(), "banned", json_object_new_boolean(self.sound.banned));
    json_object_object_add(done.get(), "hangs", json_object_new_boolean(self.hangs));
    json_object_object_add(done.get(), "playing", sounds ? describe(self.sound.queue.front()) : nullptr);
    json_set_number(done.get(), "waiting", static_cast<int64_t>(self.sound.queue.size()) - (sounds ? 1 : 0));
    return control_done(done.release());
}

// What sounds, first, and what waits.
static json_object *list(player &self, json_object *)
{
    json_object *prompts = json_object_new_array();
    for (const prompt &waiting : self.sound.queue)
        json_object_array_add(prompts, describe(waiting));
    json_object *done = json_object_new_object();
    json_object_object_add(done, "prompts", prompts);
    return control_done(done);
}

static json_object *say(player &self, json_object *arguments)
{
    const std::string name = json_get_text(arguments, "name", "player");
    const std::string text = json_get_text(arguments, "text");
    if (self.links.empty())
        return control_refused("the daemon is not connected to the player; ./camera status says what runs");
    json_ptr fields = json_of("name", name);
    json_set_text(fields.get(), "text", text);
    self.settings.note("said", fields.release());
    if (!bus_say(self.links.back().fd, name, text))
        return control_refused("the text does not reach the daemon: it is too long, or the daemon does not "
                               "read; ./camera kill daemon starts it anew");
    return control_done(nullptr);
}

static json_object *hang(player &self, json_object *arguments)
{
    self.hangs = json_get_bool(arguments, "on");
    return control_done(nullptr);
}

struct player_command {
    const char *name;
    json_object *(*run)(player &self, json_object *arguments);
};

// clang-format off
static constexpr player_command commands[] = {
    { "hang",   hang   },
    { "list",   list   },
    { "say",    say    },
    { "status", status },
};
// clang-format on

json_object *player_answer(player &self, const char *command, json_object *arguments)
{
    std::vector<std::string> names;
    for (const player_command &row : commands) {
        if (strcmp(command, row.name) == 0)
            return row.run(self, arguments);
        names.emplace_back(row.name);
    }
    return control_refused(std::string("the player knows no command \"") + command + "\"" +
                           did_you_mean(command, names));
}
