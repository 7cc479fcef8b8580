// SPDX-License-Identifier: MIT
// One request goes all the way round.
#include "virtual_camera.h"

class first_light : public camera_case {};

TEST_F(first_light, call_shows_the_ok_the_report_and_what_they_lead_to)
{
    camera_start(camera);

    const json_ptr talk = camera_ask(camera, { "call", "set_power", "[\"off\"]" });

    const std::string text = json_text(talk.get());
    EXPECT_NE(text.find(R"("reply":{"id":1,"result":["OK"]})"), std::string::npos) << text;
    EXPECT_NE(text.find(R"("method":"props","params":{"power":"off"})"), std::string::npos) << text;
    EXPECT_EQ(camera_value(camera, "nvram", "power"), "off");
    EXPECT_TRUE(camera_is_dark(camera));
}

TEST_F(first_light, the_reply_goes_before_the_report)
{
    camera_start(camera);

    const int64_t id = camera_call(camera, "set_power", R"(["off"])");
    const std::string ok = "{\"id\":" + std::to_string(id) + ",\"result\":[\"OK\"]}";

    EXPECT_TRUE(camera_sees(
        camera, { "who=cloud", "what=sent", R"(text={"id":1,"method":"set_power","params":["off"]})" }));
    EXPECT_TRUE(camera_sees(camera, { "what=received", "text=" + ok }));
    const json_ptr report = camera_sees(camera, { "who=cloud", "what=received" });
    EXPECT_NE(json_get_text(report.get(), "text").find(R"("method":"props","params":{"power":"off"}})"),
              std::string::npos);
}

TEST_F(first_light, the_store_is_written_before_the_leds_turn)
{
    camera_start(camera);

    camera_call(camera, "set_power", R"(["off"])");

    EXPECT_TRUE(
        camera_sees(camera, { "what=sent", R"(text={"id":1,"method":"set_power","params":["off"]})" }));
    EXPECT_TRUE(camera_sees(
        camera, { "who=store", "what=set", "space=nvram", "key=power", "value=off", "by=daemon" }));
    EXPECT_TRUE(
        camera_sees(camera, { "who=daemon", "what=led", "index=1", "mode=1", "priority=2", "applied=true" }));
    EXPECT_TRUE(
        camera_sees(camera, { "who=daemon", "what=led", "index=0", "mode=1", "priority=2", "applied=true" }));
}

TEST_F(first_light, what_was_switched_off_is_still_off_after_stop_and_run)
{
    camera_start(camera);
    camera_call(camera, "set_power", R"(["off"])");
    camera_sees(camera, { "what=set", "key=power", "value=off" });
    camera_stop(camera);

    camera_start(camera);

    EXPECT_EQ(camera_value(camera, "nvram", "power"), "off");
    EXPECT_TRUE(camera_is_dark(camera));
    const json_ptr talk = camera_ask(camera, { "call", "get_prop", R"(["power"])" });
    EXPECT_NE(json_text(talk.get()).find(R"("result":["off"])"), std::string::npos);
}

TEST_F(first_light, a_fresh_camera_has_forgotten_it)
{
    camera_start(camera);
    camera_call(camera, "set_power", R"(["off"])");
    camera_sees(camera, { "what=set", "key=power", "value=off" });
    camera_stop(camera);

    camera_start(camera, { "--fresh" });

    const json_ptr talk = camera_ask(camera, { "call", "get_prop", R"(["power"])" });
    EXPECT_NE(json_text(talk.get()).find(R"("result":["on"])"), std::string::npos);
    EXPECT_FALSE(camera_is_dark(camera));
}
