// SPDX-License-Identifier: MIT
// Resets and reboots, each from what asks for it to the camera that is up again.
#include "virtual_camera.h"

static constexpr char reboot_notice[] = R"(text={"method":"_internal.reboot","params":null})";

class maintenance : public camera_case {
protected:
    // A camera whose owner has changed something.
    void start_with_changes()
    {
        camera_start(camera);
        camera_call(camera, "set_flip", R"(["on"])");
        EXPECT_TRUE(camera_sees(camera, { "what=set", "space=nvram", "key=flip", "value=on" }));
    }

    // What the daemon does at once, which different neighbours write down, and the reboot that follows.
    void see_it_prepare_and_reboot()
    {
        EXPECT_TRUE(camera_sees(camera, { "what=led", "index=0", "mode=1", "priority=2", "applied=true" }));
        EXPECT_TRUE(camera_sees(
            camera, { "what=led", "index=1", "brightness=50", "mode=0", "priority=2", "applied=true" }));
        EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=reboot" }));
        EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=up", "boot=2" }));
        EXPECT_TRUE(camera_sees(camera, { "what=set", "key=dev_status", "value=normal" }));
        EXPECT_EQ(camera_journal(camera, { "what=set", "key=dev_status", "value=reset" }).size(), 1U);
        EXPECT_FALSE(camera_journal(camera, { "who=script", "name=log2tf.sh" }).empty());
    }

    // The one object that has been reported.
    std::string statistics() const
    {
        const std::vector<json_ptr> lines =
            camera_journal(camera, { "what=statistics", "name=camwarden.info" });
        return lines.size() == 1 ? json_get_text(lines[0].get(), "object") : "not one";
    }

    std::vector<json_ptr> prompts() const
    {
        return camera_journal(camera, { "who=player", "what=playing" });
    }

    int64_t ms_between(const line_like &one, const line_like &other) const
    {
        const std::vector<json_ptr> first = camera_journal(camera, one);
        const std::vector<json_ptr> second = camera_journal(camera, other);
        if (first.empty() || second.empty())
            return -1;
        return json_get_number(second[0].get(), "ms") - json_get_number(first[0].get(), "ms");
    }
};

TEST_F(maintenance, a_key_that_is_held_for_two_seconds_resets_the_camera)
{
    start_with_changes();

    camera_ask(camera, { "key", "hold", "2s" });

    EXPECT_TRUE(camera_sees(camera, { "what=log", "text=Reset key detected\n" }));
    see_it_prepare_and_reboot();
    EXPECT_EQ(statistics(), R"({"type":0})");
    EXPECT_EQ(camera_journal(camera, { "what=reset", "space=nvram", "by=daemon" }).size(), 1U);
    EXPECT_EQ(camera_value(camera, "nvram", "flip"), "off");
    ASSERT_GE(prompts().size(), 1U);
    EXPECT_EQ(json_get_text(prompts()[0].get(), "name"), "reset_success");
    const json_ptr talk = camera_ask(camera, { "call", "get_prop", R"(["flip"])" });
    EXPECT_NE(json_text(talk.get()).find(R"("result":["off"])"), std::string::npos);
}

TEST_F(maintenance, a_key_that_is_held_for_one_second_does_nothing)
{
    start_with_changes();

    camera_ask(camera, { "key", "hold", "1s" });
    camera_ask(camera, { "clock", "+20s" });

    EXPECT_TRUE(camera_journal(camera, { "what=reset" }).empty());
    EXPECT_TRUE(camera_journal(camera, { "what=reboot" }).empty());
    EXPECT_EQ(camera_value(camera, "nvram", "flip"), "on");
}

TEST_F(maintenance, the_cloud_hears_of_a_restore_before_the_camera_goes_down_and_comes_up_as_new)
{
    start_with_changes();

    const int64_t id = camera_call(camera, "kiVO.restore", "[]");

    const std::string ok = "text={\"id\":" + std::to_string(id) + ",\"result\":[\"OK\"]}";
    EXPECT_TRUE(camera_sees(camera, { "who=cloud", "what=received", reboot_notice }));
    EXPECT_TRUE(camera_sees(camera, { "who=cloud", "what=received", ok }));
    EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=reboot" }));
    EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=up", "boot=2" }));
    EXPECT_EQ(statistics(), R"({"type":1})");
    EXPECT_EQ(camera_value(camera, "nvram", "flip"), "off");
    ASSERT_GE(prompts().size(), 2U);
    EXPECT_EQ(json_get_text(prompts()[0].get(), "name"), "reset_success");
    EXPECT_EQ(json_get_text(prompts()[1].get(), "name"), "booting");
    const int64_t waited_ms = ms_between({ "what=received", reboot_notice }, { "what=reboot" });
    EXPECT_GE(waited_ms, 4000) << "the daemon counts in whole seconds";
    EXPECT_LE(waited_ms, 6500);
}

TEST_F(maintenance, a_restart_keeps_the_settings)
{
    start_with_changes();

    camera_call(camera, "restart_device", "[]");

    see_it_prepare_and_reboot();
    EXPECT_EQ(statistics(), R"({"type":2})");
    EXPECT_EQ(camera_value(camera, "nvram", "flip"), "on");
    EXPECT_EQ(camera_do(camera, { "store", "get", "mem", "motor_position" }).status, 1) << "mem was lost";
}

TEST_F(maintenance, a_firmware_update_lets_nobody_reset_or_reboot)
{
    start_with_changes();
    camera_ask(camera, { "update", "on" });
    EXPECT_TRUE(camera_sees(camera, { "what=log", "text=kit.ota: 1\n" }));

    camera_call(camera, "kiVO.restore", "[]");
    EXPECT_TRUE(camera_sees(camera, { "what=statistics", "name=camwarden.info" }));
    camera_ask(camera, { "key", "hold", "2s" });
    EXPECT_TRUE(camera_sees(camera, { "what=log", "text=Reset key detected\n" }));
    camera_ask(camera, { "clock", "+20s" });

    EXPECT_TRUE(camera_journal(camera, { "what=reset" }).empty());
    EXPECT_TRUE(camera_journal(camera, { "what=reboot" }).empty());
    EXPECT_TRUE(camera_journal(camera, { "what=received", reboot_notice }).empty());
    EXPECT_TRUE(prompts().empty());
    EXPECT_EQ(statistics(), R"({"type":1})");
    EXPECT_EQ(camera_value(camera, "nvram", "flip"), "on");

    camera_ask(camera, { "update", "off" });
    camera_call(camera, "restart_device", "[]");
    see_it_prepare_and_reboot();
}

TEST_F(maintenance, a_binding_that_takes_half_an_hour_is_given_up)
{
    camera_start(camera, { "--unbound" });

    camera_ask(camera, { "clock", "+29m" });
    EXPECT_TRUE(camera_journal(camera, { "who=script" }).empty());
    camera_ask(camera, { "clock", "+2m" });

    EXPECT_TRUE(camera_sees(camera, { "what=log", "text=Binding timeout!\n" }));
    EXPECT_TRUE(camera_sees(camera, { "who=script", "name=ifconfig", R"(arguments=["wlan0","down"])" }));
    EXPECT_TRUE(camera_sees(camera, { "what=led", "index=0", "mode=1", "priority=2", "applied=true" }));
    EXPECT_TRUE(camera_sees(camera, { "what=led", "index=1", "brightness=50", "mode=2", "on_ms=100",
                                      "off_ms=200", "priority=2", "applied=true" }));
    EXPECT_TRUE(camera_sees(camera, { "what=set", "space=mem", "key=bind_timeout", "value=1" }));
    camera_ask(camera, { "clock", "+40m" });
    EXPECT_EQ(camera_journal(camera, { "who=script", "name=ifconfig" }).size(), 1U) << "once";
}
