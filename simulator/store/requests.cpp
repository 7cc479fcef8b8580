// SPDX-License-Identifier: MIT
#include "store/requests.h"

#include "store/keys.h"
#include "store/printable.h"

#include <algorithm>

constexpr size_t watches_max = 4096; // of one client

// A request and its answer, which is filled here; what is to be told to the watchers is told after the answer
// has gone.
using request_action = wire_status (*)(client &sender, const wire_message &request, wire_message &answer);
using request_afterwards = void (*)(client &sender, const wire_message &request);

struct request_row {
    wire_kind kind;
    bool needs_hello;
    request_action act;
    request_afterwards afterwards; // after success only; NULL: nothing
};

static auto find_watch(client &owner, const wire_message &request)
{
    return std::ranges::find_if(owner.watches, [&](const watch &each) {
        return each.key == request.key && each.space == request.space;
    });
}

static wire_status get(client &, const wire_message &request, wire_message &answer)
{
    const wire_status checked = keys_check(request.space, request.key);
    if (checked != wire_status::done)
        return checked;
    const wire_value *value = keys_get(request.space, request.key);
    if (!value)
        return wire_status::no_value;
    answer.value = *value;
    return wire_status::done;
}

static wire_status set(client &sender, const wire_message &request, wire_message &)
{
    return keys_set(request.space, request.key, request.value, sender.who.c_str());
}

static wire_status unset(client &sender, const wire_message &request, wire_message &)
{
    return keys_unset(request.space, request.key, sender.who.c_str());
}

static wire_status start_watch(client &sender, const wire_message &request, wire_message &)
{
    const wire_status checked = keys_check(request.space, request.key);
    if (checked != wire_status::done)
        return checked;
    const auto standing = find_watch(sender, request);
    if (standing != sender.watches.end())
        standing->id = request.id;
    else if (sender.watches.size() < watches_max)
        sender.watches.push_back({ request.space, request.key, request.id });
    else
        return wire_status::too_many;
    return wire_status::done;
}

static wire_status end_watch(client &sender, const wire_message &request, wire_message &)
{
    const wire_status checked = keys_check(request.space, request.key);
    if (checked != wire_status::done)
        return checked;
    const auto standing = find_watch(sender, request);
    if (standing != sender.watches.end())
        sender.watches.erase(standing);
    return wire_status::done;
}

static wire_status other(client &sender, const wire_message &request, wire_message &)
{
    if (request.value.text != "reset")
        return wire_status::no_command;
    return keys_reset(request.space, sender.who.c_str());
}

static wire_status sync(client &sender, const wire_message &request, wire_message &)
{
    return keys_sync(request.space, sender.who.c_str());
}

static void tell_watchers(client &, const wire_message &request)
{
    clients_notify(request.space, request.key);
}

static void tell_everything(client &, const wire_message &request)
{
    clients_notify_all(request.space);
}

static void tell_present_value(client &sender, const wire_message &request)
{
    clients_notify_one(sender, { request.space, request.key, request.id });
}

static constexpr request_row rows[] = {
    { wire_kind::get, false, get, nullptr },
    { wire_kind::set, true, set, tell_watchers },
    { wire_kind::unset, true, unset, tell_watchers },
    { wire_kind::watch, true, start_watch, tell_present_value },
    { wire_kind::unwatch, true, end_watch, nullptr },
    { wire_kind::other, true, other, tell_everything },
    { wire_kind::sync, true, sync, nullptr },
};

static bool take_hello(client &sender, const wire_message &request)
{
    if (!sender.who.empty() || request.key.empty() || request.key.find('\0') != std::string::npos)
        return false;
    sender.who = request.key;
    json_object *fields = json_object_new_object();
    json_object_object_add(fields, "by", printable_json(sender.who));
    keys_journal("connected", fields);
    return true;
}

bool requests_serve(client &sender, const wire_message &request)
{
    if (request.kind == wire_kind::hello)
        return take_hello(sender, request);
    const auto *row = std::ranges::find(rows, request.kind, &request_row::kind);
    if (row == std::ranges::end(rows))
        return false;

    wire_message answer;
    answer.kind = request.kind;
    answer.id = request.id;
    answer.space = request.space;
    answer.key = request.key;
    const bool may = !row->needs_hello || !sender.who.empty();
    answer.status = may ? row->act(sender, request, answer) : wire_status::not_known;
    clients_send(sender, answer);
    if (answer.status == wire_status::done && row->afterwards)
        row->afterwards(sender, request);
    return true;
}
