// SPDX-License-Identifier: MIT
#include "fakes/files.h"
#include "fakes/failing.h"
#include "fakes/fixed_files.h"
#include "fakes/record.h"
#include "fakes/system_calls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>

prompt_file_fakes prompt_files;

static const std::string camera_folder = "/mnt/data/sound/";

static std::mutex mutex;
static std::set<int> opened;
static std::set<const void *> mapped;

void prompt_files_reset()
{
    prompt_files = prompt_file_fakes();
}

int prompt_mappings()
{
    std::lock_guard<std::mutex> lock(mutex);
    return static_cast<int>(mapped.size());
}

static bool is_prompt(int fd)
{
    std::lock_guard<std::mutex> lock(mutex);
    return opened.contains(fd);
}

static bool is_below_the_folder(const char *path)
{
    return std::string_view(path).starts_with(camera_folder);
}

// Where path really leads; "" where nothing is.
static std::string led(const char *path)
{
    if (prompt_files.folder.empty())
        return "";
    return prompt_files.folder + "/" + (path + camera_folder.size());
}

static int open_prompt(const char *path, int flags)
{
    record_call("open(%s)", path);
    if (prompt_files.open_errno != 0 || call_is_to_fail()) {
        errno = prompt_files.open_errno != 0 ? prompt_files.open_errno : EMFILE;
        return -1;
    }
    int fd = openat(AT_FDCWD, led(path).c_str(), flags);
    if (fd >= 0) {
        EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0) << path;
        std::lock_guard<std::mutex> lock(mutex);
        opened.insert(fd);
    }
    return fd;
}

template <typename function> static function *real(const char *name)
{
    return reinterpret_cast<function *>(dlsym(RTLD_NEXT, name));
}

bool prompt_closes(int fd)
{
    std::lock_guard<std::mutex> lock(mutex);
    return opened.erase(fd) != 0;
}

extern "C" {

int open(const char *path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it has been started
    mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    if (fixed_file_is(path))
        return fixed_file_open(path);
    return is_below_the_folder(path) ? open_prompt(path, flags) : openat(AT_FDCWD, path, flags, mode);
}

DIR *opendir(const char *path)
{
    static auto *const real_opendir = real<DIR *(const char *)>("opendir");
    if (call_is_to_fail()) {
        errno = EMFILE;
        return nullptr;
    }
    return real_opendir(is_below_the_folder(path) ? led(path).c_str() : path);
}

int fstat(int fd, struct stat *about) noexcept
{
    if (is_prompt(fd) && (prompt_files.fstat_errno != 0 || call_is_to_fail())) {
        errno = prompt_files.fstat_errno != 0 ? prompt_files.fstat_errno : EIO;
        return -1;
    }
    return fstatat(fd, "", about, AT_EMPTY_PATH);
}

// With 64-bit offsets libc knows mmap by another name.
void *mmap(void *address, size_t length, int protection, int flags, int fd, off_t offset) noexcept
{
    using function = void *(void *, size_t, int, int, int, off_t);
    static auto *const real_mmap = real<function>("mmap64");
    if (fd < 0 || !is_prompt(fd))
        return real_mmap(address, length, protection, flags, fd, offset);
    record_call("mmap(%zu, %s, %s)", length, protection == PROT_READ ? "read" : "other",
                flags == MAP_SHARED ? "shared" : "other");
    if (prompt_files.mmap_errno != 0 || call_is_to_fail()) {
        errno = prompt_files.mmap_errno != 0 ? prompt_files.mmap_errno : ENOMEM;
        return MAP_FAILED;
    }
    void *memory = real_mmap(address, length, protection, flags, fd, offset);
    if (memory != MAP_FAILED) {
        std::lock_guard<std::mutex> lock(mutex);
        mapped.insert(memory);
    }
    return memory;
}

int munmap(void *address, size_t length) noexcept
{
    static auto *const real_munmap = real<int(void *, size_t)>("munmap");
    bool was_prompt = false;
    {
        std::lock_guard<std::mutex> lock(mutex);
        was_prompt = mapped.erase(address) != 0;
    }
    if (was_prompt)
        record_call("munmap(%zu)", length);
    return real_munmap(address, length);
}

} // extern "C"

prompt_folder::prompt_folder()
{
    char name[] = "/tmp/prompts.XXXXXX";
    EXPECT_NE(mkdtemp(name), nullptr);
    path = name;
    prompt_files.folder = path;
}

prompt_folder::~prompt_folder()
{
    prompt_files.folder.clear();
    std::filesystem::remove_all(path);
}

void prompt_folder::has(const std::string &file, const std::string &bytes) const
{
    std::filesystem::create_directories(std::filesystem::path(path + "/" + file).parent_path());
    std::ofstream(path + "/" + file) << bytes;
}

void prompt_folder::has_folder(const std::string &folder) const
{
    std::filesystem::create_directories(path + "/" + folder);
}
