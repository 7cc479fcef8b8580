// SPDX-License-Identifier: MIT
#include "cloud/cloud.h"
#include "cloud/property_commands.h"

#include "common/control.h"
#include "common/nearest.h"

#include <algorithm>
#include <cstring>

static json_object *refuse_send(const cloud &self)
{
    if (self.daemon.fd < 0)
        return control_refused(
            "the daemon is not connected to the cloud client; ./camera status says what runs");
    return control_refused("the daemon does not read: " + std::to_string(self.daemon.out_bytes) +
                           " bytes wait for it; ./camera kill daemon starts it anew");
}

json_object *cloud_request(cloud &self, const std::string &method, json_object *params)
{
    json_ptr taken(params);
    if (self.daemon.fd < 0)
        return refuse_send(self);
    if (std::find(self.methods.begin(), self.methods.end(), method) == self.methods.end())
        return control_refused("the daemon has not announced \"" + method + "\"" +
                               did_you_mean(method, self.methods));

    const json_ptr message(json_object_new_object());
    json_set_number(message.get(), "id", self.last_id + 1);
    json_set_text(message.get(), "method", method);
    json_object_object_add(message.get(), "params", taken.release());
    const std::string text = json_text(message.get());
    if (!cloud_send(self, text))
        return refuse_send(self);
    self.last_id++;

    json_ptr done = json_of("text", text);
    json_set_number(done.get(), "id", self.last_id);
    return control_done(done.release());
}

static json_object *call(cloud &self, json_object *arguments)
{
    json_object *params = nullptr;
    if (!json_object_object_get_ex(arguments, "params", &params))
        return cloud_request(self, json_get_text(arguments, "method"), json_object_new_array());
    return cloud_request(self, json_get_text(arguments, "method"), json_object_get(params));
}

static json_object *send_text(cloud &self, json_object *arguments)
{
    const std::string text = json_get_text(arguments, "text");
    if (text.empty())
        return control_refused("there is nothing to send; give the text");
    if (!cloud_send(self, text))
        return refuse_send(self);
    return control_done(json_of("text", text).release());
}

static json_object *list_methods(cloud &self, json_object *)
{
    json_object *names = json_object_new_array();
    for (const std::string &method : self.methods)
        json_object_array_add(names, json_new_text(method));
    json_object *done = json_object_new_object();
    json_object_object_add(done, "methods", names);
    return control_done(done);
}

static json_object *status(cloud &self, json_object *)
{
    json_ptr done = json_of("network", self.net.status);
    json_object_object_add(done.get(), "connected", json_object_new_boolean(self.daemon.fd >= 0));
    json_object_object_add(done.get(), "binds", json_object_new_boolean(self.settings.bind));
    json_set_number(done.get(), "methods", static_cast<int64_t>(self.methods.size()));
    json_set_number(done.get(), "waiting_bytes", static_cast<int64_t>(self.daemon.out_bytes));
    return control_done(done.release());
}

static json_object *set_network(cloud &self, json_object *arguments)
{
    const std::string wanted = json_get_text(arguments, "status");
    if (wanted.empty())
        return control_refused(
            "a network status is needed, such as \"cloud_connected\" or \"internet_failed\"");
    if (network_set(self.net, wanted))
        cloud_tell_network(self);
    return control_done(json_of("status", wanted).release());
}

// From now on a camera that is not bound is bound, or is not.
static json_object *bind(cloud &self, json_object *arguments)
{
    const std::string result = json_get_text(arguments, "result", "ok");
    if (!cloud_bind(self, result))
        return refuse_send(self);
    self.settings.bind = true;
    return control_done(json_of("result", result).release());
}

static json_object *unbind(cloud &self, json_object *)
{
    self.settings.bind = false;
    return control_done(nullptr);
}

struct cloud_command {
    const char *name;
    json_object *(*run)(cloud &self, json_object *arguments);
};

// clang-format off
static constexpr cloud_command commands[] = {
    { "bind",             bind                 },
    { "call",             call                 },
    { "methods",          list_methods         },
    { "net",              set_network          },
    { "prop_check",       property_check       },
    { "prop_check_begin", property_check_begin },
    { "prop_get",         property_get         },
    { "prop_keep",        property_keep        },
    { "prop_list",        property_list        },
    { "prop_set",         property_set         },
    { "send",             send_text            },
    { "status",           status               },
    { "unbind",           unbind               },
};
// clang-format on

json_object *cloud_answer(cloud &self, const char *command, json_object *arguments)
{
    std::vector<std::string> names;
    for (const cloud_command &row : commands) {
        if (strcmp(command, row.name) == 0)
            return row.run(self, arguments);
        names.emplace_back(row.name);
    }
    return control_refused(std::string("the cloud client knows no command \"") + command + "\"" +
                           did_you_mean(command, names));
}
