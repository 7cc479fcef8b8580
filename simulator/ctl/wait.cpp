// SPDX-License-Identifier: MIT
#include "ctl/wait.h"

#include "ctl/duration.h"
#include "ctl/render.h"
#include "ctl/say.h"
#include "ctl/waiting.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

static constexpr char usual_time[] = "10s";

std::string wait_help()
{
    return goal_help() + R"(
A store value, an LED and the head are states: one that holds already has come. The others are events, of which
those count that happen from now on, or --since an earlier moment: after line N of the journal, from the "start"
of the camera, or from the "last" order that ./camera gave it. The time is the camera's own: it stands still where
that does.
)";
}

// What a command line asks for.
struct wait_order {
    goal wanted;
    int64_t within_ms = 0;
    std::string since;
};

static bool is_number(const std::string &text)
{
    return !text.empty() && text.size() <= 18 && text.find_first_not_of("0123456789") == std::string::npos;
}

static bool read_order(const ctl_request &request, wait_order &order, std::string &reason)
{
    const std::string within = request.options.within.empty() ? usual_time : request.options.within;
    std::string text;
    for (const std::string &word : request.arguments)
        text += (text.empty() ? "" : " ") + word;
    if (!goal_parse(text, order.wanted, reason))
        return false;
    const goal_row &row = *order.wanted.row;
    reason = row.check == nullptr ? "" : row.check(order.wanted, request.where);
    if (!reason.empty())
        return false;
    order.within_ms = duration_ms(within);
    order.since = request.options.since;
    if (order.within_ms < 0)
        reason = "\"" + within + "\" is no time to wait; write " + duration_units();
    else if (!order.since.empty() && order.since != "start" && order.since != "last" &&
             !is_number(order.since))
        reason = "--since takes a line's number of the journal, \"start\" or \"last\", not \"" + order.since +
                 "\"";
    return reason.empty();
}

// Opens the journal where what counts begins.
static void open_journal(const ctl_request &request, const wait_order &order, journal_reader &journal,
                         wait_limits &limits)
{
    journal_reader_open(journal, request.where.run, order.since.empty());
    if (order.since == "last")
        journal_reader_go_to(journal, say_last_order(request.where));
    else if (is_number(order.since))
        limits.after_n = strtoll(order.since.c_str(), nullptr, 10);
}

static std::string seconds(int64_t ms)
{
    char text[32];
    snprintf(text, sizeof text, "%lld.%03lld", static_cast<long long>(ms / 1000),
             static_cast<long long>(ms % 1000));
    return text;
}

static int64_t now_ms()
{
    const json_ptr status = ask_quietly(command_of("status"));
    return json_get_number(json_member(status, "done"), "ms", -1);
}

// Whoever waits before a clock that stands still should know why nothing ends; once.
static void note_standing_clock(const ctl_request &request, int64_t &before_ms, bool &noted)
{
    const int64_t ms = now_ms();
    if (ms == before_ms && !noted && !request.options.json) {
        fprintf(stderr, "the camera's clock stands still at %s s; the waiting goes on\n",
                seconds(ms).c_str());
        noted = true;
    }
    before_ms = ms;
}

static wait_result wait_patiently(const ctl_request &request, const wait_order &order, int64_t from_ms)
{
    constexpr int look_ms = 10'000;
    wait_limits limits = { .until_ms = from_ms + order.within_ms, .host_ms = look_ms, .after_n = 0 };
    journal_reader journal;
    open_journal(request, order, journal, limits);
    int64_t before_ms = from_ms;
    bool noted = false;
    wait_result result;
    for (;;) {
        result = wait_for(order.wanted, journal, limits);
        if (result.end != wait_end::host_late)
            break;
        note_standing_clock(request, before_ms, noted);
    }
    journal_reader_close(journal);
    return result;
}

static int say_came(const ctl_request &request, const wait_result &result)
{
    const json_ptr done(json_object_new_object());
    json_object_object_add(done.get(), "line", json_object_get(result.line.get()));
    if (!result.line)
        json_set_text(done.get(), "present", result.present);
    return say_done(request, done.get(), result.line ? render_entry(result.line.get()) : result.present);
}

static bool came_before(const wait_order &order, const std::vector<json_ptr> &seen)
{
    const goal_row &row = *order.wanted.row;
    return row.look == nullptr && std::ranges::any_of(seen, [&](const json_ptr &line) {
               return row.is_it(order.wanted, line.get());
           });
}

static int say_did_not_come(const ctl_request &request, const wait_order &order, const wait_result &result,
                            int64_t from_ms)
{
    constexpr size_t most_lines = 8;
    const std::string until = seconds(from_ms + order.within_ms);
    std::string sentence =
        "\"" + order.wanted.text + "\" did not come from " + seconds(from_ms) + " to " + until;
    if (result.end == wait_end::gone)
        sentence = "\"" + order.wanted.text + "\" did not come before the camera stopped";
    if (!result.present.empty())
        sentence += "; " + result.present;
    const std::vector<json_ptr> seen = wait_history(order.wanted, request.where.run, most_lines);
    sentence += seen.empty() ? "; the journal has nothing about it" : "";
    if (came_before(order, seen))
        sentence += "; it had come before, which --since counts";

    const json_ptr answer = json_of("refused", sentence);
    json_object *lines = json_object_new_array();
    std::string text = sentence + (seen.empty() ? "" : "; the journal's last lines about it:");
    for (const json_ptr &line : seen) {
        json_object_array_add(lines, json_object_get(line.get()));
        text += "\n" + render_entry(line.get());
    }
    json_set_text(answer.get(), "present", result.present);
    json_object_object_add(answer.get(), "seen", lines);
    if (request.options.json)
        puts(json_text(answer.get()).c_str());
    else
        fprintf(stderr, "%s\n", text.c_str());
    return ctl_refused;
}

int wait_command(const ctl_request &request)
{
    wait_order order;
    std::string reason;
    int status = ctl_done;
    if (!read_order(request, order, reason))
        return say_could_not(request, reason);
    const json_ptr camera = ask_camera(request, command_of("status"), status);
    if (!camera)
        return status;
    const int64_t from_ms = json_get_number(camera.get(), "ms");
    const wait_result result = wait_patiently(request, order, from_ms);
    return result.end == wait_end::came ? say_came(request, result)
                                        : say_did_not_come(request, order, result, from_ms);
}
