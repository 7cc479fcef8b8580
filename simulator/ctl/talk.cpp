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

message_kind talk_kind(const std::string &text, int64_t id)
{
    const json_ptr message = json_parse(text);
    const std::string method = json_get_text(message.get(), "method");
    if (!json_object_is_type(message.get(), json_type_object))
        return message_kind::report; // no JSON: whoever looks on should see it
    if (method.empty())
        return json_get_number(message.get(), "id") == id ? message_kind::reply : message_kind::other;
    for (const char *question : questions) {
        if (method == question)
            return message_kind::other;
    }
    return message_kind::report;
}

struct conversation {
    int64_t id = 0;
    json_ptr reply;
    std::vector<std::string> reports;
    json_ptr changes = json_ptr(json_object_new_array()); // journal lines of the store and the LEDs
};

static bool take_received(const ctl_request &request, conversation &talk, const std::string &text)
{
    const message_kind kind = talk_kind(text, talk.id);
    if (kind == message_kind::other)
        return false;
    if (kind == message_kind::reply)
        talk.reply = json_parse(text);
    else
        talk.reports.push_back(text);
    say(request, std::string(kind == message_kind::reply ? "reply   " : "report  ") + text);
    return true;
}

// What the call has changed: store values, and LEDs that really turned.
static bool is_change(json_object *entry)
{
    const std::string what = json_get_text(entry, "what");
    return what == "set" || what == "unset" || what == "reset" || what == "motor" ||
           (what == "led" && json_get_bool(entry, "applied"));
}

// true: it belongs to what followed the call.
static bool take_entry(const ctl_request &request, conversation &talk, json_object *entry)
{
    if (json_get_text(entry, "who") == "cloud" && json_get_text(entry, "what") == "received")
        return take_received(request, talk, json_get_text(entry, "text"));
    if (!is_change(entry))
        return false;
    json_object_array_add(talk.changes.get(), json_object_get(entry));
    std::string who = json_get_text(entry, "who");
    who.resize(8, ' ');
    say(request, who + render_what(entry));
    return true;
}

static void listen_until_silence(const ctl_request &request, journal_reader &journal, conversation &talk)
{
    int64_t deadline = host_time_ms() + longest_reply_ms;
    for (;;) {
        const int64_t left = deadline - host_time_ms();
        if (left <= 0)
            return;
        const json_ptr entry = journal_reader_next(journal, static_cast<int>(left));
        if (entry && take_entry(request, talk, entry.get()) && talk.reply)
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

static json_ptr conversation_json(const conversation &talk)
{
    json_ptr all(json_object_new_object());
    json_object *reports = json_object_new_array();
    for (const std::string &text : talk.reports) {
        json_ptr report = json_parse(text);
        json_object_array_add(reports, report ? report.release() : json_new_text(text));
    }
    json_object_object_add(all.get(), "reply", json_object_get(talk.reply.get()));
    json_object_object_add(all.get(), "reports", reports);
    json_object_object_add(all.get(), "changes", json_object_get(talk.changes.get()));
    return all;
}

int call_method(const ctl_request &request)
{
    std::string reason;
    const json_ptr command = call_command(request, reason);
    if (!command)
        return say_could_not(request, reason);
    journal_reader journal;
    journal_reader_open(journal, request.where.run, true);
    int status = ctl_done;
    const json_ptr sent = ask_camera(request, command, status);
    if (!sent)
        return status;
    say(request, "sent    " + json_get_text(sent.get(), "text"));

    conversation talk;
    talk.id = json_get_number(sent.get(), "id");
    listen_until_silence(request, journal, talk);
    journal_reader_close(journal);
    if (!talk.reply)
        say(request, "no reply within " + std::to_string(longest_reply_ms / 1000) + " s");
    return say_done(request, conversation_json(talk).get(), "");
}
