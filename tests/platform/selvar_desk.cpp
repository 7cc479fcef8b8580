// SPDX-License-Identifier: MIT
#include "selvar_desk.h"

#include <poll.h>

#include <chrono>

lines told;

static bool settled;

static std::string text_of(const xvalue &value)
{
    if (value.type == 5)
        return "#" + std::to_string(value.u64);
    EXPECT_EQ(value.type, 1);
    EXPECT_EQ(value.string[value.length], '\0');
    return { value.string, value.length };
}

void on_notification(selvar_handle *, const xresponse *reply)
{
    xpair *pair = nullptr;
    int status = -1;
    xresponse_parse(reply, &pair, &status);
    ASSERT_NE(pair, nullptr);
    const std::string key = std::string("notified ") + pair->key;
    if (status != 0)
        told.push_back(key + " failed");
    else if (pair->value == nullptr)
        told.push_back(key + " has nothing");
    else
        told.push_back(key + " = " + text_of(*pair->value));
    xpair_basefree(pair);
}

void on_answer(selvar_handle *, const xresponse *reply)
{
    told.push_back("answered " + std::to_string(xresponse_message_type(reply)) +
                   (xresponse_status(reply) == 0 ? ": done" : ": refused"));
}

void on_get(selvar_handle *, const xresponse *reply)
{
    xcontrol_response response = {};
    if (!xcontrol_get_response(reply, &response)) {
        EXPECT_NE(xresponse_status(reply), 0);
        told.emplace_back("got nothing");
        return;
    }
    EXPECT_EQ(response.key_length, strlen(response.key));
    told.push_back(std::string("got ") + response.key + " = " + text_of(response.value));
}

void on_time_out(selvar_handle *, const xresponse *reply)
{
    xpair *pair = nullptr;
    int status = 0;
    xresponse_parse(reply, &pair, &status);
    EXPECT_NE(status, 0);
    told.push_back(std::string("timed out ") + (pair != nullptr ? pair->key : "(no pair)"));
    xpair_basefree(pair);
}

static void on_settled(selvar_handle *, const xresponse *)
{
    settled = true;
}

bool client_register(selvar_handle *handle, const char *space, const char *key)
{
    int id = 0;
    return libselvar_register_notification(handle, space, "default", key, &id, on_notification, on_time_out,
                                           0, 0);
}

bool client_unregister(selvar_handle *handle, const char *space, const char *key)
{
    return libselvar_unregister_notification(handle, space, "default", key, 4711, nullptr, nullptr, 0, 0);
}

bool client_set(selvar_handle *handle, const char *space, const char *key, const char *value)
{
    return libselvar_set_value(handle, space, "default", key, 1, value, on_answer, on_time_out, 0, 0);
}

bool client_set_number(selvar_handle *handle, const char *space, const char *key, uint64_t value)
{
    return libselvar_set_value(handle, space, "default", key, 5, &value, on_answer, on_time_out, 0, 0);
}

bool client_unset(selvar_handle *handle, const char *space, const char *key)
{
    return libselvar_unset(handle, space, "default", key, on_answer, on_time_out, 0, 0);
}

bool client_get(selvar_handle *handle, const char *space, const char *key)
{
    return libselvar_get_value(handle, space, "default", key, on_get, on_time_out, 0, 0);
}

bool client_reset(selvar_handle *handle)
{
    return libselvar_other(handle, "reset", "nvram", "default", nullptr, 1, nullptr, on_answer, on_time_out,
                           0, 0);
}

bool client_is_readable(selvar_handle *handle)
{
    pollfd waiting = { libselvar_client_fd(handle), POLLIN, 0 };
    return poll(&waiting, 1, 0) == 1;
}

static bool hear_until(selvar_handle *handle, const std::function<bool()> &enough)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!enough()) {
        pollfd waiting = { libselvar_client_fd(handle), POLLIN, 0 };
        if (poll(&waiting, 1, 20000) != 1 || std::chrono::steady_clock::now() > deadline)
            return false;
        EXPECT_EQ(waiting.revents, POLLIN);
        if (!libselvar_xhandle_response(handle))
            return false;
    }
    return true;
}

// The service answers in order: when it has answered a last request, all that it had sent before has come.
void client_settle(selvar_handle *handle)
{
    settled = false;
    ASSERT_TRUE(libselvar_sync(handle, "mem", on_settled, nullptr, 0, 0));
    ASSERT_TRUE(hear_until(handle, [] { return settled; }));
}

bool client_hear(selvar_handle *handle, size_t count)
{
    if (!hear_until(handle, [count] { return told.size() >= count; }))
        return false;
    client_settle(handle);
    return true;
}
