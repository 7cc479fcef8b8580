// SPDX-License-Identifier: MIT
#include "ctl/prompts.h"

#include "common/nearest.h"
#include "ctl/journal_reader.h"
#include "ctl/say.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

// A prompt's place in the table is its number.
static std::vector<std::string> prompt_names(const place &where)
{
    std::ifstream table(where.build + "/factory/prompts");
    std::vector<std::string> names;
    for (std::string line; std::getline(table, line);) {
        const size_t end = line.find(" = ");
        if (end != std::string::npos && line[0] != '#')
            names.push_back(line.substr(0, end));
    }
    return names;
}

static std::string unknown_prompt(const std::string &name, const std::vector<std::string> &names)
{
    const std::string guess = did_you_mean(name, names);
    return "there is no prompt \"" + name + "\"" +
           (guess.empty() ? "; simulator/factory/prompts has them all" : guess);
}

std::string prompts_check(const place &where, const std::string &name)
{
    const std::vector<std::string> names = prompt_names(where);
    const bool known = std::find(names.begin(), names.end(), name) != names.end();
    return known ? "" : unknown_prompt(name, names);
}

int play_prompt(const ctl_request &request)
{
    const std::string &name = request.arguments[0];
    const std::vector<std::string> names = prompt_names(request.where);
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end())
        return say_could_not(request, unknown_prompt(name, names));
    const std::string value = "[" + std::to_string(found - names.begin()) + ",1,0]";
    const json_ptr command = command_of("store.set");
    json_set_text(command.get(), "space", "mem");
    json_set_text(command.get(), "key", "sound_play");
    json_set_text(command.get(), "value", value);
    return order_and_say(request, command,
                         "asked for it: mem sound_play = " + value + "; ./camera prompts" +
                             place_name_option(request.where.name) + " shows what was played");
}

enum class prompt_state { playing, played, broken_off };

static constexpr const char *state_names[] = { "playing", "played", "broken off" };

struct heard_prompt {
    std::string name; // empty: not known
    std::string language;
    int64_t at_ms = 0; // virtual time at which it began
    int64_t lasts_ms = 0;
    bool muted = false; // all of it, or a part
    prompt_state state = prompt_state::playing;
    int64_t heard_ms = 0; // of played
};

using heard_prompts = std::vector<heard_prompt>; // played one at a time: only the last can still sound

static void on_playing(heard_prompts &prompts, json_object *entry)
{
    prompts.push_back({ .name = json_get_text(entry, "name"),
                        .language = json_get_text(entry, "language"),
                        .at_ms = json_get_number(entry, "at_ms"),
                        .lasts_ms = json_get_number(entry, "lasts_ms"),
                        .muted = json_get_bool(entry, "muted") });
}

static bool sounds(const heard_prompts &prompts)
{
    return !prompts.empty() && prompts.back().state == prompt_state::playing;
}

static void on_played(heard_prompts &prompts, json_object *entry)
{
    if (!sounds(prompts))
        return;
    prompts.back().state = prompt_state::played;
    prompts.back().heard_ms = json_get_number(entry, "heard_ms");
}

static void on_banned(heard_prompts &prompts, json_object *)
{
    if (sounds(prompts))
        prompts.back().muted = true;
}

static void on_exit(heard_prompts &prompts, json_object *entry)
{
    if (sounds(prompts) && json_get_text(entry, "program") == "player")
        prompts.back().state = prompt_state::broken_off;
}

struct prompt_row {
    const char *who;
    const char *what;
    void (*take)(heard_prompts &prompts, json_object *entry);
};

// clang-format off
static constexpr prompt_row rows[] = {
    { "player", "playing", on_playing },
    { "player", "played",  on_played  },
    { "player", "banned",  on_banned  },
    { "stage",  "exit",    on_exit    },
};
// clang-format on

static heard_prompts read_prompts(const place &where)
{
    heard_prompts prompts;
    journal_reader journal;
    journal_reader_open(journal, where.run, false);
    while (const json_ptr entry = journal_reader_next(journal, 0)) {
        const std::string who = json_get_text(entry.get(), "who");
        const std::string what = json_get_text(entry.get(), "what");
        for (const prompt_row &row : rows) {
            if (who == row.who && what == row.what)
                row.take(prompts, entry.get());
        }
    }
    journal_reader_close(journal);
    // The end of a camera at once leaves no line behind.
    if (sounds(prompts) && !place_is_running(where))
        prompts.back().state = prompt_state::broken_off;
    return prompts;
}

static const char *state_name(const heard_prompt &prompt)
{
    return state_names[static_cast<size_t>(prompt.state)];
}

static std::string how(const heard_prompt &prompt)
{
    if (prompt.state != prompt_state::played)
        return std::string(state_name(prompt)) + (prompt.muted ? ", muted" : "");
    if (!prompt.muted)
        return "heard";
    char text[64] = "muted";
    if (prompt.heard_ms > 0)
        snprintf(text, sizeof(text), "muted, but for %.2f s", static_cast<double>(prompt.heard_ms) / 1000);
    return text;
}

static std::string prompt_line(const heard_prompt &prompt)
{
    char line[160];
    snprintf(line, sizeof(line), "%8lld.%03lld  %-30s %-8s %5.1f s  %s\n",
             static_cast<long long>(prompt.at_ms / 1000), static_cast<long long>(prompt.at_ms % 1000),
             prompt.name.empty() ? "(not a prompt of this camera)" : prompt.name.c_str(),
             prompt.language.empty() ? "-" : prompt.language.c_str(),
             static_cast<double>(prompt.lasts_ms) / 1000, how(prompt).c_str());
    return line;
}

static json_object *prompt_json(const heard_prompt &prompt)
{
    json_object *about = json_object_new_object();
    json_set_text(about, "name", prompt.name);
    json_set_text(about, "language", prompt.language);
    json_set_number(about, "at_ms", prompt.at_ms);
    json_set_number(about, "lasts_ms", prompt.lasts_ms);
    json_set_text(about, "state", state_name(prompt));
    json_object_object_add(about, "muted", json_object_new_boolean(prompt.muted));
    if (prompt.state == prompt_state::played)
        json_set_number(about, "heard_ms", prompt.heard_ms);
    return about;
}

int show_prompts(const ctl_request &request)
{
    const place &where = request.where;
    int status = ctl_done;
    if (!say_whether_it_ran(request, status))
        return status;
    std::string text;
    json_object *list = json_object_new_array();
    for (const heard_prompt &prompt : read_prompts(where)) {
        text += prompt_line(prompt);
        json_object_array_add(list, prompt_json(prompt));
    }
    const json_ptr done(json_object_new_object());
    json_object_object_add(done.get(), "prompts", list);
    return say_done(request, done.get(), text.empty() ? "no prompt was played yet" : text);
}
