// SPDX-License-Identifier: MIT
// Whether a camera is bound to an account: said to the cloud client, and to its next life.
#include "stage_desk.h"

#include <cstring>

struct bind_scene : stage_desk {
    control_link client;
    control_link cloud;
};

static void open_scene(bind_scene &desk)
{
    stage_desk_open(desk);
    stage_desk_add(desk, "cloud", obedient, stage_role::serves);
    stage_desk_connect(desk, desk.client);
    stage_desk_serve(desk, desk.cloud, "cloud");
}

static void close_scene(bind_scene &desk)
{
    control_close(desk.client);
    control_close(desk.cloud);
    stage_desk_close(desk);
}

// Asks for it and has the cloud client agree; what that was asked.
static std::string asked_of_the_cloud(bind_scene &desk, const std::string &line)
{
    stage_desk_send(desk.client, line);
    const std::string asked = stage_desk_receive(desk, desk.cloud);
    const int64_t tag = json_get_number(json_parse(asked).get(), "tag");
    stage_desk_send(desk.cloud, R"({"done":{},"tag":)" + std::to_string(tag) + "}");
    EXPECT_EQ(stage_desk_receive(desk, desk.client), R"({"done":{}})");
    return json_get_text(json_parse(asked).get(), "do");
}

static std::vector<std::string> cloud_options(bind_scene &desk)
{
    const program &cloud = stage_desk_program(desk, "cloud");
    return { cloud.options.begin(), cloud.options.end() };
}

STORY(an_unbound_camera, stays_unbound_in_the_next_life_of_the_cloud_client)
{
    bind_scene desk;
    open_scene(desk);
    EXPECT_EQ(asked_of_the_cloud(desk, R"({"do":"unbind"})"), "cloud.unbind");
    EXPECT_EQ(asked_of_the_cloud(desk, R"({"do":"unbind"})"), "cloud.unbind");
    EXPECT_EQ(cloud_options(desk), std::vector<std::string>{ "--unbound" });
    close_scene(desk);
}

STORY(a_bound_camera, is_bound_in_the_next_life_of_the_cloud_client_too)
{
    bind_scene desk;
    open_scene(desk);
    asked_of_the_cloud(desk, R"({"do":"unbind"})");
    EXPECT_EQ(asked_of_the_cloud(desk, R"({"do":"bind","result":"ok"})"), "cloud.bind");
    EXPECT_TRUE(cloud_options(desk).empty());
    close_scene(desk);
}

STORY(a_binding, is_refused_while_there_is_no_cloud_client)
{
    stage_desk desk;
    control_link client;
    stage_desk_open(desk);
    stage_desk_add(desk, "cloud", "exit 0", stage_role::serves);
    stage_desk_connect(desk, client);
    EXPECT_PRED2(stage_desk_is_refusal, stage_desk_ask(desk, client, R"({"do":"bind"})"),
                 "the cloud is not running");
    control_close(client);
    stage_desk_close(desk);
}
