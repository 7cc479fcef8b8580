// SPDX-License-Identifier: MIT
#include "ctl/place.h"

#include "common/host_time.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

// What a run leaves behind, besides the lock. A name that ends with "*" stands for all that begin so.
static constexpr const char *run_files[] = { "about", "control",  "journal",  "last_order", "output",
                                             "page",  "playing*", "report.*", "store" };
static constexpr const char *state_files[] = { "nvram*", "cloud.json", "cloud.json.new" };

static std::string environment(const char *name, const std::string &otherwise)
{
    const char *value = getenv(name);
    return value != nullptr && value[0] != '\0' ? value : otherwise;
}

static bool is_ours(const std::string &folder)
{
    struct stat about = {};
    return lstat(folder.c_str(), &about) == 0 && S_ISDIR(about.st_mode) && about.st_uid == geteuid();
}

// /tmp too when the variable names another user's folder, as after sudo.
static std::string run_parent()
{
    const std::string session = environment("XDG_RUNTIME_DIR", "");
    const std::string base = !session.empty() && is_ours(session) ? session : "/tmp";
    return base + "/kivo-camera-" + std::to_string(geteuid());
}

static std::string state_folder(const std::string &name, const std::string &wanted)
{
    std::error_code error;
    if (!wanted.empty())
        return fs::absolute(wanted, error).lexically_normal();
    // Where "with" has put the camera that its command means by default.
    std::string fresh = environment("CAMERA_STATE", "");
    if (!fresh.empty() && name == place_default_name())
        return fresh;
    const std::string home = environment("HOME", "/tmp");
    return environment("XDG_STATE_HOME", home + "/.local/state") + "/kivo_camwarden/" + name;
}

static bool is_good_name(const std::string &name)
{
    constexpr char letters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
    return !name.empty() && name.size() <= 40 && name[0] != '.' &&
           name.find_first_not_of(letters) == std::string::npos;
}

// build/PRESET/simulator/ctl
static void find_build(place &where)
{
    std::error_code error;
    const fs::path own_build = fs::read_symlink("/proc/self/exe", error).parent_path().parent_path();
    where.build = own_build;
    where.source = own_build.parent_path().parent_path();
}

bool place_find(const std::string &name, const std::string &state, place &where, std::string &reason)
{
    if (!is_good_name(name)) {
        reason = "\"" + name + "\" is no name for a camera; take at most 40 letters, digits, \"-\" and \"_\"";
        return false;
    }
    where.name = name;
    where.run = run_parent() + "/" + name;
    where.state = state_folder(name, state);
    // Where it is bound to inside the sandbox does not matter: a socket's name is what connect is given.
    if ((where.run + "/control").size() >= sizeof(sockaddr_un::sun_path)) {
        reason = "the run folder " + where.run +
                 " is too long for a socket; take a shorter --name or XDG_RUNTIME_DIR";
        return false;
    }
    find_build(where);
    return true;
}

static bool make_private(const std::string &folder, std::string &reason)
{
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        reason = "cannot make " + folder + ": " + strerror(errno);
        return false;
    }
    if (is_ours(folder) && chmod(folder.c_str(), 0700) == 0)
        return true;
    reason =
        folder + " belongs to someone else; take it away, or set XDG_RUNTIME_DIR to a folder of your own";
    return false;
}

bool place_make_run(const place &where, std::string &reason)
{
    return make_private(fs::path(where.run).parent_path(), reason) && make_private(where.run, reason);
}

bool place_make_state(const place &where, std::string &reason)
{
    std::error_code error;
    fs::create_directories(where.state, error);
    if (!error && access(where.state.c_str(), R_OK | W_OK | X_OK) == 0)
        return true;
    reason = "cannot use " + where.state +
             " for the camera's state: " + (error ? error.message() : std::string(strerror(errno))) +
             "; --state DIR names another folder";
    return false;
}

static bool is_of(const std::string &file, const std::string &pattern)
{
    if (pattern.back() == '*')
        return file.starts_with(pattern.substr(0, pattern.size() - 1));
    return file == pattern;
}

// Only what we know to be ours: the folder may be anybody's choice.
template <typename names> static void clean(const std::string &folder, const names &patterns)
{
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder, error)) {
        for (const char *pattern : patterns) {
            std::error_code failed;
            if (is_of(entry.path().filename(), pattern))
                fs::remove(entry.path(), failed);
        }
    }
}

void place_clean_run(const place &where)
{
    clean(where.run, run_files);
}

void place_clean_state(const place &where)
{
    clean(where.state, state_files);
}

int place_lock(const place &where)
{
    const int fd = open((where.run + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) == 0)
        return fd;
    if (fd >= 0)
        close(fd);
    return -1;
}

bool place_is_running(const place &where)
{
    const int fd = open((where.run + "/lock").c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0)
        return false;
    const bool taken = flock(fd, LOCK_SH | LOCK_NB) != 0;
    close(fd);
    return taken;
}

bool place_wait_stopped(const place &where, int host_ms)
{
    const int64_t deadline = host_time_ms() + host_ms;
    while (place_is_running(where)) {
        if (host_time_ms() >= deadline)
            return false;
        usleep(5000);
    }
    return true;
}

bool place_write(const place &where, const char *file, const std::string &text)
{
    std::ofstream out(where.run + "/" + file, std::ios::trunc);
    out << text;
    out.close();
    return out.good();
}

std::string place_read(const place &where, const char *file)
{
    const std::ifstream in(where.run + "/" + file);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string place_default_name()
{
    return environment("CAMERA_NAME", "camera");
}

std::string place_name_option(const std::string &name)
{
    return name == place_default_name() ? "" : " --name " + name;
}
