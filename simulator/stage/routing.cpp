// SPDX-License-Identifier: MIT
#include "stage/routing.h"

#include "common/control.h"
#include "common/json.h"

static void refuse_all(server &server, routing &routing, const std::string &name)
{
    std::erase_if(routing.waiting, [&](const auto &entry) {
        const auto &[tag, request] = entry;
        if (request.name != name)
            return false;
        server_answer(
            server, request.client,
            control_refused("the " + name + " ended before it answered; ./camera status shows why"));
        return true;
    });
}

void routing_serve(server &server, routing &routing, const std::string &name, uint64_t service)
{
    refuse_all(server, routing, name);
    routing.services[name] = service;
}

bool routing_is_service(const routing &routing, uint64_t connection_id)
{
    for (const auto &[name, service] : routing.services) {
        if (service == connection_id)
            return true;
    }
    return false;
}

bool routing_forward(server &server, routing &routing, const std::string &name, connection &client,
                     json_object *command)
{
    auto found = routing.services.find(name);
    connection *service = found == routing.services.end() ? nullptr : server_find(server, found->second);
    if (service == nullptr)
        return false;
    int64_t tag = ++routing.last_tag;
    routing.waiting[tag] = { .client = client.id, .name = name };
    client.awaiting = true;
    json_set_number(command, "tag", tag);
    server_send(*service, json_object_get(command));
    return true;
}

void routing_tell(server &server, const routing &routing, const std::string &name, json_object *command)
{
    auto found = routing.services.find(name);
    connection *service = found == routing.services.end() ? nullptr : server_find(server, found->second);
    if (service == nullptr)
        json_object_put(command);
    else
        server_send(*service, command);
}

void routing_answer(server &server, routing &routing, json_object *answer)
{
    auto found = routing.waiting.find(json_get_number(answer, "tag"));
    if (found == routing.waiting.end()) {
        json_object_put(answer);
        return;
    }
    uint64_t client = found->second.client;
    routing.waiting.erase(found);
    json_object_object_del(answer, "tag");
    server_answer(server, client, answer);
}

void routing_forget(server &server, routing &routing, uint64_t connection_id)
{
    std::erase_if(routing.waiting, [&](const auto &entry) { return entry.second.client == connection_id; });
    for (auto service = routing.services.begin(); service != routing.services.end(); ++service) {
        if (service->second != connection_id)
            continue;
        std::string name = service->first;
        routing.services.erase(service);
        refuse_all(server, routing, name);
        return;
    }
}

void routing_forget_all(server &server, routing &routing)
{
    for (const auto &[name, service] : routing.services)
        refuse_all(server, routing, name);
    routing.services.clear();
}
