// SPDX-License-Identifier: MIT
#include "ctl/show.h"

#include "ctl/journal_reader.h"
#include "ctl/render.h"
#include "ctl/say.h"

#include <csignal>
#include <cstdio>
#include <filesystem>

namespace fs = std::filesystem;

// UndefinedBehaviorSanitizer writes to the programs' output when it runs beside another.
static bool tells_of_a_finding(const std::string &output)
{
    return output.find("runtime error: ") != std::string::npos ||
           output.find("Sanitizer: ") != std::string::npos;
}

std::vector<std::string> show_report_files(const place &where)
{
    std::vector<std::string> files;
    std::error_code error;
    if (tells_of_a_finding(place_read(where, "output")))
        files.emplace_back("output");
    for (const fs::directory_entry &entry : fs::directory_iterator(where.run, error)) {
        if (entry.path().filename().string().starts_with("report."))
            files.push_back(entry.path().filename());
    }
    return files;
}

std::string show_reports(const place &where)
{
    std::string reports;
    for (const std::string &file : show_report_files(where))
        reports += (reports.empty() ? "" : ", ") + where.run + "/" + file;
    return reports;
}

static std::string seconds(int64_t ms)
{
    const int64_t all = ms / 1000;
    char text[64];
    snprintf(text, sizeof(text), "%lld:%02lld:%02lld", static_cast<long long>(all / 3600),
             static_cast<long long>(all / 60 % 60), static_cast<long long>(all % 60));
    return text;
}

static std::string program_line(json_object *program)
{
    char line[160];
    const std::string state = json_get_text(program, "state");
    const std::string end = json_get_text(program, "last_end");
    snprintf(line, sizeof(line), "  %-8s %-8s pid %-6s restarts %lld%s%s\n",
             json_get_text(program, "name").c_str(), state.c_str(),
             json_get_text(program, "pid", "-").c_str(),
             static_cast<long long>(json_get_number(program, "restarts")),
             end.empty() ? "" : ", last end: ", end.c_str());
    return line;
}

static std::string network_line(json_object *cloud)
{
    if (cloud == nullptr)
        return "network   the cloud client does not answer\n";
    const bool connected = json_get_bool(cloud, "connected");
    return "network   " + json_get_text(cloud, "network") + ", the daemon is " +
           (connected ? "connected and serves " + json_get_text(cloud, "methods") + " methods"
                      : "not connected") +
           "\n";
}

// What being bound means for who wonders why a setting has no effect.
static std::string binding_line(bool known, bool bound)
{
    if (!known)
        return "binding   unknown, the store does not answer\n";
    if (bound)
        return "binding   bound: a change of \"power\" is watched and switches the camera\n";
    return "binding   not bound: \"power\" is stored, but only a bound camera watches it\n";
}

// All that a status tells; what does not answer is NULL, whatever has been killed.
struct camera_view {
    json_ptr stage;
    json_ptr cloud;
    std::string state;
    std::string seed;
    std::string reports;
    bool bound = false;
    bool binding_known = false;
};

// A store that does not serve says nothing about the value.
static bool serves(const json_ptr &stage, const char *name)
{
    json_object *programs = json_member(stage, "programs");
    for (size_t i = 0; programs != nullptr && i < json_object_array_length(programs); i++) {
        json_object *program = json_object_array_get_idx(programs, i);
        if (json_get_text(program, "name") == name)
            return json_get_bool(program, "serving");
    }
    return false;
}

static void look_around(const ctl_request &request, camera_view &view)
{
    const json_ptr get = command_of("store.get");
    json_set_text(get.get(), "space", "nvram");
    json_set_text(get.get(), "key", "bind_status");
    view.cloud = ask_quietly(command_of("cloud.status"));
    const json_ptr binding = ask_quietly(get);
    view.bound = json_get_text(json_member(binding, "done"), "value") == "ok";
    view.binding_known = binding && serves(view.stage, "store");
    const json_ptr about = json_parse(place_read(request.where, "about"));
    view.state = json_get_text(about.get(), "state");
    view.seed = json_get_text(about.get(), "seed");
    view.reports = show_reports(request.where);
}

static std::string view_text(const ctl_request &request, const camera_view &view)
{
    json_object *stage = view.stage.get();
    std::string text = "camera \"" + request.options.name + "\" is " + json_get_text(stage, "phase") +
                       ", up " + seconds(json_get_number(stage, "up_ms")) + ", boot " +
                       json_get_text(stage, "boots") + "\n";
    json_object *programs = json_member(view.stage, "programs");
    for (size_t i = 0; programs != nullptr && i < json_object_array_length(programs); i++)
        text += program_line(json_object_array_get_idx(programs, i));
    text += network_line(json_member(view.cloud, "done")) + binding_line(view.binding_known, view.bound);
    text +=
        "state     " + view.state + "\nrun       " + request.where.run + "\nseed      " + view.seed + "\n";
    if (!view.reports.empty())
        text += "a sanitizer found something: " + view.reports + "\n";
    return text;
}

int show_status(const ctl_request &request)
{
    int status = ctl_done;
    camera_view view;
    view.stage = ask_camera(request, command_of("status"), status);
    if (!view.stage)
        return status;
    look_around(request, view);
    json_object *done = view.stage.get();
    json_object_object_add(done, "cloud", json_object_get(json_member(view.cloud, "done")));
    json_object_object_add(done, "bound", view.binding_known ? json_object_new_boolean(view.bound) : nullptr);
    json_set_text(done, "state", view.state);
    json_set_text(done, "run", request.where.run);
    json_set_text(done, "seed", view.seed);
    json_set_text(done, "reports", view.reports);
    return say_done(request, done, view_text(request, view));
}

static std::string led_line(json_object *led)
{
    const std::string state = json_get_text(led, "state");
    std::string text = "LED " + json_get_text(led, "index") + "  " + state;
    if (state != "off")
        text += " at " + json_get_text(led, "brightness") + " %";
    if (json_get_number(led, "on_ms") > 0 || json_get_number(led, "off_ms") > 0)
        text += ", " + json_get_text(led, "on_ms") + " ms lit, " + json_get_text(led, "off_ms") + " ms dark";
    return text + "  (priority " + json_get_text(led, "priority") + ")\n";
}

int show_leds(const ctl_request &request)
{
    int status = ctl_done;
    const json_ptr answer = ask_camera(request, command_of("leds"), status);
    if (!answer)
        return status;
    std::string text;
    json_object *leds = json_member(answer, "leds");
    for (size_t i = 0; leds != nullptr && i < json_object_array_length(leds); i++)
        text += led_line(json_object_array_get_idx(leds, i));
    return say_done(request, answer.get(),
                    text + "priority in force: " + json_get_text(answer.get(), "priority"));
}

int show_head(const ctl_request &request)
{
    int status = ctl_done;
    const json_ptr answer = ask_camera(request, command_of("head"), status);
    if (!answer)
        return status;
    return say_done(request, answer.get(),
                    "pan " + json_get_text(answer.get(), "h") + ", tilt " + json_get_text(answer.get(), "v") +
                        (json_get_bool(answer.get(), "moves") ? ", on its way" : ", at rest") +
                        "  (0 to 100, 50 is the centre)");
}

// The journal's lines of one kind, or with what "" all.
static int show_journal(const ctl_request &request, const std::string &what)
{
    constexpr int look_ms = 500;
    const place &where = request.where;
    journal_reader journal;
    int status = ctl_done;
    if (!say_whether_it_ran(request, status))
        return status;
    signal(SIGPIPE, SIG_DFL);
    journal_reader_open(journal, where.run, false);
    const bool follow = request.options.follow;
    for (;;) {
        const bool runs = follow && place_is_running(where);
        const json_ptr entry = journal_reader_next(journal, runs ? look_ms : 0);
        if (!entry && !runs)
            break;
        if (!entry || (!what.empty() && json_get_text(entry.get(), "what") != what))
            continue;
        puts(request.options.json ? json_text(entry.get()).c_str() : render_entry(entry.get()).c_str());
        if (follow)
            fflush(stdout);
    }
    journal_reader_close(journal);
    return ctl_done;
}

int show_log(const ctl_request &request)
{
    return show_journal(request, "");
}

int show_statistics(const ctl_request &request)
{
    return show_journal(request, "statistics");
}
