// SPDX-License-Identifier: MIT
#include "virtual_camera.h"

#include "common/control.h"
#include "common/host_time.h"
#include "ctl/place.h"
#include "ctl/render.h"
#include "ctl/show.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <deque>
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

static void become(const std::vector<std::string> &line, const std::vector<std::string> &environment,
                   const std::string &folder)
{
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const int out = open((folder + "/out").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const int err = open((folder + "/err").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    dup2(nothing, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    for (const std::string &variable : environment)
        putenv(const_cast<char *>(variable.c_str()));
    std::vector<char *> arguments;
    for (const std::string &word : line)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

command_result run_program(const std::vector<std::string> &line, const std::vector<std::string> &environment)
{
    char pattern[] = "/tmp/kivo-words-XXXXXX";
    std::string folder = mkdtemp(pattern);
    const pid_t pid = fork();
    if (pid == 0)
        become(line, environment, folder);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    command_result result;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.out = whole_file(folder + "/out");
    result.err = whole_file(folder + "/err");
    fs::remove_all(folder);
    return result;
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

void camera_start(virtual_camera &camera, const std::vector<std::string> &options)
{
    std::vector<std::string> words = { "run", "--detach", "--json", "--state", camera.folder + "/state" };
    words.insert(words.end(), options.begin(), options.end());
    const command_result result = camera_do(camera, words);
    ASSERT_EQ(result.status, 0) << result.out << result.err;
    camera.run = json_get_text(json_parse(result.out.substr(0, result.out.find('\n'))).get(), "run");
    journal_reader_close(camera.journal);
    journal_reader_open(camera.journal, camera.run, false);
}

void camera_stop(virtual_camera &camera)
{
    const command_result result = camera_do(camera, { "stop" });
    EXPECT_EQ(result.status, 0) << result.out << result.err;
}

bool line_is(json_object *line, const line_like &like)
{
    for (const std::string &member : like) {
        const size_t equals = member.find('=');
        const std::string key = member.substr(0, equals);
        if (!json_object_object_get_ex(line, key.c_str(), nullptr) ||
            json_get_text(line, key.c_str()) != member.substr(equals + 1))
            return false;
    }
    return true;
}

json_ptr camera_sees(virtual_camera &camera, const line_like &like, int deadline_ms)
{
    constexpr size_t most_shown = 25;
    const int64_t deadline = host_time_ms() + deadline_ms;
    std::deque<std::string> last;
    for (int64_t left = deadline_ms; left > 0; left = deadline - host_time_ms()) {
        json_ptr line = journal_reader_next(camera.journal, static_cast<int>(left));
        if (line && line_is(line.get(), like))
            return line;
        if (line)
            last.push_back(render_entry(line.get()));
        if (last.size() > most_shown)
            last.pop_front();
    }
    std::string text = "did not see";
    for (const std::string &member : like)
        text += " " + member;
    text += " in the journal; the last of what came instead:";
    for (const std::string &line : last)
        text += "\n" + line;
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
    journal_reader reader;
    journal_reader_open(reader, camera.run, false);
    while (json_ptr line = journal_reader_next(reader, 0)) {
        if (line_is(line.get(), like))
            lines.push_back(std::move(line));
    }
    journal_reader_close(reader);
    return lines;
}

void camera_make(virtual_camera &camera, const std::string &name)
{
    char pattern[] = "/tmp/kivo-case-XXXXXX";
    camera.folder = mkdtemp(pattern);
    camera.name = name + "-" + std::to_string(getpid());
}

void camera_unmake(virtual_camera &camera)
{
    place where;
    std::string reason;
    journal_reader_close(camera.journal);
    ASSERT_TRUE(place_find(camera.name, "", where, reason)) << reason;
    if (place_is_running(where))
        camera_stop(camera);
    EXPECT_EQ(show_reports(where), "") << "a sanitizer found something; what the programs printed:\n"
                                       << place_read(where, "output");
    fs::remove_all(where.run);
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
