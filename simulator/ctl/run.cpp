// SPDX-License-Identifier: MIT
#include "ctl/run.h"

#include "common/host_time.h"
#include "ctl/execute.h"
#include "ctl/interrupts.h"
#include "ctl/preset.h"
#include "ctl/render.h"
#include "ctl/sandbox.h"
#include "ctl/say.h"
#include "ctl/start.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

int check_system(const ctl_request &request)
{
    const std::string trouble = sandbox_trouble(request.where);
    if (!trouble.empty())
        return say_refused(request, trouble);
    return say_done(request, nullptr, "this system can run a camera");
}

int run_tests(const ctl_request &request)
{
    const std::string script = request.where.source + "/camera";
    std::vector<std::string> line = { script };
    line.insert(line.end(), request.line.begin(), request.line.end());
    execute(line);
    return say_could_not(request, "cannot run " + script + ": " + strerror(errno));
}

// The store knows the state folder by its name inside.
static std::string outside(const place &where, std::string sentence)
{
    const std::string inside = "/state/";
    const size_t at = sentence.find(inside);
    return at == std::string::npos ? sentence : sentence.replace(at, inside.size(), where.state + "/");
}

static json_ptr up_json(const ctl_request &request, const camera_start &start, const std::string &note)
{
    json_ptr done = json_of("name", request.options.name);
    json_set_text(done.get(), "state", request.where.state);
    json_set_text(done.get(), "run", request.where.run);
    json_set_text(done.get(), "seed", start.seed);
    json_set_text(done.get(), "note", note);
    json_object_object_add(done.get(), "bound", json_object_new_boolean(!request.options.unbound));
    return done;
}

static int say_up(const ctl_request &request, const camera_start &start)
{
    const ctl_options &options = request.options;
    const std::string name = place_name_option(options.name);
    const std::string note = outside(request.where, start.ready.damaged);
    char seconds[32];
    snprintf(seconds, sizeof(seconds), "%.1f s", static_cast<double>(host_time_ms() - start.began_ms) / 1000);
    std::string text = "camera \"" + options.name + "\" is up after " + seconds +
                       ": the daemon, its store, its cloud client and its player, " +
                       (options.unbound ? "not bound\n" : "bound\n");
    if (!note.empty())
        text += "note    " + note + "\n";
    text += "try     ./camera call get_prop '[\"power\",\"light\"]'" + name + "\n";
    text += "        ./camera call set_power '[\"off\"]'" + name + "\n";
    text += "        ./camera log --follow" + name + "\n";
    text += "state   " + request.where.state + "\n";
    text += "seed    " + start.seed + ", --seed " + start.seed + " repeats its random numbers\n";
    text += "stop    ./camera stop" + name + (options.detach ? "" : ", or Ctrl-C here");
    return say_done(request, up_json(request, start, note).get(), text);
}

// Shows the log until the camera has ended. A first Ctrl-C stops it in order, a second one at once.
static int stay(const ctl_request &request, camera_start &start)
{
    constexpr int look_ms = 100; // how often the sandbox is looked at while nothing is written
    int64_t deadline = INT64_MAX;
    int status = 0;
    while (waitpid(start.pid, &status, WNOHANG) != start.pid) {
        while (const json_ptr entry = journal_reader_next(start.journal, look_ms)) {
            puts(request.options.json ? json_text(entry.get()).c_str() : render_entry(entry.get()).c_str());
            fflush(stdout);
        }
        if (interrupts_count() > 0 && deadline == INT64_MAX) {
            deadline = host_time_ms() + start_longest_stop_ms;
            start_ask_stop();
        }
        if (interrupts_count() > 1 || host_time_ms() > deadline)
            kill(start.pid, SIGKILL);
    }
    if (status == 0)
        return ctl_done;
    fputs(start_last_output(request.where).c_str(), stderr);
    return say_could_not(request, interrupts_count() > 0 ? "the camera was ended at once"
                                                         : "the camera ended by itself");
}

int run_camera(const ctl_request &request)
{
    int status = ctl_done;
    camera_start start;
    if (!preset_is_ours(request, status))
        return status;
    if (!start_camera(request, start, status))
        return status;
    status = say_up(request, start);
    return request.options.detach ? status : stay(request, start);
}
