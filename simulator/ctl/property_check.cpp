// SPDX-License-Identifier: MIT
#include "common/host_time.h"
#include "ctl/journal_reader.h"
#include "ctl/property.h"
#include "ctl/say.h"

#include <set>

// Something that the camera does on somebody's account, not on its own.
static bool is_motion(json_object *entry)
{
    const std::string who = json_get_text(entry, "who");
    const std::string what = json_get_text(entry, "what");
    if (who == "store")
        return what == "set" || what == "unset" || what == "reset";
    return who == "cloud" && (what == "read" || what == "written" || what == "reported" || what == "pulled");
}

// Reads the journal until nothing has moved for a while and all the numbers have been reported, or will not
// be. false: there is no rest.
static bool wait_for_rest(journal_reader &journal, std::set<std::string> numbers)
{
    constexpr int rest_ms = 500;
    constexpr int patience_ms = 5000;
    const int64_t end = host_time_ms() + patience_ms;
    int64_t rest = host_time_ms() + rest_ms;
    for (int64_t now = host_time_ms(); now < end; now = host_time_ms()) {
        if (now >= rest && numbers.empty())
            return true;
        const int64_t next = numbers.empty() ? rest : end;
        const json_ptr entry = journal_reader_next(journal, static_cast<int>(next - now));
        if (!entry || !is_motion(entry.get()))
            continue;
        rest = host_time_ms() + rest_ms;
        if (json_get_text(entry.get(), "what") == "reported")
            numbers.erase(json_get_text(entry.get(), "property"));
    }
    return host_time_ms() >= rest;
}

// Writes what a watched key holds once more, as another program of the camera could. true: it held something.
static bool write_again(json_object *row)
{
    const json_ptr get = command_of("store.get");
    for (const char *member : { "space", "key" })
        json_set_text(get.get(), member, json_get_text(row, member));
    const json_ptr held = ask_quietly(get);
    json_object *done = json_member(held, "done");
    if (done == nullptr)
        return false;
    const json_ptr set = command_of("store.set");
    for (const char *member : { "space", "key" })
        json_set_text(set.get(), member, json_get_text(row, member));
    for (const char *member : { "value", "type" }) {
        json_object *value = nullptr;
        json_object_object_get_ex(done, member, &value);
        json_object_object_add(set.get(), member, json_object_get(value));
    }
    return json_member(ask_quietly(set), "done") != nullptr;
}

// The numbers whose report is to come.
static std::set<std::string> write_all_again(const json_ptr &rows)
{
    std::set<std::string> numbers;
    for (size_t i = 0; i < json_object_array_length(rows.get()); i++) {
        json_object *row = json_object_array_get_idx(rows.get(), i);
        const std::string watched = json_get_text(row, "watched");
        if (watched != "no" && write_again(row) && watched == "yes")
            numbers.insert(json_get_text(row, "property"));
    }
    return numbers;
}

// Lets every watched property be reported, then reads all. false: it has been said why not.
static bool collect(const ctl_request &request, journal_reader &journal, int &status)
{
    const json_ptr rows = property_rows(request, status);
    // A daemon that does not answer is told before anything is written.
    if (!rows || !property_read_now(request, { "device_id" }, status))
        return false;
    if (!wait_for_rest(journal, {})) {
        status = say_refused(request, "the camera does not come to rest: its settings change all the time");
        return false;
    }
    if (!ask_camera(request, command_of("cloud.prop_check_begin"), status))
        return false;
    wait_for_rest(journal, write_all_again(rows));
    return property_read_now(request, {}, status) != nullptr;
}

static std::string finding_line(json_object *row)
{
    constexpr size_t verdict_width = 10;
    std::string verdict = json_get_text(row, "verdict");
    const std::string reason = json_get_text(row, "reason");
    if (!reason.empty())
        verdict.resize(verdict_width, ' ');
    return property_line_start(row) + verdict + (reason.empty() ? "" : "  ") + reason + "\n";
}

int prop_check(const ctl_request &request)
{
    int status = ctl_done;
    journal_reader journal;
    journal_reader_open(journal, request.where.run, true);
    const bool collected = collect(request, journal, status);
    journal_reader_close(journal);
    const json_ptr done = collected ? ask_camera(request, command_of("cloud.prop_check"), status) : nullptr;
    if (!done)
        return status;
    std::string text;
    json_object *rows = json_member(done, "properties");
    for (size_t i = 0; i < json_object_array_length(rows); i++)
        text += finding_line(json_object_array_get_idx(rows, i));
    const int64_t differing = json_get_number(done.get(), "differing");
    say_done(request, done.get(), text + std::to_string(differing) + " differ\n");
    return differing == 0 ? ctl_done : ctl_refused;
}
