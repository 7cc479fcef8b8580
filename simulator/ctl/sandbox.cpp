// SPDX-License-Identifier: MIT
#include "ctl/sandbox.h"

#include "ctl/execute.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/personality.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

using words = std::vector<std::string>;

static constexpr char passwd[] = "root:x:0:0:root:/:/bin/sh\n";
static constexpr char group[] = "root:x:0:\n";
static constexpr char card_bytes[] = "67108864";

// What a sanitizer finds is written where status, stop and the tests look for it. It holds back little of
// what was freed, so that a program that grows can be told from one that does not. The daemon does its whole
// shutdown in the handler of SIGINT, which it lets in only where it waits: nothing that it could interrupt
// half-way.
// clang-format off
static constexpr const char *environment[][2] = {
    { "PATH",          "/camera/device/bin:/usr/sbin:/usr/bin:/sbin:/bin" },
    { "HOME",          "/" },
    { "CAMERA_RUN",    "/run/camera" },
    { "ASAN_OPTIONS",  "log_path=/run/camera/report:abort_on_error=0:detect_leaks=1:quarantine_size_mb=16" },
    { "UBSAN_OPTIONS", "log_path=/run/camera/report:print_stacktrace=1" },
    { "TSAN_OPTIONS",  "log_path=/run/camera/report:report_signal_unsafe=0" },
};
// clang-format on

std::vector<std::string> sandbox_environment()
{
    std::vector<std::string> variables;
    for (const auto &[name, value] : environment)
        variables.push_back(std::string(name) + "=" + value);
    return variables;
}

// The namespaces and the system's programs: what the trial and the camera have in common.
static words walls()
{
    words line = { "bwrap",         "--unshare-user",
                   "--uid",         "0",
                   "--gid",         "0",
                   "--unshare-pid", "--unshare-net",
                   "--unshare-ipc", "--unshare-uts",
                   "--cap-drop",    "ALL",
                   "--as-pid-1",    "--die-with-parent",
                   "--new-session", "--ro-bind",
                   "/usr",          "/usr",
                   "--proc",        "/proc",
                   "--dev",         "/dev",
                   "--tmpfs",       "/tmp",
                   "--tmpfs",       "/run" };
    for (const char *name : { "/bin", "/sbin", "/lib", "/lib32", "/lib64", "/libx32" }) {
        struct stat about = {};
        char target[256] = {};
        if (lstat(name, &about) != 0)
            continue;
        if (S_ISLNK(about.st_mode) && readlink(name, target, sizeof(target) - 1) > 0)
            line.insert(line.end(), { "--symlink", target, name });
        else
            line.insert(line.end(), { "--ro-bind", name, name });
    }
    return line;
}

// A command line, and the descriptors that it names.
struct sandbox_line {
    words arguments;
    std::vector<int> files;
};

// An option whose value bwrap reads from a descriptor. False: there is none to be had, nothing was added.
static bool add_text(sandbox_line &line, const char *option, const std::string &text)
{
    const int fd = memfd_create(option, MFD_CLOEXEC);
    if (fd < 0 || write(fd, text.data(), text.size()) < 0 || lseek(fd, 0, SEEK_SET) != 0)
        return false;
    line.files.push_back(fd);
    line.arguments.insert(line.arguments.end(), { option, std::to_string(fd) });
    return true;
}

// A file inside with this content.
static void add_file(sandbox_line &line, const char *path, const char *text)
{
    if (add_text(line, "--file", text))
        line.arguments.emplace_back(path);
}

// What the daemon finds in the file system of its camera. Links in folders of the camera's own, so that
// inside a script can be taken away and another one put there.
// clang-format off
static constexpr const char *device_files[][2] = {
    { "/camera/device/os-release",     "/etc/os-release"          },
    { "/camera/device/bin/log2tf.sh",  "/mnt/data/bin/log2tf.sh"  },
    { "/camera/device/bin/log2ky.sh",  "/mnt/data/bin/log2ky.sh"  },
    { "/camera/device/bin/kivo_log",   "/mnt/data/bin/kivo_log"   },
};
// clang-format on

static void add_device(words &all)
{
    for (const auto &[target, name] : device_files)
        all.insert(all.end(), { "--symlink", target, name });
    all.insert(all.end(), { "--dir", "/etc/perp/.control" });
    // The memory card, which stage puts in its place and takes away.
    all.insert(all.end(), { "--size", card_bytes, "--tmpfs", "/run/card" });
}

// The build's prompts, in the same way.
static void add_sounds(sandbox_line &line, const std::string &folder)
{
    std::error_code error;
    std::string links;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(folder, error)) {
        const std::string name = entry.path().lexically_relative(folder);
        if (!entry.is_regular_file(error))
            continue;
        for (const std::string &word :
             { std::string("--symlink"), "/camera/sound/" + name, "/mnt/data/sound/" + name })
            links.append(word).push_back('\0');
    }
    add_text(line, "--args", links);
}

static sandbox_line camera_line(const place &where, const words &stage_arguments)
{
    sandbox_line line{ walls(), {} };
    words &all = line.arguments;
    all.insert(all.end(), { "--hostname", where.name, "--dir", "/etc" });
    add_file(line, "/etc/passwd", passwd);
    add_file(line, "/etc/group", group);
    all.insert(all.end(), { "--bind", where.run, "/run/camera", "--bind", where.state, "/state", "--ro-bind",
                            where.build, "/camera", "--tmpfs", "/mnt/data", "--chdir", "/", "--clearenv" });
    add_device(all);
    add_sounds(line, where.build + "/sound");
    for (const auto &[name, value] : environment)
        all.insert(all.end(), { "--setenv", name, value });
    all.emplace_back("/camera/simulator/stage");
    all.insert(all.end(), stage_arguments.begin(), stage_arguments.end());
    return line;
}

// In the child: a session of its own, so that a Ctrl-C reaches the tool alone, the output where it was asked
// for, and no descriptor of whoever called the tool.
[[noreturn]] static void become(const sandbox_line &line, int output)
{
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    dup2(nothing, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    for (const int fd : line.files)
        fcntl(fd, F_SETFD, 0);
    setsid();
#ifdef CAMERA_FIXED_ADDRESSES
    // ThreadSanitizer of this compiler cannot live with addresses as random as a newer kernel makes them.
    personality(ADDR_NO_RANDOMIZE);
#endif
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execute(line.arguments);
    dprintf(STDERR_FILENO, "bwrap cannot be run: %s\n", strerror(errno));
    _exit(127);
}

static pid_t start(const sandbox_line &line, int output)
{
    const pid_t pid = fork();
    if (pid == 0)
        become(line, output);
    for (const int fd : line.files)
        close(fd);
    return pid;
}

pid_t sandbox_start(const place &where, const words &stage_arguments)
{
    const int output = open((where.run + "/output").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (output < 0)
        return -1;
    const pid_t pid = start(camera_line(where, stage_arguments), output);
    close(output);
    return pid;
}

struct setting {
    const char *file;
    long closed; // the value with which the system forbids the sandbox
    const char *helps;
};

// clang-format off
static constexpr setting settings[] = {
    { "/proc/sys/kernel/unprivileged_userns_clone",             0, "kernel.unprivileged_userns_clone=1" },
    { "/proc/sys/kernel/apparmor_restrict_unprivileged_userns", 1, "kernel.apparmor_restrict_unprivileged_userns=0" },
    { "/proc/sys/user/max_user_namespaces",                     0, "user.max_user_namespaces=10000" },
};
// clang-format on

static std::string remedy()
{
    for (const setting &row : settings) {
        std::ifstream file(row.file);
        long value = 0;
        if (file >> value && value == row.closed)
            return std::string("\"sudo sysctl ") + row.helps + "\" allows it";
    }
    if (geteuid() != 0)
        return "with sudo before ./camera it may work";
    return "in a container, start that with --privileged or with user namespaces allowed";
}

static std::string read_all(int fd)
{
    char text[512] = {};
    ssize_t count = pread(fd, text, sizeof(text) - 1, 0);
    while (count > 0 && text[count - 1] == '\n')
        text[--count] = '\0';
    return text;
}

std::string sandbox_trouble(const place &where)
{
    const int output = memfd_create("words", MFD_CLOEXEC);
    sandbox_line line{ walls(), {} };
    line.arguments.insert(line.arguments.end(), { "--hostname", where.name, "/usr/bin/true" });
    const pid_t pid = start(line, output);
    int status = -1;
    while (pid > 0 && waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    const std::string said = read_all(output);
    close(output);
    if (status == 0)
        return "";
    if (WIFEXITED(status) && WEXITSTATUS(status) == 127)
        return said + "; apt-get install bubblewrap brings it";
    return "this system forbids the sandbox that the camera runs in (" + said + "); " + remedy();
}
