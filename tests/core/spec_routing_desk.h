// SPDX-License-Identifier: MIT
// spec_routing_desk.h - blocks of the cloud client's stream for the spec service of device 1234567, which has
// the daemon's own dispatcher behind it.
#pragma once

#include "core/dispatcher.h"
#include "core/otd_link.h"

#include "fakes/daemon_desk.h"

struct spec_routing : daemon_desk {
    spec_routing()
    {
        strcpy(g_did, "1234567");
        nubo_spec_init(g_did, kit.otd_sock, msg_dispatcher);
    }

    static int block(const std::string &data)
    {
        return otd_recv_handler_block(kit.otd_sock, data.c_str(), static_cast<int>(data.size()));
    }

    static void request(const std::string &method, const std::string &element, int id = 7)
    {
        std::string text = "{\"id\":" + std::to_string(id) + ",\"method\":\"" + method +
                           R"(","params":[{"did":"1234567",)" + element + "}]}";
        EXPECT_EQ(block(text), static_cast<int>(text.size()));
    }
};

inline std::string value_reply(int siid, int piid, const std::string &value)
{
    return R"({"id" : 7,"result" : [{"did" : "1234567","siid" : )" + std::to_string(siid) + R"(,"piid" : )" +
           std::to_string(piid) + R"(,"value" : )" + value + R"(,"code" : 0}]})";
}

inline std::string set_reply(int siid, int piid)
{
    return R"({"id" : 7,"result" : [{"did" : "1234567","siid" : )" + std::to_string(siid) + R"(,"piid" : )" +
           std::to_string(piid) + R"(,"code" : 0}]})";
}
