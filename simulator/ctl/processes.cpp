// SPDX-License-Identifier: MIT
#include "ctl/processes.h"

#include "common/json.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

namespace fs = std::filesystem;

struct process {
    pid_t pid = -1;
    pid_t parent = -1;
    int64_t inside = -1; // its number in its own namespace
    pid_t tracer = 0;
    std::string name;
};

struct field_row {
    const char *name; // in /proc/PID/status
    void (*take)(process &process, const std::string &last_word);
};

static pid_t to_pid(const std::string &word)
{
    return static_cast<pid_t>(strtol(word.c_str(), nullptr, 10));
}

// clang-format off
static constexpr field_row fields[] = {
    { "Name:",      [](process &process, const std::string &word) { process.name = word; } },
    { "PPid:",      [](process &process, const std::string &word) { process.parent = to_pid(word); } },
    { "TracerPid:", [](process &process, const std::string &word) { process.tracer = to_pid(word); } },
    { "NSpid:",     [](process &process, const std::string &word) { process.inside = to_pid(word); } },
};
// clang-format on

static process read_process(pid_t pid)
{
    process process = { .pid = pid, .name = {} };
    std::ifstream file("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string name;
        std::string last;
        words >> name;
        while (words >> last) {
        }
        for (const field_row &row : fields) {
            if (name == row.name)
                row.take(process, last);
        }
    }
    return process;
}

static std::vector<process> all_processes()
{
    std::vector<process> all;
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator("/proc", error)) {
        const pid_t pid = to_pid(entry.path().filename());
        if (pid > 0)
            all.push_back(read_process(pid));
    }
    return all;
}

static pid_t parent_of(const std::vector<process> &all, pid_t pid)
{
    for (const process &process : all) {
        if (process.pid == pid)
            return process.parent;
    }
    return -1;
}

// Between the keeper and stage stands the sandbox.
static pid_t find_stage(const std::vector<process> &all, const place &where)
{
    const json_ptr about = json_parse(place_read(where, "about"));
    const auto keeper = static_cast<pid_t>(json_get_number(about.get(), "keeper", -1));
    if (!place_is_running(where) || keeper <= 0)
        return -1;
    for (const process &process : all) {
        if (process.inside == 1 && process.name == "stage" && parent_of(all, process.parent) == keeper)
            return process.pid;
    }
    return -1;
}

pid_t processes_stage(const place &where)
{
    return find_stage(all_processes(), where);
}

pid_t processes_inside(const place &where, int64_t number)
{
    const std::vector<process> all = all_processes();
    const pid_t stage = find_stage(all, where);
    for (const process &process : all) {
        if (stage > 0 && process.parent == stage && process.inside == number)
            return process.pid;
    }
    return -1;
}

pid_t processes_tracer(pid_t pid)
{
    return read_process(pid).tracer;
}
