// SPDX-License-Identifier: MIT
#include "store/selvar_nvram.h"

#include "libkivo_util.h"
#include "libselvar.h"
#include "store/selvar_callbacks.h"
#include "util/text.h"

static const char group[] = "default";

constexpr int type_string = 1;
constexpr int type_u64 = 5;
constexpr int request_timeout_s = 5;
constexpr size_t text_size = 128; // of a key or a string value, with its NUL

static selvar_handle *handle = nullptr;
static int notification_id = 0; // one for all keys: unregistering goes by the key

static bool is_open(void)
{
    if (handle)
        return true;
    log_err("selvar uninit.\n");
    return false;
}

int selvar_nvram_init(selvar_notify callback)
{
    const selvar_guard alone;
    selvar_callback_set(callback);
    if (handle) // one whose descriptor could not be polled counted as down and was never closed
        libselvar_close(handle);
    handle = libselvar_config_open(0);
    if (!handle) {
        log_err("libselvar_open faild.\n");
        return -1;
    }
    libselvar_handle_other(handle);
    int fd = libselvar_client_fd(handle);
    log_debug("selvar fd is %d\n", fd);
    return fd;
}

int selvar_nvram_exit(void)
{
    const selvar_guard alone;
    if (handle)
        libselvar_close(handle);
    handle = nullptr;
    return 0;
}

int selvar_nvram_response(void)
{
    const selvar_guard alone;
    if (!is_open())
        return -1;
    if (libselvar_xhandle_response(handle))
        return 0;
    log_err("selvar response failed.\n");
    return -2;
}

static bool set_value(const char *space, const char *key, int type, const void *value)
{
    char name[text_size] = {};
    text_copy(name, sizeof name, key);
    return libselvar_set_value(handle, space, group, name, type, value, set_callback, set_timout_callback,
                               request_timeout_s, 0);
}

static bool set_text(const char *space, const char *key, const char *value)
{
    char text[text_size] = {};
    text_copy(text, sizeof text, value);
    return set_value(space, key, type_string, text);
}

int selvar_nvram_set_string(const char *key, const char *value, int)
{
    const selvar_guard alone;
    if (!is_open())
        return -1;
    if (set_text("nvram", key, value))
        return 0;
    log_err("nvram send set value cmd fail.\n");
    return -1;
}

int selvar_mem_set_string(const char *key, const char *value, int)
{
    const selvar_guard alone;
    if (!is_open())
        return -1;
    if (set_text("mem", key, value))
        return 0;
    log_err("mem send set value cmd fail.\n");
    return -1;
}

int selvar_mem_set_uint64(const char *key, uint64_t value)
{
    const selvar_guard alone;
    if (!is_open())
        return -1;
    if (set_value("mem", key, type_u64, &value))
        return 0;
    log_err("mem send set value cmd fail.\n");
    return -1;
}

int selvar_mem_set_unlimit_len(const char *key, int type, const void *value)
{
    const selvar_guard alone;
    return libselvar_set_value(handle, "mem", group, key, type, value, nullptr, nullptr, 0, 0);
}

int selvar_mem_get_string(const char *key, char *buffer, int size)
{
    char name[text_size] = {};
    text_copy(name, sizeof name, key);

    const selvar_guard alone;
    selvar_read_clear();
    if (!is_open())
        return -1;
    libselvar_handle_stop(handle);
    if (!libselvar_get_value(handle, "mem", group, name, get_callback, get_timout_callback, request_timeout_s,
                             0)) {
        log_err("mem send get value cmd fail.\n");
        return -1;
    }
    return selvar_read_take(name, buffer, size);
}

int selvar_nvram_register_notify(const char *space, const char *key)
{
    const selvar_guard alone;
    if (!is_open())
        return -1;
    char name[text_size] = {};
    text_copy(name, sizeof name, key);
    if (libselvar_register_notification(handle, space, group, name, &notification_id, notify_cb,
                                        notify_timeout_cb, 0, 0))
        return 0;
    log_err("send %s notify cmd fail.\n", key);
    return -1;
}

int selvar_nvram_unregister_notify(const char *space, const char *key)
{
    const selvar_guard alone;
    if (!is_open())
        return -1;
    char name[text_size] = {};
    text_copy(name, sizeof name, key);
    return libselvar_unregister_notification(handle, space, group, name, notification_id, nullptr, nullptr, 0,
                                             0);
}

int selvar_nvram_unset(const char *space, const char *key)
{
    const selvar_guard alone;
    if (!is_open())
        return -1;
    char name[text_size] = {};
    text_copy(name, sizeof name, key);
    if (libselvar_unset(handle, space, group, name, nullptr, nullptr, 0, 0))
        return 0;
    log_err("send unset cmd fail.\n");
    return -1;
}

int selvar_nvram_restore(void)
{
    const selvar_guard alone;
    if (!is_open())
        return -1;
    return libselvar_other(handle, "reset", "nvram", group, nullptr, 1, nullptr, other_cb, other_timeout_cb,
                           request_timeout_s, 0);
}

int selvar_nvram_sync(void)
{
    const selvar_guard alone;
    if (!is_open())
        return -1;
    return libselvar_sync(handle, "nvram", nullptr, nullptr, 0, 0);
}
