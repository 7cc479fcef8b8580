// SPDX-License-Identifier: MIT
#include "ctl/waiting.h"

#include "common/control.h"
#include "common/host_time.h"
#include "ctl/say.h"

#include <algorithm>

// One wait while it lasts.
struct waiting {
    const goal &wanted;
    journal_reader &journal;
    const wait_limits &limits;
    control_link alarm; // answered when the virtual time is up
    int64_t host_deadline = INT64_MAX;
    wait_result result;
};

static bool look(waiting &wait)
{
    return wait.wanted.row->look != nullptr && wait.wanted.row->look(wait.wanted, wait.result.present);
}

// A program that comes, goes or starts anew, and whatever concerns the goal without being it.
static bool may_change_it(const waiting &wait, json_object *line)
{
    const std::string who = json_get_text(line, "who");
    const std::string what = json_get_text(line, "what");
    return who == "stage" || (who == "store" && what == "connected") ||
           wait.wanted.row->is_about(wait.wanted, line);
}

// true: the goal has come with this line, or holds after it.
static bool take_line(waiting &wait, json_ptr line)
{
    const goal_row &row = *wait.wanted.row;
    if (json_get_number(line.get(), "n") <= wait.limits.after_n)
        return false;
    if (wait.limits.until_ms >= 0 && json_get_number(line.get(), "ms") > wait.limits.until_ms)
        return false;
    if (row.is_it(wait.wanted, line.get())) {
        wait.result.line = std::move(line);
        return true;
    }
    return may_change_it(wait, line.get()) && look(wait);
}

// Reads what has been written so far.
static bool take_written(waiting &wait)
{
    while (json_ptr line = journal_reader_next(wait.journal, 0)) {
        if (take_line(wait, std::move(line)))
            return true;
    }
    return false;
}

// Asks to be told when the virtual time is up. false: there is no camera.
static bool set_alarm(waiting &wait)
{
    if (wait.limits.until_ms < 0)
        return true;
    const json_ptr command = command_of("clock.wait");
    json_set_number(command.get(), "until_ms", wait.limits.until_ms);
    return control_connect(wait.alarm) && control_send(wait.alarm, command.get());
}

// true: the alarm has rung, or will not ring any more.
static bool is_over(waiting &wait, wait_end &end)
{
    if (host_time_ms() >= wait.host_deadline) {
        end = wait_end::host_late;
        return true;
    }
    if (wait.limits.until_ms < 0)
        return false;
    const json_ptr answer(control_receive(wait.alarm, 0));
    end = json_member(answer, "done") != nullptr ? wait_end::late : wait_end::gone;
    return answer != nullptr || wait.alarm.fd < 0;
}

static wait_end wait_on(waiting &wait)
{
    constexpr int64_t longest_ms = 60'000;
    if (!set_alarm(wait))
        return wait_end::gone;
    if (look(wait))
        return wait_end::came;
    wait_end end = wait_end::came;
    while (!is_over(wait, end)) {
        const int64_t left = std::min(wait.host_deadline - host_time_ms(), longest_ms);
        json_ptr line =
            journal_reader_next(wait.journal, static_cast<int>(std::max<int64_t>(left, 0)), wait.alarm.fd);
        if (line && take_line(wait, std::move(line)))
            return wait_end::came;
    }
    // What was written in the last moment still counts.
    if (take_written(wait) || (end != wait_end::gone && look(wait)))
        return wait_end::came;
    return end;
}

wait_result wait_for(const goal &goal, journal_reader &journal, const wait_limits &limits)
{
    waiting wait{ .wanted = goal, .journal = journal, .limits = limits, .alarm = {}, .result = {} };
    if (limits.host_ms >= 0)
        wait.host_deadline = host_time_ms() + limits.host_ms;
    wait.result.end = wait_on(wait);
    control_close(wait.alarm);
    return std::move(wait.result);
}

std::vector<json_ptr> wait_history(const goal &goal, const std::string &run_folder, size_t most)
{
    std::vector<json_ptr> lines;
    journal_reader reader;
    journal_reader_open(reader, run_folder, false);
    while (json_ptr line = journal_reader_next(reader, 0)) {
        if (!goal.row->is_about(goal, line.get()))
            continue;
        lines.push_back(std::move(line));
        if (lines.size() > most)
            lines.erase(lines.begin());
    }
    journal_reader_close(reader);
    return lines;
}
