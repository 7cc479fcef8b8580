// SPDX-License-Identifier: MIT
#include "ctl/property.h"

#include "common/host_time.h"
#include "ctl/journal_reader.h"
#include "ctl/render.h"
#include "ctl/say.h"
#include "ctl/talk.h"

#include <algorithm>

static constexpr size_t number_width = 7;
static constexpr size_t name_width = 24;
static constexpr size_t type_width = 8;
static constexpr size_t value_width = 24;
static constexpr size_t lives_width = 38;

static std::string column(std::string text, size_t width)
{
    if (text.size() < width)
        text.resize(width, ' ');
    return text + ' ';
}

std::string property_line_start(json_object *row)
{
    return column(json_get_text(row, "property"), number_width) +
           column(json_get_text(row, "name"), name_width);
}

static bool has_value(json_object *answer)
{
    return json_object_object_get_ex(answer, "value", nullptr) != 0;
}

// A value, or what came instead; texts in quotes, so that an empty one is seen.
static std::string shown(json_object *answer)
{
    json_object *value = nullptr;
    const int64_t code = json_get_number(answer, "code");
    if (!json_object_object_get_ex(answer, "value", &value))
        return code == 0 ? "no answer" : "code " + std::to_string(code);
    const bool tidy = json_object_object_get_ex(answer, "json", nullptr) == 0;
    return json_text(value) + (tidy ? "" : " (not JSON)");
}

static std::string shortened(const std::string &text)
{
    if (text.size() <= value_width)
        return text;
    size_t end = value_width - 3;
    // Not within a character of several bytes.
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U)
        end--;
    return text.substr(0, end) + "...";
}

static json_ptr wait_for_read(journal_reader &journal, int64_t id)
{
    constexpr int patience_ms = 5000;
    const int64_t deadline = host_time_ms() + patience_ms;
    for (int64_t left = patience_ms; left > 0; left = deadline - host_time_ms()) {
        const json_ptr entry = journal_reader_next(journal, static_cast<int>(left));
        if (entry && json_get_text(entry.get(), "who") == "cloud" &&
            json_get_text(entry.get(), "what") == "read" && json_get_number(entry.get(), "id") == id)
            return json_ptr(json_object_get(json_member(entry, "properties")));
    }
    return nullptr;
}

json_ptr property_read_now(const ctl_request &request, const std::vector<std::string> &names, int &status)
{
    const json_ptr command = command_of("cloud.prop_get");
    json_object *list = json_object_new_array();
    for (const std::string &name : names)
        json_object_array_add(list, json_new_text(name));
    json_object_object_add(command.get(), "properties", list);
    journal_reader journal;
    journal_reader_open(journal, request.where.run, true);
    const json_ptr sent = ask_camera(request, command, status);
    json_ptr answers;
    if (sent)
        answers = wait_for_read(journal, json_get_number(sent.get(), "id"));
    journal_reader_close(journal);
    if (sent && !answers)
        status = say_refused(request, "the daemon does not answer; ./camera log" +
                                          place_name_option(request.where.name) + " shows why");
    return answers;
}

json_ptr property_rows(const ctl_request &request, int &status)
{
    const json_ptr done = ask_camera(request, command_of("cloud.prop_list"), status);
    return done ? json_ptr(json_object_get(json_member(done, "properties"))) : nullptr;
}

static json_ptr listed(const json_ptr &rows)
{
    json_ptr done(json_object_new_object());
    json_object_object_add(done.get(), "properties", json_object_get(rows.get()));
    return done;
}

int prop_get(const ctl_request &request)
{
    int status = ctl_done;
    const json_ptr answers = property_read_now(request, request.arguments, status);
    if (!answers)
        return status;
    std::string text;
    for (size_t i = 0; i < json_object_array_length(answers.get()); i++) {
        json_object *answer = json_object_array_get_idx(answers.get(), i);
        if (!has_value(answer))
            status = ctl_refused;
        text += property_line_start(answer) + shown(answer) + "\n";
    }
    json_object *first = json_object_array_get_idx(answers.get(), 0);
    // One value alone is for a script.
    if (request.arguments.size() == 1)
        text = (has_value(first) ? json_get_text(first, "value") : shown(first)) + "\n";
    say_done(request, listed(answers).get(), text);
    return status;
}

// Puts the answer in the place of what the cloud believes.
static void take_answer(json_object *row, json_object *answer)
{
    for (const char *member : { "value", "from" })
        json_object_object_del(row, member);
    for (const char *member : { "value", "answered", "code", "json" }) {
        json_object *value = nullptr;
        if (json_object_object_get_ex(answer, member, &value))
            json_object_object_add(row, member, json_object_get(value));
    }
}

int prop_list(const ctl_request &request)
{
    int status = ctl_done;
    const json_ptr rows = property_rows(request, status);
    const json_ptr answers = rows ? property_read_now(request, {}, status) : nullptr;
    if (!answers)
        return status;
    std::string text = column("number", number_width) + column("name", name_width) +
                       column("type", type_width) + column("value", value_width) +
                       column("lives in", lives_width) + "watched\n";
    for (size_t i = 0; i < json_object_array_length(rows.get()); i++) {
        json_object *row = json_object_array_get_idx(rows.get(), i);
        take_answer(row, json_object_array_get_idx(answers.get(), i));
        text += property_line_start(row) + column(json_get_text(row, "type"), type_width) +
                column(shortened(shown(row)), value_width) +
                column(json_get_text(row, "lives"), lives_width) + json_get_text(row, "watched") + "\n";
    }
    return say_done(request, listed(rows).get(), text);
}

int prop_copy(const ctl_request &request)
{
    int status = ctl_done;
    const json_ptr rows = property_rows(request, status);
    if (!rows)
        return status;
    std::string text;
    for (size_t i = 0; i < json_object_array_length(rows.get()); i++) {
        json_object *row = json_object_array_get_idx(rows.get(), i);
        if (!has_value(row))
            continue;
        text += property_line_start(row) + column(shortened(shown(row)), value_width) +
                json_get_text(row, "from") + "\n";
    }
    if (text.empty())
        text = "the cloud has heard of no value yet; ./camera prop list asks for all\n";
    return say_done(request, listed(rows).get(), text);
}

// {"do":name,"values":[["power","on"],..]} from the words of the line.
static json_ptr command_with_values(const ctl_request &request, const char *name)
{
    json_ptr command = command_of(name);
    json_object *values = json_object_new_array();
    for (size_t i = 0; i < request.arguments.size(); i += 2) {
        json_object *pair = json_object_new_array();
        for (size_t j = i; j < std::min(i + 2, request.arguments.size()); j++)
            json_object_array_add(pair, json_new_text(request.arguments[j]));
        json_object_array_add(values, pair);
    }
    json_object_object_add(command.get(), "values", values);
    return command;
}

int prop_set(const ctl_request &request)
{
    return talk_send(request, command_with_values(request, "cloud.prop_set"));
}

int prop_keep(const ctl_request &request)
{
    int status = ctl_done;
    const json_ptr done = order_camera(request, command_with_values(request, "cloud.prop_keep"), status);
    if (!done)
        return status;
    std::string text;
    json_object *kept = json_member(done, "properties");
    for (size_t i = 0; i < json_object_array_length(kept); i++) {
        json_object *row = json_object_array_get_idx(kept, i);
        const bool pulled = json_get_bool(row, "pulled");
        text += json_get_text(row, "name") + " = " + shown(row) +
                (pulled ? ", ./camera prop pull" + place_name_option(request.where.name) +
                              " brings it to the camera\n"
                        : ", but the daemon never asks the cloud for it\n");
    }
    return say_done(request, done.get(), text);
}

int prop_pull(const ctl_request &request)
{
    const json_ptr command = command_of("store.set");
    json_set_text(command.get(), "space", "mem");
    json_set_text(command.get(), "key", "flag_pull_spec_properties");
    json_set_text(command.get(), "value", "yes");
    journal_reader journal;
    journal_reader_open(journal, request.where.run, true);
    int status = ctl_done;
    conversation talk;
    talk.id = talk_pull;
    if (order_camera(request, command, status))
        talk_listen(request, journal, talk);
    journal_reader_close(journal);
    if (status == ctl_done && !talk.answer)
        return say_refused(request, "the daemon has not asked the cloud for anything; ./camera status" +
                                        place_name_option(request.where.name) + " says what runs");
    return status == ctl_done ? say_done(request, talk_json(talk).get(), "") : status;
}
