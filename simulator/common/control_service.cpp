// SPDX-License-Identifier: MIT
#include "common/control.h"
#include "common/host_time.h"
#include "common/json.h"

static constexpr int64_t retry_ms = 500;

static bool serve(control_service &service)
{
    if (host_time_ms() < service.retry_host_ms)
        return false;
    service.retry_host_ms = host_time_ms() + retry_ms;
    if (!control_connect(service.link))
        return false;
    const json_ptr hello = json_of("do", "serve");
    json_set_text(hello.get(), "name", service.name);
    return control_send(service.link, hello.get());
}

static void answer_command(control_service &service, json_object *line)
{
    std::string command = json_get_text(line, "do");
    if (command.empty())
        return; // stage's answer to our own "serve"
    const std::string prefix = std::string(service.name) + ".";
    if (command.compare(0, prefix.size(), prefix) == 0)
        command.erase(0, prefix.size());
    const json_ptr answer(service.answer(command.c_str(), line));
    json_object *tag = nullptr;
    if (json_object_object_get_ex(line, "tag", &tag))
        json_object_object_add(answer.get(), "tag", json_object_get(tag));
    control_send(service.link, answer.get());
}

void control_service_run(control_service &service)
{
    if (service.link.fd < 0 && !serve(service))
        return;
    while (const json_ptr line{ control_receive(service.link, 0) })
        answer_command(service, line.get());
}
