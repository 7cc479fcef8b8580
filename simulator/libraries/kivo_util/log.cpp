// SPDX-License-Identifier: MIT
// Log lines go to the journal, without one to standard error.
#include "contract.h"

#include "common/journal.h"
#include "common/run_folder.h"

#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

// $CAMERA_LOG_LEVEL, 0..7, is the level until the first log_set_syslog_level.
static int first_level()
{
    const char *wanted = getenv("CAMERA_LOG_LEVEL");
    return wanted && *wanted >= '0' && *wanted <= '7' ? *wanted - '0' : LOG_DEBUG;
}

static std::atomic<int> least_urgent = first_level();

static bool is_wanted(int priority)
{
    return priority <= least_urgent.load(std::memory_order_relaxed);
}

static bool write_to_journal(int priority, const char *text, int length)
{
    json_object *fields = json_object_new_object();
    json_object_object_add(fields, "level", json_object_new_int(priority));
    json_object_object_add(fields, "text", json_object_new_string_len(text, length));
    return journal_write(run_folder_who(), "log", fields);
}

// In one write, so that the lines of several threads do not mix.
static void write_to_stderr(const char *text, int length)
{
    std::string line(text, static_cast<size_t>(length));
    if (line.empty() || line.back() != '\n')
        line += '\n';
    if (write(STDERR_FILENO, line.data(), line.size()) < 0)
        return; // nobody is left to tell
}

// errno enters the text as "%m" and is the same afterwards.
__attribute__((format(printf, 2, 0))) static void write_log(int priority, const char *format,
                                                            va_list arguments)
{
    const int error = errno;
    char *text = nullptr;
    const int length = vasprintf(&text, format, arguments);
    if (length >= 0) {
        if (!write_to_journal(priority, text, length))
            write_to_stderr(text, length);
        free(text);
    }
    errno = error;
}

void log_debug(const char *format, ...)
{
    if (!is_wanted(LOG_DEBUG))
        return;
    va_list arguments;
    va_start(arguments, format);
    write_log(LOG_DEBUG, format, arguments);
    va_end(arguments);
}

void log_info(const char *format, ...)
{
    if (!is_wanted(LOG_INFO))
        return;
    va_list arguments;
    va_start(arguments, format);
    write_log(LOG_INFO, format, arguments);
    va_end(arguments);
}

void log_warning(const char *format, ...)
{
    if (!is_wanted(LOG_WARNING))
        return;
    va_list arguments;
    va_start(arguments, format);
    write_log(LOG_WARNING, format, arguments);
    va_end(arguments);
}

void log_err(const char *format, ...)
{
    if (!is_wanted(LOG_ERR))
        return;
    va_list arguments;
    va_start(arguments, format);
    write_log(LOG_ERR, format, arguments);
    va_end(arguments);
}

void log_set_syslog_level(int priority)
{
    least_urgent.store(priority, std::memory_order_relaxed);
}
