// SPDX-License-Identifier: MIT
#include "virtual_camera.h"

#include "common/control.h"
#include "common/host_time.h"
#include "ctl/execute.h"
#include "ctl/place.h"
#include "ctl/render.h"
#include "ctl/waiting.h"

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

static const std::string tool = CAMERA_BUILD "/simulator/ctl";

static std::string whole_file(const std::string &path)
{
    const std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// What a program reads and writes.
struct channels {
    int in;
    int out;
    int err;
};

static void become(const std::vector<std::string> &line, const std::vector<std::string> &environment,
                   const channels &channels)
{
    dup2(channels.in, STDIN_FILENO);
    dup2(channels.out, STDOUT_FILENO);
    dup2(channels.err, STDERR_FILENO);
    for (const std::string &variable : environment)
        putenv(const_cast<char *>(variable.c_str()));
    execute(line);
    _exit(127);
}

static int file_for_words(const std::string &path)
{
    return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
}

static int status_of(pid_t pid)
{
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

command_result run_program(const std::vector<std::string> &line, const std::vector<std::string> &environment,
                           void (*prepare)(void))
{
    char pattern[] = "/tmp/kivo-words-XXXXXX";
    const std::string folder = mkdtemp(pattern);
    const pid_t pid = fork();
    if (pid == 0 && prepare != nullptr)
        prepare();
    if (pid == 0)
        become(line, environment,
               { open("/dev/null", O_RDONLY | O_CLOEXEC), file_for_words(folder + "/out"),
                 file_for_words(folder + "/err") });
    command_result result;
    result.status = status_of(pid);
    result.out = whole_file(folder + "/out");
    result.err = whole_file(folder + "/err");
    fs::remove_all(folder);
    return result;
}

void forbid_system_call(unsigned number)
{
    sock_filter lines[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = { .len = std::size(lines), .filter = lines };
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
        _exit(127);
}

std::string read_until(int fd, const std::string &wanted)
{
    constexpr int patience_ms = 20'000;
    std::string text;
    char part[512];
    pollfd entry = { fd, POLLIN, 0 };
    ssize_t count = 1;
    while (text.find(wanted) == std::string::npos && count > 0) {
        count = poll(&entry, 1, patience_ms) > 0 ? read(fd, part, sizeof(part)) : 0;
        text.append(part, static_cast<size_t>(count > 0 ? count : 0));
    }
    return text;
}

command_result camera_do(const virtual_camera &camera, std::vector<std::string> words)
{
    words.insert(words.begin(), { tool, "--name", camera.name });
    return run_program(words);
}

json_ptr camera_ask(const virtual_camera &camera, std::vector<std::string> words)
{
    words.emplace_back("--json");
    const command_result result = camera_do(camera, words);
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    return json_parse(result.out.substr(0, result.out.find('\n')));
}

// The tool holds the camera for a command that says when it begins, by giving back what it is told, and ends
// with its input.
static void hold_camera(virtual_camera &camera, const std::vector<std::string> &options)
{
    std::vector<std::string> line = { tool, "with", "--name", camera.name };
    line.insert(line.end(), options.begin(), options.end());
    line.insert(line.end(), { "--", "cat" });
    int in[2] = { -1, -1 };
    int out[2] = { -1, -1 };
    ASSERT_TRUE(pipe2(in, O_CLOEXEC) == 0 && pipe2(out, O_CLOEXEC) == 0);
    camera.with = fork();
    if (camera.with == 0)
        become(line, {}, { in[0], out[1], file_for_words(camera.folder + "/with") });
    char up = 0;
    camera.hold = in[1];
    bool told = write(camera.hold, "!", 1) == 1;
    close(in[0]);
    close(out[1]);
    told = told && read(out[0], &up, 1) == 1;
    close(out[0]);
    ASSERT_TRUE(told) << whole_file(camera.folder + "/with");
}

void camera_start(virtual_camera &camera, const std::vector<std::string> &options)
{
    if (camera.with < 0) {
        hold_camera(camera, options);
    } else {
        std::vector<std::string> words = { "run", "--detach", "--state", camera.state };
        words.insert(words.end(), options.begin(), options.end());
        const command_result result = camera_do(camera, words);
        ASSERT_EQ(result.status, 0) << result.out << result.err;
    }
    journal_reader_close(camera.journal);
    journal_reader_open(camera.journal, camera.run, false);
}

void camera_stop(virtual_camera &camera)
{
    const command_result result = camera_do(camera, { "stop" });
    EXPECT_EQ(result.status, 0) << result.out << result.err;
}

json_ptr camera_sees(virtual_camera &camera, const line_like &like, int deadline_ms)
{
    constexpr size_t most_shown = 25;
    const goal goal = goal_of_line(like);
    wait_result result = wait_for(goal, camera.journal, { .host_ms = deadline_ms });
    if (result.end == wait_end::came)
        return std::move(result.line);
    std::string text = "did not see \"" + goal.text + "\" in the journal, which ends so:";
    for (const json_ptr &line : wait_history(goal, camera.run, most_shown))
        text += "\n" + render_entry(line.get());
    ADD_FAILURE() << text;
    return nullptr;
}

int64_t camera_call(const virtual_camera &camera, const std::string &method, const std::string &params)
{
    // "call" listens to what follows; asking the control socket alone does not.
    setenv("CAMERA_RUN", camera.run.c_str(), 1);
    control_link link;
    const json_ptr command = json_of("do", "cloud.call");
    json_set_text(command.get(), "method", method);
    json_object_object_add(command.get(), "params", json_parse(params).release());
    if (!control_connect(link))
        return -1;
    const json_ptr answer(control_ask(link, command.get(), 20'000));
    control_close(link);
    json_object *done = nullptr;
    json_object_object_get_ex(answer.get(), "done", &done);
    return json_get_number(done, "id", -1);
}

std::string camera_value(const virtual_camera &camera, const std::string &space, const std::string &key)
{
    return json_get_text(camera_ask(camera, { "store", "get", space, key }).get(), "value");
}

int64_t camera_pid(const virtual_camera &camera, const std::string &program)
{
    const json_ptr status = camera_ask(camera, { "status" });
    json_object *programs = nullptr;
    json_object_object_get_ex(status.get(), "programs", &programs);
    for (size_t i = 0; programs != nullptr && i < json_object_array_length(programs); i++) {
        json_object *row = json_object_array_get_idx(programs, i);
        if (json_get_text(row, "name") == program)
            return json_get_number(row, "pid", -1);
    }
    return -1;
}

bool camera_is_dark(const virtual_camera &camera)
{
    const json_ptr answer = camera_ask(camera, { "leds" });
    json_object *leds = nullptr;
    json_object_object_get_ex(answer.get(), "leds", &leds);
    size_t dark = 0;
    for (size_t i = 0; leds != nullptr && i < json_object_array_length(leds); i++)
        dark += json_get_text(json_object_array_get_idx(leds, i), "state") == "off" ? 1 : 0;
    return dark == 2;
}

std::vector<json_ptr> camera_journal(const virtual_camera &camera, const line_like &like)
{
    std::vector<json_ptr> lines;
    const goal goal = goal_of_line(like);
    journal_reader reader;
    journal_reader_open(reader, camera.run, false);
    while (json_ptr line = journal_reader_next(reader, 0)) {
        if (goal.row->is_it(goal, line.get()))
            lines.push_back(std::move(line));
    }
    journal_reader_close(reader);
    return lines;
}

void camera_make(virtual_camera &camera, const std::string &name)
{
    char pattern[] = "/tmp/kivo-case-XXXXXX";
    place where;
    std::string reason;
    camera.folder = mkdtemp(pattern);
    camera.name = name + "-" + std::to_string(getpid());
    ASSERT_TRUE(place_find(camera.name, "", where, reason)) << reason;
    camera.run = where.run;
    camera.state = where.run + ".state";
}

void camera_unmake(virtual_camera &camera)
{
    journal_reader_close(camera.journal);
    if (camera.with > 0) {
        close(camera.hold);
        EXPECT_EQ(status_of(camera.with), 0) << whole_file(camera.folder + "/with");
        EXPECT_FALSE(fs::exists(camera.run));
        EXPECT_FALSE(fs::exists(camera.state));
    }
    fs::remove_all(camera.folder);
}

void camera_case::SetUp()
{
    camera_make(camera, "case");
}

void camera_case::TearDown()
{
    camera_unmake(camera);
}
