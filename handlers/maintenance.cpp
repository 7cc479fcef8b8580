// SPDX-License-Identifier: MIT
#include "handlers/maintenance.h"

#include "libkivo_util.h"
#include "util/children.h"
#include "util/guards.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

static const char log2tf_path[] = "/mnt/data/bin/log2tf.sh";

void run_log2tf(void)
{
    log_info("Run: %s\n", log2tf_path);
    if (child_start(log2tf_path) != 0) {
        log_err("Can not run %s: %s\n", log2tf_path, strerror(errno));
        return;
    }
    log_info("This is the parent process\n");
}

static void collect_output(FILE *output, char *out, int outsize)
{
    size_t room = outsize > 0 ? static_cast<size_t>(outsize) - 1 : 0;
    char *line = nullptr;
    size_t line_size = 0;
    ssize_t got = 0;
    while ((got = getline(&line, &line_size, output)) > 0) {
        size_t length = static_cast<size_t>(got);
        bool too_long = length > room;
        if (too_long) {
            log_warning("outsize (%d) too small\n", outsize);
            length = room;
        }
        memcpy(out, line, length);
        out += length;
        room -= length;
        if (too_long)
            break;
    }
    if (outsize > 0)
        *out = '\0';
    free(line);
}

void run_cmd(const char *command, char *out, int outsize)
{
    log_debug("run cmd: %s\n", command);
    FILE *output = popen(command, "re");
    if (!output)
        return;
    if (out)
        collect_output(output, out, outsize);
    pclose(output);
}
