// SPDX-License-Identifier: MIT
#include "ctl/talk.h"

#include "common/host_time.h"
#include "ctl/journal_reader.h"
#include "ctl/render.h"
#include "ctl/say.h"

static constexpr int silence_ms = 500;
static constexpr int longest_reply_ms = 2000;

// What the daemon sends on its own account.
static constexpr const char *questions[] = {
    "register", "local.query_status", "local.query_time", "local.query_did", "_sync.spec_get_prop",
};

// An answer about properties is one also when it is no JSON, as the daemon's sometimes are not.
static bool answers(const std::string &text, int64_t id)
{
    return text.starts_with("{\"id\" : " + std::to_string(id) + ",\"result\" : [");
}

message_kind talk_kind(const std::string &text, int64_t id)
{
    const json_ptr message = json_parse(text);
    const std::string method = json_get_text(message.get(), "method");
    if (!json_object_is_type(message.get(), json_type_object))
        return answers(text, id) ? message_kind::reply
                                 : message_kind::report; // whoever looks on should see it
    if (method.empty())
        return json_get_number(message.get(), "id") == id ? message_kind::reply : message_kind::other;
    for (const char *question : questions) {
        if (method == question)
            return message_kind::other;
    }
    return message_kind::report;
}

static json_ptr json_or_text(const std::string &text)
{
    json_ptr message = json_parse(text);
    return message ? std::move(message) : json_ptr(json_new_text(text));
}

static bool take_received(const ctl_request &request, conversation &talk, const std::string &text)
{
    const message_kind kind = talk_kind(text, talk.id);
    if (kind == message_kind::other)
        return false;
    // Some methods of the daemon answer twice.
    if (kind == message_kind::reply && !talk.answer)
        talk.answer = json_or_text(text);
    else
        talk.reports.push_back(text);
    say(request, std::string(kind == message_kind::reply ? "reply   " : "report  ") + text);
    return true;
}

// What the call has changed: store values, LEDs that really turned; and prompts for the player.
static bool is_change(json_object *entry)
{
    const std::string what = json_get_text(entry, "what");
    return what == "set" || what == "unset" || what == "reset" || what == "motor" || what == "prompt" ||
           (what == "led" && json_get_bool(entry, "applied"));
}

// true: it belongs to what followed.
static bool take_entry(const ctl_request &request, conversation &talk, json_object *entry)
{
    const bool cloud = json_get_text(entry, "who") == "cloud";
    const std::string what = json_get_text(entry, "what");
    if (cloud && what == "received")
        return take_received(request, talk, json_get_text(entry, "text"));
    if (cloud && what == "pulled" && talk.id == talk_pull) {
        talk.answer.reset(json_object_get(entry));
        say(request, render_what(entry));
        return true;
    }
    if (!is_change(entry))
        return false;
    json_object_array_add(talk.changes.get(), json_object_get(entry));
    std::string who = json_get_text(entry, "who");
    who.resize(8, ' ');
    say(request, who + render_what(entry));
    return true;
}

void talk_listen(const ctl_request &request, journal_reader &journal, conversation &talk)
{
    int64_t deadline = host_time_ms() + longest_reply_ms;
    for (;;) {
        const int64_t left = deadline - host_time_ms();
        if (left <= 0)
            return;
        const json_ptr entry = journal_reader_next(journal, static_cast<int>(left));
        if (entry && take_entry(request, talk, entry.get()) && talk.answer)
            deadline = host_time_ms() + silence_ms;
    }
}

static json_ptr call_command(const ctl_request &request, std::string &reason)
{
    json_ptr command = command_of("cloud.call");
    json_set_text(command.get(), "method", request.arguments[0]);
    if (request.arguments.size() < 2)
        return command;
    json_ptr params = json_parse(request.arguments[1]);
    if (!params && request.arguments[1] != "null") {
        reason = "\"" + request.arguments[1] +
                 "\" is no JSON; texts want double quotes inside single ones, as in '[\"on\"]'";
        return nullptr;
    }
    json_object_object_add(command.get(), "params", params.release());
    return command;
}

json_ptr talk_json(const conversation &talk)
{
    json_ptr all(json_object_new_object());
    json_object *reports = json_object_new_array();
    for (const std::string &text : talk.reports)
        json_object_array_add(reports, json_or_text(text).release());
    json_object_object_add(all.get(), talk.id == talk_pull ? "pull" : "reply",
                           json_object_get(talk.answer.get()));
    json_object_object_add(all.get(), "reports", reports);
    json_object_object_add(all.get(), "changes", json_object_get(talk.changes.get()));
    return all;
}

int talk_send(const ctl_request &request, const json_ptr &command)
{
    journal_reader journal;
    journal_reader_open(journal, request.where.run, true);
    int status = ctl_done;
    const json_ptr sent = order_camera(request, command, status);
    if (!sent)
        return status;
    say(request, "sent    " + json_get_text(sent.get(), "text"));

    conversation talk;
    talk.id = json_get_number(sent.get(), "id");
    talk_listen(request, journal, talk);
    journal_reader_close(journal);
    if (!talk.answer)
        say(request, "no reply within " + std::to_string(longest_reply_ms / 1000) + " s");
    return say_done(request, talk_json(talk).get(), "");
}

int call_method(const ctl_request &request)
{
    std::string reason;
    const json_ptr command = call_command(request, reason);
    return command ? talk_send(request, command) : say_could_not(request, reason);
}
