// SPDX-License-Identifier: MIT
// spec_desk.h - the spec service of device 1234567 with its links up, and what it says in a readable form.
#pragma once

#include "spec/changes.h"
#include "spec/get_properties.h"
#include "spec/pull.h"
#include "spec/service.h"
#include "spec/set_properties.h"

#include "fakes/daemon_desk.h"

// Stands in for the daemon's dispatcher: recorded as dispatch(TEXT, LENGTH, SOCKET, ORIGIN).
inline int dispatch_recorded(const json_text &text, int length, int sock, int origin)
{
    record_call("dispatch(%s, %d, %d, %d)", text.text, length, sock, origin);
    return 77;
}

struct spec_desk : daemon_desk {
    spec_desk()
    {
        nubo_spec_init("1234567", kit.otd_sock, dispatch_recorded);
    }

    // Requests and answers leave the message's frame to these.
    void get(const std::string &elements, int32_t id = 7)
    {
        nubo_spec_handle_get_properties(
            snapshot, id, (R"({"id":7,"method":"get_properties","params":[)" + elements + "]}").c_str());
    }

    static void set(const std::string &elements, int32_t id = 7)
    {
        std::string text = R"({"id":7,"method":"set_properties","params":[)" + elements + "]}";
        nubo_spec_handle_set_properties(id, text.c_str(), static_cast<int>(text.size()));
    }

    static void pulled(const std::string &elements)
    {
        json_ptr array(json_tokener_parse(("[" + elements + "]").c_str()));
        get_param_from_spec_service_parse(array.get());
    }

    spec_snapshot snapshot = {};
};

// An element that asks for a property, or sets it.
inline std::string element(int siid, int piid, const std::string &value = "")
{
    std::string numbers =
        R"({"did":"1234567","siid":)" + std::to_string(siid) + R"(,"piid":)" + std::to_string(piid);
    return numbers + (value.empty() ? "" : ",\"value\":" + value) + "}";
}

// The entry of a reply: after the numbers comes what is given.
inline std::string entry(int siid, int piid, const std::string &rest)
{
    return R"({"did" : "1234567","siid" : )" + std::to_string(siid) + R"(,"piid" : )" + std::to_string(piid) +
           "," + rest + "}";
}

inline std::string entry_value(int siid, int piid, const std::string &value)
{
    return entry(siid, piid, R"("value" : )" + value + R"(,"code" : 0)");
}

inline std::string entry_set(int siid, int piid)
{
    return entry(siid, piid, R"("code" : 0)");
}

inline std::string entry_missing(int siid, int piid)
{
    return entry(siid, piid, R"("code" : -4003)");
}

inline std::string reply(const std::string &entries, int32_t id = 7)
{
    return R"({"id" : )" + std::to_string(id) + R"(,"result" : [)" + entries + "]}";
}

inline std::string report(int siid, int piid, const std::string &value, int32_t id = 7)
{
    return R"({"id" : )" + std::to_string(id) +
           R"(,"method" : "properties_changed","params" : [{"did" : "1234567","siid" : )" +
           std::to_string(siid) + R"(,"piid" : )" + std::to_string(piid) + R"(,"value" : )" + value + "}]}";
}

// What shows in the record of calls.
inline std::string store_read(const std::string &space, const std::string &key)
{
    return "libselvar_config_get(0, " + space + ", default, " + key + ")";
}

inline std::string mem_set_unlimited(const std::string &key, const std::string &value)
{
    return "libselvar_set_value(mem, default, " + key + ", 1, \"" + value + "\", none, none, 0, 0)";
}

inline std::string dispatched(const std::string &text)
{
    return "dispatch(" + text + ", " + std::to_string(text.size()) + ", " + std::to_string(kit.otd_sock) +
           ", 1)";
}

// The two lines of the log that a set brings with it.
inline std::string ack_line(const std::string &ack)
{
    return "debug: [nubo_spec_handle_set_properties][732]set properties ack : " + ack;
}

inline std::string rpc_line(const std::string &text)
{
    return "debug: [spec_set_rpc][1323]camwarden rpc : " + text;
}

inline std::string method_text(const std::string &method, const std::string &parameter, int32_t id = 7)
{
    return "{\"id\":" + std::to_string(id) + ",\"method\":\"" + method + "\",\"params\":[" + parameter + "]}";
}

inline std::string called_method(const std::string &method, const std::string &parameter, int32_t id = 7)
{
    return dispatched(method_text(method, parameter, id));
}

inline const std::string region_on = "[3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3,3]";
inline const std::string region_off = "[1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1]";
