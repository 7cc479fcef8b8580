// SPDX-License-Identifier: MIT
// libselvar and libselvar_share.
#include "fakes/store_library.h"
#include "fakes/failing.h"
#include "fakes/record.h"

#include <libselvar_share.h>

#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>

struct selvar_handle {
    int unused;
};

struct request {
    selvar_callback reply;
    selvar_callback timed_out;
};

store_fakes store;

static selvar_handle the_handle;
static int open_handles;
static int live_pairs;
static std::map<std::string, request> watched;
static request last_set;
static request last_reset;
static std::deque<std::function<void()>> waiting;

xresponse text_reply(const char *key, const char *value)
{
    xresponse reply;
    reply.key = key;
    reply.type = 1;
    reply.string = value;
    return reply;
}

xresponse number_reply(const char *key, uint64_t value)
{
    xresponse reply;
    reply.key = key;
    reply.type = 5;
    reply.u64 = value;
    return reply;
}

xresponse no_value_reply(const char *key)
{
    xresponse reply;
    reply.key = key;
    return reply;
}

void store_reset()
{
    store = store_fakes();
    open_handles = 0;
    live_pairs = 0;
    watched.clear();
    last_set = {};
    last_reset = {};
    waiting.clear();
}

int store_open_handles()
{
    return open_handles;
}

int store_live_pairs()
{
    return live_pairs;
}

static std::string full_name(const char *space, const char *key)
{
    return std::string(space) + "/" + key;
}

bool store_is_watched(const char *space, const char *key)
{
    return watched.contains(full_name(space, key));
}

static void run(selvar_callback callback, const xresponse &reply, const std::string &what)
{
    if (callback == nullptr)
        ADD_FAILURE() << "nothing was given to the library for " << what;
    else
        callback(&the_handle, &reply);
}

static void enqueue(selvar_callback callback, const xresponse &reply, const std::string &what)
{
    waiting.emplace_back([=] { run(callback, reply, what); });
}

static request watcher_of(const std::string &name)
{
    auto found = watched.find(name);
    return found == watched.end() ? request{} : found->second;
}

void store_notify(const char *space, const xresponse &reply)
{
    const std::string name = full_name(space, reply.key.c_str());
    enqueue(watcher_of(name).reply, reply, name);
}

void store_notify_text(const char *space, const char *key, const char *value)
{
    store_notify(space, value == nullptr ? no_value_reply(key) : text_reply(key, value));
}

void store_notification_times_out(const char *space, const xresponse &reply)
{
    const std::string name = full_name(space, reply.key.c_str());
    enqueue(watcher_of(name).timed_out, reply, name);
}

void store_answers_set(const xresponse &reply)
{
    enqueue(last_set.reply, reply, "the reply to a set");
}

void store_set_times_out()
{
    enqueue(last_set.timed_out, xresponse(), "the time-out of a set");
}

void store_answers_reset()
{
    enqueue(last_reset.reply, xresponse(), "the reply to a reset");
}

void store_reset_times_out()
{
    enqueue(last_reset.timed_out, xresponse(), "the time-out of a reset");
}

static const char *shown(selvar_callback callback)
{
    return callback == nullptr ? "none" : "yes";
}

// A closed handle is seen in the record: it stands before the other arguments.
static const char *shown(const selvar_handle *handle)
{
    return handle == &the_handle ? "" : handle == nullptr ? "no handle, " : "strange handle, ";
}

static std::string shown(const char *text)
{
    return text == nullptr ? "null" : text;
}

static std::string shown_value(int type, const void *value)
{
    if (value == nullptr)
        return "null";
    if (type == 5)
        return std::to_string(*static_cast<const uint64_t *>(value));
    return quoted(static_cast<const char *>(value));
}

selvar_handle *libselvar_config_open(int flags)
{
    record_call("libselvar_config_open(%d)", flags);
    if (store.open_fails || call_is_to_fail())
        return nullptr;
    open_handles++;
    return &the_handle;
}

void libselvar_close(selvar_handle *handle)
{
    record_call("libselvar_close(%s)", handle == nullptr ? "no handle" : "");
    open_handles--;
    watched.clear();
}

void libselvar_handle_other(selvar_handle *handle)
{
    record_call("libselvar_handle_other(%s)", handle == nullptr ? "no handle" : "");
}

void libselvar_handle_stop(selvar_handle *handle)
{
    record_call("libselvar_handle_stop(%s)", handle == nullptr ? "no handle" : "");
}

int libselvar_client_fd(selvar_handle *handle)
{
    record_call("libselvar_client_fd(%s)", handle == nullptr ? "no handle" : "");
    return call_is_to_fail() ? -1 : store.fd;
}

bool libselvar_xhandle_response(selvar_handle *handle)
{
    record_call("libselvar_xhandle_response(%s)", handle == nullptr ? "no handle" : "");
    if (call_is_to_fail())
        return false;
    if (store.on_response)
        store.on_response();
    while (!waiting.empty()) {
        auto next = std::move(waiting.front());
        waiting.pop_front();
        next();
    }
    return store.response_result;
}

bool libselvar_set_value(selvar_handle *handle, const char *space, const char *group, const char *key,
                         int type, const void *value, selvar_callback reply, selvar_callback timed_out,
                         int timeout, int flags)
{
    record_call("libselvar_set_value(%s%s, %s, %s, %d, %s, %s, %s, %d, %d)", shown(handle), space, group, key,
                type, shown_value(type, value).c_str(), shown(reply), shown(timed_out), timeout, flags);
    if (call_is_to_fail())
        return false;
    last_set = { reply, timed_out };
    if (handle != nullptr && store.set_result && type == 1 && value != nullptr)
        store.values[full_name(space, key)] = static_cast<const char *>(value);
    return handle != nullptr && store.set_result;
}

bool libselvar_get_value(selvar_handle *handle, const char *space, const char *group, const char *key,
                         selvar_callback reply, selvar_callback timed_out, int timeout, int flags)
{
    record_call("libselvar_get_value(%s%s, %s, %s, %s, %s, %d, %d)", shown(handle), space, group, key,
                shown(reply), shown(timed_out), timeout, flags);
    if (handle == nullptr || !store.get_result || call_is_to_fail())
        return false;
    if (store.get_times_out)
        run(timed_out, xresponse(), "the time-out of a get");
    else
        run(reply, store.get_reply, "the reply to a get");
    return true;
}

bool libselvar_register_notification(selvar_handle *handle, const char *space, const char *group,
                                     const char *key, int *notification_id, selvar_callback notify,
                                     selvar_callback timed_out, int timeout, int flags)
{
    record_call("libselvar_register_notification(%s%s, %s, %s, %s, %s, %s, %d, %d)", shown(handle), space,
                group, key, notification_id == nullptr ? "none" : "yes", shown(notify), shown(timed_out),
                timeout, flags);
    if (handle == nullptr || !store.register_result || call_is_to_fail())
        return false;
    if (notification_id != nullptr)
        *notification_id = store.next_notification_id++;
    watched[full_name(space, key)] = { notify, timed_out };
    return true;
}

bool libselvar_unregister_notification(selvar_handle *handle, const char *space, const char *group,
                                       const char *key, int notification_id, selvar_callback reply,
                                       selvar_callback timed_out, int timeout, int flags)
{
    record_call("libselvar_unregister_notification(%s%s, %s, %s, %d, %s, %s, %d, %d)", shown(handle), space,
                group, key, notification_id, shown(reply), shown(timed_out), timeout, flags);
    if (call_is_to_fail())
        return false;
    if (handle != nullptr && store.unregister_result)
        watched.erase(full_name(space, key));
    return handle != nullptr && store.unregister_result;
}

bool libselvar_unset(selvar_handle *handle, const char *space, const char *group, const char *key,
                     selvar_callback reply, selvar_callback timed_out, int timeout, int flags)
{
    record_call("libselvar_unset(%s%s, %s, %s, %s, %s, %d, %d)", shown(handle), space, group, key,
                shown(reply), shown(timed_out), timeout, flags);
    return handle != nullptr && store.unset_result && !call_is_to_fail();
}

bool libselvar_other(selvar_handle *handle, const char *command, const char *space, const char *group,
                     const char *key, int type, const void *value, selvar_callback reply,
                     selvar_callback timed_out, int timeout, int flags)
{
    record_call("libselvar_other(%s%s, %s, %s, %s, %d, %s, %s, %s, %d, %d)", shown(handle), command, space,
                group, shown(key).c_str(), type, shown_value(type, value).c_str(), shown(reply),
                shown(timed_out), timeout, flags);
    last_reset = { reply, timed_out };
    return handle != nullptr && store.other_result && !call_is_to_fail();
}

bool libselvar_sync(selvar_handle *handle, const char *space, selvar_callback reply,
                    selvar_callback timed_out, int timeout, int flags)
{
    record_call("libselvar_sync(%s%s, %s, %s, %d, %d)", shown(handle), space, shown(reply), shown(timed_out),
                timeout, flags);
    return handle != nullptr && store.sync_result && !call_is_to_fail();
}

// A pair of our own: freed whole, so that a test under a sanitizer sees one that was kept.
struct owned_pair : xpair {
    xvalue content;
    std::string key_text;
    std::string string;
};

void xresponse_parse(const xresponse *reply, xpair **pair, int *status)
{
    if (!reply->is_told)
        return;
    bool fails = call_is_to_fail();
    *status = fails ? 1 : reply->status;
    if (fails || !reply->parses)
        return;
    auto owned = std::make_unique<owned_pair>();
    owned->key_text = reply->key;
    owned->string = reply->string;
    owned->content = { reply->type, static_cast<uint32_t>(owned->string.size()), owned->string.c_str(),
                       reply->u64 };
    owned->key = owned->key_text.data();
    owned->value = reply->type == 0 ? nullptr : &owned->content;
    live_pairs++;
    *pair = owned.release();
}

int xresponse_message_type(const xresponse *reply)
{
    return reply->message_type;
}

int xresponse_status(const xresponse *reply)
{
    return reply->status;
}

static uint32_t length_of(const std::string &text, uint32_t claimed)
{
    return claimed != 0 ? claimed : static_cast<uint32_t>(text.size());
}

bool xcontrol_get_response(const xresponse *reply, xcontrol_response *out)
{
    if (!reply->readable || call_is_to_fail())
        return false;
    out->key = reply->key.c_str();
    out->key_length = length_of(reply->key, reply->key_length);
    out->value = { reply->type, length_of(reply->string, reply->length), reply->string.c_str(), reply->u64 };
    return true;
}

void xpair_basefree(xpair *pair)
{
    if (pair == nullptr)
        return;
    live_pairs--;
    delete static_cast<owned_pair *>(pair);
}

char *libselvar_config_get(int flags, const char *space, const char *group, const char *key)
{
    record_call("libselvar_config_get(%d, %s, %s, %s)", flags, space, group, key);
    if (call_is_to_fail())
        return nullptr;
    auto found = store.values.find(full_name(space, key));
    return found == store.values.end() ? nullptr : strdup(found->second.c_str());
}
