// SPDX-License-Identifier: MIT
// What hands, other programs and time do to a camera.
#include "virtual_camera.h"

class reset_key : public camera_case {};

TEST_F(reset_key, that_is_pressed_lets_the_daemon_save_its_log_with_a_script_that_gets_no_arguments)
{
    camera_start(camera);

    camera_ask(camera, { "key", "press" });

    EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=key", "state=1" }));
    EXPECT_TRUE(camera_sees(camera, { "who=script", "what=run", "name=log2tf.sh", "arguments=[]" }));
    camera_ask(camera, { "key", "release" });
    EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=key", "state=0" }));
}

class memory_card : public camera_case {};

TEST_F(memory_card, that_is_put_in_is_in_the_store_and_stays_in_over_a_reboot)
{
    camera_start(camera);
    EXPECT_EQ(camera_value(camera, "mem", "sdcard_status"), "1");

    camera_ask(camera, { "card", "in" });

    EXPECT_TRUE(camera_sees(camera, { "what=set", "key=sdcard_status", "value=0" }));
    EXPECT_EQ(camera_value(camera, "nvram", "sd_total"), "65536");
    camera_ask(camera, { "reboot" });
    EXPECT_TRUE(camera_sees(camera, { "what=set", "key=sdcard_status", "value=0" }));

    camera_ask(camera, { "card", "out" });
    EXPECT_TRUE(camera_sees(camera, { "what=unset", "key=sd_total" }));
    EXPECT_EQ(camera_value(camera, "mem", "sdcard_status"), "1");
}

class camera_scripts : public camera_case {};

TEST_F(camera_scripts, tell_the_journal_how_they_were_run)
{
    camera_start(camera);

    camera_call(camera, "app_feedback_device_rpc", R"({"has_feedback":true})");

    EXPECT_TRUE(camera_sees(camera, { "who=script", "name=kivo_log", R"(arguments=["18"])" }));
}

class stepped_clock : public camera_case {};

TEST_F(stepped_clock, takes_the_daemon_through_half_an_hour_without_losing_the_cloud)
{
    camera_start(camera);
    const int64_t before = json_get_number(camera_ask(camera, { "clock" }).get(), "ms");

    const json_ptr after = camera_ask(camera, { "clock", "+31m" });

    EXPECT_GE(json_get_number(after.get(), "ms") - before, INT64_C(31) * 60 * 1000);
    // Half an hour after its clock was set the daemon asks for the time again.
    EXPECT_GE(camera_journal(camera, { "who=daemon", "what=clock" }).size(), 2U);
    const json_ptr talk = camera_ask(camera, { "call", "get_prop", R"(["power"])" });
    EXPECT_NE(json_text(talk.get()).find(R"("result":["on"])"), std::string::npos);
}

class account : public camera_case {};

TEST_F(account, that_was_given_up_stays_so_over_a_reboot)
{
    camera_start(camera);
    EXPECT_EQ(camera_value(camera, "nvram", "bind_status"), "ok");

    camera_ask(camera, { "unbind" });

    EXPECT_TRUE(camera_sees(camera, { "what=unset", "key=bind_status" }));
    camera_ask(camera, { "reboot" });
    EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=up", "boot=2" }));
    EXPECT_TRUE(camera_sees(camera, { "what=set", "key=dev_status", "value=normal" }));
    EXPECT_EQ(camera_do(camera, { "store", "get", "bind_status" }).status, 1);

    camera_ask(camera, { "bind" });
    EXPECT_TRUE(camera_sees(camera, { "what=set", "key=bind_status", "value=ok", "by=daemon" }));
}
