// SPDX-License-Identifier: MIT
// Another program of the camera turns the head after somebody, and the daemon brings it back.
#include "virtual_camera.h"

class tracking : public camera_case {
protected:
    // A camera that is up for a while: the head was brought to its stored place, and all is quiet.
    void start_with_tracking()
    {
        camera_start(camera);
        camera_ask(camera, { "clock", "+10s" });
        camera_ask(camera, { "track", "on" });
    }

    void turn_and_see_it_rest(const char *degrees, const char *h, const char *v)
    {
        camera_ask(camera, { "rotate", degrees });
        EXPECT_TRUE(
            camera_sees(camera, { "who=stage", "what=head", std::string("h=") + h, std::string("v=") + v }));
    }
};

TEST_F(tracking, turns_the_head_and_brings_it_back_five_seconds_later)
{
    start_with_tracking();
    turn_and_see_it_rest("[36,-18,0]", "60", "40");
    const json_ptr turn = std::move(camera_journal(camera, { "what=motor", "operation=7", "value=36" })[0]);

    camera_ask(camera, { "clock", "+10s" });

    const json_ptr back = camera_sees(camera, { "what=motor", "operation=11", "value=[50,50]", "result=0" });
    const int64_t after_ms = json_get_number(back.get(), "ms") - json_get_number(turn.get(), "ms");
    EXPECT_GE(after_ms, 4000) << "the daemon counts in whole seconds";
    EXPECT_LE(after_ms, 6000);
    EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=head", "h=50", "v=50" }));
    EXPECT_EQ(camera_value(camera, "nvram", "motor"), "[50,50]");
}

TEST_F(tracking, leaves_the_head_where_a_move_by_hand_has_brought_it_meanwhile)
{
    start_with_tracking();
    turn_and_see_it_rest("[36,-18,0]", "60", "40");

    camera_call(camera, "set_motor", R"({"operation":2})");
    EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=head", "h=65", "v=40" }));
    EXPECT_TRUE(camera_sees(camera, { "what=set", "space=nvram", "key=motor", "value=[65,40]" }));
    camera_ask(camera, { "clock", "+20s" });

    EXPECT_TRUE(camera_sees(camera, { "what=motor", "operation=11", "value=[65,40]" }));
    const json_ptr head = camera_ask(camera, { "head" });
    EXPECT_EQ(json_text(head.get()), R"({"h":65,"v":40,"moves":false})");
}

TEST_F(tracking, that_is_off_takes_no_rotation)
{
    start_with_tracking();
    turn_and_see_it_rest("[36,0,0]", "60", "50");

    camera_ask(camera, { "track", "off" });

    EXPECT_TRUE(camera_sees(camera, { "what=log", "text=kit.track_switch: 0\n" }));
    command_result refused;
    for (int i = 0; i < 100 && refused.status != 1; i++)
        refused = camera_do(camera, { "rotate", "[36,0,0]" });
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("tracking is off"), std::string::npos) << refused.err;
}

TEST_F(tracking, goes_on_with_a_daemon_that_starts_again)
{
    start_with_tracking();
    camera_ask(camera, { "kill", "daemon" });
    EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=start", "program=daemon" }));
    EXPECT_TRUE(camera_sees(camera, { "what=log", "text=kit.track_switch: 1\n" }));
    camera_ask(camera, { "clock", "+10s" });

    turn_and_see_it_rest("[36,0,0]", "60", "50");
}
