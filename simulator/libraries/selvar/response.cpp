// SPDX-License-Identifier: MIT
// What a callback may ask of the reply that it was given.
#include "handle.h"

#include <cstdlib>
#include <cstring>

static char *copy_text(const std::string &text)
{
    char *copy = static_cast<char *>(malloc(text.size() + 1));
    if (copy)
        memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

// A number has no string.
static xvalue view_of(const wire_value &value)
{
    xvalue view = {};
    view.type = static_cast<int>(value.type);
    if (value.type == wire_type::number) {
        view.length = sizeof view.u64;
        wire_number(value.text, view.u64);
        return view;
    }
    view.length = static_cast<uint32_t>(value.text.size());
    view.string = value.text.c_str();
    return view;
}

static xvalue *copy_value(const wire_value &value)
{
    xvalue *copy = static_cast<xvalue *>(malloc(sizeof *copy));
    if (!copy)
        return nullptr;
    *copy = view_of(value);
    if (!copy->string)
        return copy;
    copy->string = copy_text(value.text);
    if (copy->string)
        return copy;
    free(copy);
    return nullptr;
}

static xpair *copy_pair(const wire_message &message)
{
    xpair *pair = static_cast<xpair *>(calloc(1, sizeof *pair));
    if (!pair)
        return nullptr;
    const bool has_value = message.value.type != wire_type::none;
    pair->key = copy_text(message.key);
    if (has_value)
        pair->value = copy_value(message.value);
    if (pair->key && (pair->value || !has_value))
        return pair;
    xpair_basefree(pair);
    return nullptr;
}

void xresponse_parse(const xresponse *reply, struct xpair **pair, int *status)
{
    if (status)
        *status = xresponse_status(reply);
    if (!pair)
        return;
    *pair = reply && !reply->message.key.empty() ? copy_pair(reply->message) : nullptr;
}

int xresponse_message_type(const xresponse *reply)
{
    return reply ? static_cast<int>(reply->message.kind) : -1;
}

int xresponse_status(const xresponse *reply)
{
    return reply ? static_cast<int>(reply->message.status) : -1;
}

bool xcontrol_get_response(const xresponse *reply, struct xcontrol_response *out)
{
    if (!reply || !out || reply->message.kind != wire_kind::get || reply->message.status != wire_status::done)
        return false;
    out->key = reply->message.key.c_str();
    out->key_length = static_cast<uint32_t>(reply->message.key.size());
    out->value = view_of(reply->message.value);
    return true;
}

void xpair_basefree(struct xpair *pair)
{
    if (!pair)
        return;
    if (pair->value)
        free(const_cast<char *>(pair->value->string));
    free(pair->value);
    free(pair->key);
    free(pair);
}
