// SPDX-License-Identifier: MIT
#include "sound/sound_entry.h"

#include "libkivo_util.h"
#include "util/guards.h"
#include "util/text.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

constexpr size_t path_size = 256;
constexpr uint32_t page_size = 4096;
constexpr char default_folder[] = "/mnt/data/sound/";

using entry_ptr = std::unique_ptr<sound_entry, heap_free>;

static bool is_folder(const char *path)
{
    DIR *folder = opendir(path);
    if (!folder)
        return false;
    closedir(folder);
    return true;
}

static void find_folder(char *folder, size_t size, const char *language)
{
    if (language[0] == '\0') {
        log_warning("sound play language is NULL, set default path!\n");
        text_copy(folder, size, default_folder);
        return;
    }
    snprintf(folder, size, "%s%s/", default_folder, language);
    if (is_folder(folder))
        return;
    log_err("sound path: %s does not exist, set default path!\n", folder);
    text_copy(folder, size, default_folder);
}

// Part of a path would name another file.
static int open_prompt(char *path, size_t size, const char *name, const char *language)
{
    find_folder(path, size, language);
    size_t used = strlen(path);
    if (strlen(name) >= size - used) {
        errno = ENAMETOOLONG;
        return -1;
    }
    text_copy(path + used, size - used, name);
    return open(path, O_RDONLY | O_CLOEXEC);
}

static bool map_file(sound_entry &entry, int fd, off_t size)
{
    if (size > static_cast<off_t>(UINT32_MAX - page_size)) {
        errno = EFBIG;
        return false;
    }
    entry.size = static_cast<uint32_t>(size);
    entry.map_len = (entry.size + page_size - 1) / page_size * page_size;
    void *data = mmap(nullptr, entry.map_len, PROT_READ, MAP_SHARED, fd, 0);
    if (data == MAP_FAILED)
        return false;
    entry.data = static_cast<const char *>(data);
    return true;
}

sound_entry *sound_entry_load(const char *name, const char *language)
{
    char path[path_size];
    const fd_guard file(open_prompt(path, sizeof path, name, language));
    if (file.fd < 0) {
        log_warning("sound: Can not open %s for read: %s\n", path, strerror(errno));
        return nullptr;
    }
    entry_ptr entry(static_cast<sound_entry *>(malloc(sizeof(sound_entry))));
    if (!entry) {
        log_warning("sound: Can not allocate sound_entry.\n");
        return nullptr;
    }
    *entry = {};
    struct stat about;
    if (fstat(file.fd, &about) < 0) {
        log_warning("sound: Can not stat %s: %s\n", path, strerror(errno));
        return nullptr;
    }
    if (!map_file(*entry, file.fd, about.st_size)) {
        log_warning("sound: Can not map %s into memory: %s\n", path, strerror(errno));
        return nullptr;
    }
    text_copy(entry->name, sizeof entry->name, name);
    return entry.release();
}

void sound_entry_free(sound_entry *entry)
{
    munmap(const_cast<char *>(entry->data), entry->map_len);
    free(entry);
}
