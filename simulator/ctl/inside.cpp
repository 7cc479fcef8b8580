// SPDX-License-Identifier: MIT
#include "ctl/inside.h"

#include "ctl/execute.h"
#include "ctl/processes.h"
#include "ctl/sandbox.h"
#include "ctl/say.h"

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

// The daemon as this system numbers it; -1: why not was said.
static pid_t find_daemon(const ctl_request &request, int &status)
{
    const json_ptr camera = ask_camera(request, command_of("status"), status);
    if (!camera)
        return -1;
    json_object *programs = json_member(camera, "programs");
    int64_t number = -1;
    for (size_t i = 0; programs != nullptr && i < json_object_array_length(programs); i++) {
        json_object *program = json_object_array_get_idx(programs, i);
        if (json_get_text(program, "name") == "daemon")
            number = json_get_number(program, "pid", -1);
    }
    const pid_t pid = number > 0 ? processes_inside(request.where, number) : -1;
    if (pid < 0)
        status = say_refused(request, "the daemon is not running; ./camera status shows why");
    return pid;
}

// Takes hold of the process for a moment, without stopping it; 0, or errno. A child does it, whose end lets
// go.
static int try_to_hold(pid_t pid)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(ptrace(PTRACE_SEIZE, pid, nullptr, nullptr) == 0 ? 0 : errno);
    int status = -1;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : EAGAIN;
}

static std::string hold_remedy()
{
    int scope = 0;
    std::ifstream("/proc/sys/kernel/yama/ptrace_scope") >> scope;
    if (scope > 0)
        return "\"sudo sysctl kernel.yama.ptrace_scope=0\" allows it";
    return "in a container, start that with --cap-add=SYS_PTRACE";
}

// "": a debugger can be attached; otherwise a sentence.
static std::string hold_trouble(pid_t daemon)
{
    const pid_t tracer = processes_tracer(daemon);
    if (tracer > 0)
        return "process " + std::to_string(tracer) + " holds the daemon already; end that debugger first";
    const int error = try_to_hold(daemon);
    if (error == 0)
        return "";
    return std::string("this system does not let a debugger hold the daemon (") + strerror(error) + "); " +
           hold_remedy();
}

// gdb runs outside, where the sources are, and finds programs and libraries with their symbols through the
// daemon's own root.
int attach_gdb(const ctl_request &request)
{
    int status = ctl_done;
    const pid_t daemon = find_daemon(request, status);
    if (daemon < 0)
        return status;
    const std::string trouble = hold_trouble(daemon);
    if (!trouble.empty())
        return say_refused(request, trouble);
    const std::string pid = std::to_string(daemon);
    std::vector<std::string> line = { "gdb", "-q", "-iex", "set sysroot /proc/" + pid + "/root" };
    line.insert(line.end(), { "-p", pid });
    line.insert(line.end(), request.arguments.begin(), request.arguments.end());
    execute(line);
    return say_could_not(request, std::string("gdb cannot be run: ") + strerror(errno) +
                                      "; apt-get install gdb brings it");
}

// A program among those of the camera: their namespaces, no more rights than they have, and their
// surroundings.
static std::vector<std::string> line_inside(pid_t stage, const std::vector<std::string> &command)
{
    std::vector<std::string> line = { "nsenter", "--target", std::to_string(stage) };
    line.insert(line.end(),
                { "--user", "--mount", "--pid", "--ipc", "--net", "--uts", "--preserve-credentials" });
    line.insert(line.end(), { "env", "-i" });
    for (const std::string &variable : sandbox_environment())
        line.push_back(variable);
    const char *terminal = getenv("TERM");
    line.insert(line.end(),
                { std::string("TERM=") + (terminal == nullptr ? "dumb" : terminal), "PS1=camera:\\w\\$ " });
    line.insert(line.end(), { "setpriv", "--no-new-privs", "--inh-caps=-all", "--bounding-set=-all" });
    line.insert(line.end(), command.begin(), command.end());
    return line;
}

int open_shell(const ctl_request &request)
{
    int status = ctl_done;
    if (!ask_camera(request, command_of("status"), status))
        return status;
    const pid_t stage = processes_stage(request.where);
    if (stage < 0)
        return say_refused(request, "the camera's process 1 is not to be seen in /proc");
    std::string words;
    if (execute_and_listen(line_inside(stage, { "/usr/bin/true" }), words) != 0)
        return say_refused(request, "this system lets no shell into the sandbox (" +
                                        words.substr(0, words.find('\n')) + ")");
    std::vector<std::string> command = request.arguments;
    if (command.empty())
        command = { access("/bin/bash", X_OK) == 0 ? "/bin/bash" : "/bin/sh" };
    execute(line_inside(stage, command));
    return say_could_not(request, std::string("nsenter cannot be run: ") + strerror(errno) +
                                      "; apt-get install util-linux brings it");
}
