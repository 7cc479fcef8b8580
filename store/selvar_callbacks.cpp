// SPDX-License-Identifier: MIT
#include "store/selvar_callbacks.h"

#include "libkivo_util.h"
#include "util/text.h"

#include <pthread.h>

#include <algorithm>
#include <cstring>

constexpr int message_is_set_reply = 3;
constexpr int type_string = 1;
constexpr int type_u64 = 5;
constexpr uint32_t read_limit = 128;

static pthread_mutex_t library_lock = PTHREAD_MUTEX_INITIALIZER;
static thread_local int guards = 0; // of this thread; the outermost holds the lock

int selvar_delivered_type = selvar_delivers_nothing;

static selvar_notify notify = nullptr;

static struct {
    int32_t error;
    char key[read_limit];
    char value[read_limit];
} last_read;

// A parsed notification. It is given back also when the parse yielded none.
struct parsed_reply {
    explicit parsed_reply(const xresponse *reply)
    {
        xresponse_parse(reply, &pair, &status);
    }
    ~parsed_reply()
    {
        xpair_basefree(pair);
    }
    parsed_reply(const parsed_reply &) = delete;
    parsed_reply &operator=(const parsed_reply &) = delete;

    xpair *pair = nullptr;
    int status = -1;
};

selvar_guard::selvar_guard()
{
    if (guards++ == 0)
        pthread_mutex_lock(&library_lock);
}

selvar_guard::~selvar_guard()
{
    if (--guards == 0)
        pthread_mutex_unlock(&library_lock);
}

// Lets the library go, whatever guards there are, and takes it again.
struct selvar_pause {
    selvar_pause() : paused(guards)
    {
        guards = 0;
        if (paused > 0)
            pthread_mutex_unlock(&library_lock);
    }
    ~selvar_pause()
    {
        if (paused > 0)
            pthread_mutex_lock(&library_lock);
        guards = paused;
    }
    selvar_pause(const selvar_pause &) = delete;
    selvar_pause &operator=(const selvar_pause &) = delete;

    const int paused;
};

void selvar_callback_set(selvar_notify callback)
{
    notify = callback;
}

void set_callback(selvar_handle *, const xresponse *reply)
{
    if (xresponse_message_type(reply) != message_is_set_reply)
        log_err("Recv type error. not the set value.\n");
    else if (xresponse_status(reply) != 0)
        log_err("Set faild.\n");
    else
        log_debug("Set sucess.\n");
}

void set_timout_callback(selvar_handle *, const xresponse *)
{
    log_err("set_timout_callback.\n");
}

void other_cb(selvar_handle *, const xresponse *)
{
    log_debug("other_cb\n");
}

void other_timeout_cb(selvar_handle *, const xresponse *)
{
    log_err("other_timeout_cb\n");
}

// The daemon's callback takes its time and uses the store itself: others need not wait for its end.
static void deliver(const char *key, int type, const void *value)
{
    if (!notify)
        return;
    int outer = selvar_delivered_type;
    selvar_delivered_type = type;
    {
        const selvar_pause pause;
        notify(key, value);
    }
    selvar_delivered_type = outer;
}

static void deliver_value(const char *key, const xvalue *value)
{
    if (!value) {
        deliver(key, selvar_delivers_null, nullptr);
    } else if (value->type == type_string) {
        deliver(key, value->string ? selvar_delivers_text : selvar_delivers_null, value->string);
    } else if (value->type == type_u64) {
        uint64_t number = value->u64;
        deliver(key, selvar_delivers_u64, &number);
    } else {
        log_err("unused type:%d, key:%s\n", value->type, key);
    }
}

void notify_cb(selvar_handle *, const xresponse *reply)
{
    const parsed_reply parsed(reply);
    const xpair *pair = parsed.pair;

    log_debug("notify_cb\n");
    if (parsed.status != 0) {
        if (pair)
            deliver(pair->key, selvar_delivers_null, "error");
        log_err("parse recv notify value error.\n");
        return;
    }
    log_debug("notify_cb key: [%s]\r\n", pair ? pair->key : "(null)");
    if (pair && notify)
        deliver_value(pair->key, pair->value);
}

void notify_timeout_cb(selvar_handle *, const xresponse *reply)
{
    const parsed_reply parsed(reply);
    const xpair *pair = parsed.pair;

    log_err("notify_timeout_cb\n");
    if (pair)
        deliver(pair->key, selvar_delivers_null, "timeout");
}

void selvar_read_clear(void)
{
    last_read = {};
}

static void read_keep(const xcontrol_response &response)
{
    if (response.key)
        text_copy(last_read.key, std::min(response.key_length, read_limit - 1) + 1, response.key);
    if (response.value.string)
        text_copy(last_read.value, std::min(response.value.length, read_limit - 1) + 1,
                  response.value.string);
}

void get_callback(selvar_handle *, const xresponse *reply)
{
    xcontrol_response response = {};
    if (!xcontrol_get_response(reply, &response)) {
        log_err("Get response faild.\n");
        last_read.error = 1;
        return;
    }
    if (response.value.type != type_string) {
        log_err("response type error.\n");
        last_read.error = 1;
    }
    if (response.value.length > read_limit || response.key_length > read_limit) {
        log_err("response is too long:name(%d), value(%d)\n", static_cast<int>(response.key_length),
                static_cast<int>(response.value.length));
        last_read.error = 1;
    }
    read_keep(response);
    log_info("get_callback: key: %s, value: %s\n", last_read.key, last_read.value);
}

void get_timout_callback(selvar_handle *, const xresponse *)
{
    log_err("get_timout_callback.\n");
    last_read.error = 1;
}

int selvar_read_take(const char *key, char *buffer, int size)
{
    if (last_read.error) {
        log_err("get %s mem string value error.\n", key);
        return -1;
    }
    if (!text_equal(last_read.key, key)) {
        log_err("mem key error:%s %s.\n", last_read.key, key);
        return -1;
    }
    int length = static_cast<int>(strlen(last_read.value));
    if (length > size) {
        log_err("mem value length is too long %d/%d.\n", length, size);
        return -1;
    }
    if (size > 0)
        text_copy(buffer, static_cast<size_t>(size), last_read.value);
    return 0;
}
