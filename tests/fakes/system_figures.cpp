// SPDX-License-Identifier: MIT
#include "fakes/system_figures.h"
#include "fakes/failing.h"
#include "fakes/record.h"

#include <dlfcn.h>
#include <sys/sysinfo.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string_view>

system_figure_fakes system_figures;

static const std::string_view restart_list_path = "/etc/perp/.control/reset-statistics";

static FILE *open_list = nullptr;

void system_figures_reset()
{
    system_figures = system_figure_fakes();
}

template <typename function> static function *real(const char *name)
{
    return reinterpret_cast<function *>(dlsym(RTLD_NEXT, name));
}

static FILE *open_restart_list(const char *mode)
{
    record_call("fopen(restart list, %c)", mode[0]);
    EXPECT_NE(std::string_view(mode).find('e'), std::string_view::npos) << "children would inherit it";
    if (!system_figures.restart_list || call_is_to_fail()) {
        errno = ENOENT;
        return nullptr;
    }
    open_list = tmpfile();
    fwrite(system_figures.restart_list->data(), 1, system_figures.restart_list->size(), open_list);
    rewind(open_list);
    return open_list;
}

extern "C" {

int sysinfo(struct sysinfo *figures) noexcept
{
    if (system_figures.sysinfo_fails || call_is_to_fail()) {
        errno = EFAULT;
        return -1;
    }
    *figures = {};
    figures->uptime = system_figures.uptime;
    std::copy(std::begin(system_figures.loads), std::end(system_figures.loads), figures->loads);
    figures->freeram = system_figures.free;
    figures->sharedram = system_figures.shared;
    figures->bufferram = system_figures.buffers;
    figures->mem_unit = 4096; // asks for no scaling
    return 0;
}

// With 64-bit offsets libc knows fopen by another name.
FILE *fopen(const char *path, const char *mode)
{
    static auto *const real_fopen = real<FILE *(const char *, const char *)>("fopen64");
    return path == restart_list_path ? open_restart_list(mode) : real_fopen(path, mode);
}

int fclose(FILE *stream)
{
    static auto *const real_fclose = real<int(FILE *)>("fclose");
    if (stream == open_list) {
        record_call("fclose(restart list)");
        open_list = nullptr;
    }
    return real_fclose(stream);
}

int remove(const char *path) noexcept
{
    static auto *const real_remove = real<int(const char *)>("remove");
    if (path != restart_list_path)
        return real_remove(path);
    record_call("remove(restart list)");
    system_figures.restart_list.reset();
    return 0;
}

} // extern "C"
