// SPDX-License-Identifier: MIT
// The calls of libselvar and the running of callbacks. A callback may make any call on its handle, a nested
// libselvar_xhandle_response and libselvar_close included.
#include "handle.h"

#include "common/clock.h"
#include "common/host_time.h"

#include <algorithm>
#include <cstring>

constexpr int64_t ns_per_second = 1000000000;

selvar_handle *libselvar_config_open(int)
{
    return connection_open();
}

void libselvar_close(selvar_handle *handle)
{
    if (!handle)
        return;
    if (handle->depth > 0)
        handle->closed = true;
    else
        connection_free(handle);
}

void libselvar_handle_other(selvar_handle *handle)
{
    if (handle)
        handle->waits_for_get = false;
}

void libselvar_handle_stop(selvar_handle *handle)
{
    if (handle)
        handle->waits_for_get = true;
}

int libselvar_client_fd(selvar_handle *handle)
{
    return handle ? handle->set : -1;
}

// Around everything that may run callbacks.
static void enter(selvar_handle *handle)
{
    ++handle->depth;
}

static void leave(selvar_handle *handle)
{
    --handle->depth;
    if (handle->depth == 0 && handle->closed)
        connection_free(handle);
    else
        connection_rearm(handle);
}

static void run(selvar_handle *handle, selvar_callback callback, wire_message message)
{
    const xresponse reply = { std::move(message) };
    connection_set_wake(handle); // the callback may look whether more waits
    if (callback)
        callback(handle, &reply);
}

// Takes the request out of what is expected; false when it is not.
static bool take_expected(selvar_handle *handle, uint64_t id, expected &taken)
{
    const auto found = handle->expecting.find(id);
    if (found == handle->expecting.end())
        return false;
    taken = std::move(found->second);
    handle->expecting.erase(found);
    handle->deadlines.erase({ taken.deadline_ns, id });
    return true;
}

static void deliver_notification(selvar_handle *handle, wire_message message)
{
    const auto found = handle->watched.find({ message.space, message.key });
    if (found != handle->watched.end() && message.id >= found->second.first_id)
        run(handle, found->second.notify, std::move(message));
}

// A registration has no reply of its own: its success is the first notification, a refusal comes in the place
// of one.
static void deliver_reply(selvar_handle *handle, wire_message message)
{
    expected taken;
    if (!take_expected(handle, message.id, taken))
        return; // its time was over
    if (message.kind != wire_kind::watch)
        run(handle, taken.reply, std::move(message));
    else if (message.status != wire_status::done)
        deliver_notification(handle, std::move(message));
}

static void deliver(selvar_handle *handle, wire_message message)
{
    if (message.kind == wire_kind::notification)
        deliver_notification(handle, std::move(message));
    else
        deliver_reply(handle, std::move(message));
}

static void time_out(selvar_handle *handle, uint64_t id)
{
    expected taken;
    if (!take_expected(handle, id, taken))
        return;
    taken.request.status = wire_status::timed_out;
    run(handle, taken.timed_out, std::move(taken.request));
}

static void run_time_outs(selvar_handle *handle)
{
    while (!handle->closed && !handle->deadlines.empty() &&
           handle->deadlines.begin()->first <= clock_monotonic_ns())
        time_out(handle, handle->deadlines.begin()->second);
}

bool libselvar_xhandle_response(selvar_handle *handle)
{
    if (!handle || handle->closed)
        return false;
    enter(handle);
    connection_exchange(handle);
    // What callbacks bring about is left for the next call, so that two of them cannot keep the caller here
    // for ever.
    for (size_t left = handle->arrived.size(); left > 0 && !handle->arrived.empty() && !handle->closed;
         --left) {
        wire_message message = std::move(handle->arrived.front());
        handle->arrived.pop_front();
        deliver(handle, std::move(message));
    }
    run_time_outs(handle);
    const bool good = !handle->closed && !(handle->gone && handle->arrived.empty());
    leave(handle);
    return good;
}

// A space, a group and a key as the user gave them; NULL is no text.
static bool names_are_good(const selvar_handle *handle, const char *space, const char *group, const char *key)
{
    return handle && !handle->closed && space && group && key && strcmp(group, "default") == 0;
}

static bool fill_value(wire_value &filled, int type, const void *value)
{
    if (!value || (type != static_cast<int>(wire_type::text) && type != static_cast<int>(wire_type::number)))
        return false;
    filled.type = static_cast<wire_type>(type);
    if (filled.type == wire_type::text) {
        filled.text = static_cast<const char *>(value);
        return true;
    }
    uint64_t number = 0;
    memcpy(&number, value, sizeof number);
    filled.text = std::to_string(number);
    return true;
}

static wire_message message_about(wire_kind kind, const char *space, const char *key)
{
    wire_message message;
    message.kind = kind;
    message.space = space;
    message.key = key;
    return message;
}

// Sends the request and expects its answer. 0: it was not sent; otherwise its id.
static uint64_t request(selvar_handle *handle, wire_message message, selvar_callback reply,
                        selvar_callback timed_out, int timeout)
{
    const uint64_t id = ++handle->last_id;
    message.id = id;
    expected &entry = handle->expecting[id];
    entry.reply = reply;
    entry.timed_out = timed_out;
    entry.request = message_about(message.kind, message.space.c_str(), message.key.c_str());
    entry.request.id = id;
    if (timeout > 0) {
        entry.deadline_ns = clock_monotonic_ns() + timeout * ns_per_second;
        handle->deadlines.insert({ entry.deadline_ns, id });
    }
    if (connection_send(handle, message))
        return id;
    expected taken;
    take_expected(handle, id, taken);
    return 0;
}

bool libselvar_set_value(selvar_handle *handle, const char *space, const char *group, const char *key,
                         int type, const void *value, selvar_callback reply, selvar_callback timed_out,
                         int timeout, int)
{
    wire_value filled;
    if (!names_are_good(handle, space, group, key) || !fill_value(filled, type, value))
        return false;
    wire_message message = message_about(wire_kind::set, space, key);
    message.value = std::move(filled);
    return request(handle, message, reply, timed_out, timeout) != 0;
}

static bool take_answer(selvar_handle *handle, uint64_t id, wire_message &answer)
{
    const auto found = std::ranges::find_if(handle->arrived, [id](const wire_message &each) {
        return each.id == id && each.kind != wire_kind::notification;
    });
    if (found == handle->arrived.end())
        return false;
    answer = std::move(*found);
    handle->arrived.erase(found);
    return true;
}

// The user reads no tick while it waits here, so the virtual clock may stand still: the host's time counts
// too.
static bool is_over(const expected &waited, int64_t host_until_ms)
{
    return waited.deadline_ns != 0 &&
           (clock_monotonic_ns() >= waited.deadline_ns || host_time_ms() >= host_until_ms);
}

// Runs the callback of the get, and no other. A connection that ends counts as a time-out.
static void wait_for_answer(selvar_handle *handle, uint64_t id, int timeout)
{
    constexpr int look_again_ms = 100;
    const int64_t host_until_ms = host_time_ms() + timeout * INT64_C(1000);
    wire_message answer;
    while (!take_answer(handle, id, answer)) {
        if (handle->gone || is_over(handle->expecting[id], host_until_ms)) {
            time_out(handle, id);
            return;
        }
        connection_wait(handle, look_again_ms);
        connection_exchange(handle);
    }
    deliver(handle, std::move(answer));
}

bool libselvar_get_value(selvar_handle *handle, const char *space, const char *group, const char *key,
                         selvar_callback reply, selvar_callback timed_out, int timeout, int)
{
    if (!names_are_good(handle, space, group, key))
        return false;
    const uint64_t id = request(handle, message_about(wire_kind::get, space, key), reply, timed_out, timeout);
    if (id == 0 || !handle->waits_for_get)
        return id != 0;
    enter(handle);
    wait_for_answer(handle, id, timeout);
    leave(handle);
    return true;
}

// What was registered for the key before counts on, so that nothing that is on its way gets lost.
bool libselvar_register_notification(selvar_handle *handle, const char *space, const char *group,
                                     const char *key, int *notification_id, selvar_callback notify,
                                     selvar_callback timed_out, int timeout, int)
{
    if (!names_are_good(handle, space, group, key))
        return false;
    const uint64_t id =
        request(handle, message_about(wire_kind::watch, space, key), nullptr, timed_out, timeout);
    if (id == 0)
        return false;
    const auto entry = handle->watched.try_emplace({ space, key }, registration{ notify, id }).first;
    entry->second.notify = notify;
    if (notification_id)
        *notification_id = static_cast<int>(id & INT32_MAX);
    return true;
}

bool libselvar_unregister_notification(selvar_handle *handle, const char *space, const char *group,
                                       const char *key, int, selvar_callback reply, selvar_callback timed_out,
                                       int timeout, int)
{
    if (!names_are_good(handle, space, group, key))
        return false;
    handle->watched.erase({ space, key });
    return request(handle, message_about(wire_kind::unwatch, space, key), reply, timed_out, timeout) != 0;
}

bool libselvar_unset(selvar_handle *handle, const char *space, const char *group, const char *key,
                     selvar_callback reply, selvar_callback timed_out, int timeout, int)
{
    if (!names_are_good(handle, space, group, key))
        return false;
    return request(handle, message_about(wire_kind::unset, space, key), reply, timed_out, timeout) != 0;
}

bool libselvar_other(selvar_handle *handle, const char *command, const char *space, const char *group,
                     const char *key, int, const void *, selvar_callback reply, selvar_callback timed_out,
                     int timeout, int)
{
    const char *named = key ? key : "";
    if (!command || !names_are_good(handle, space, group, named))
        return false;
    wire_message message = message_about(wire_kind::other, space, named);
    message.value = { wire_type::text, command };
    return request(handle, message, reply, timed_out, timeout) != 0;
}

bool libselvar_sync(selvar_handle *handle, const char *space, selvar_callback reply,
                    selvar_callback timed_out, int timeout, int)
{
    if (!names_are_good(handle, space, "default", ""))
        return false;
    return request(handle, message_about(wire_kind::sync, space, ""), reply, timed_out, timeout) != 0;
}
