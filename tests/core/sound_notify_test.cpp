// SPDX-License-Identifier: MIT
// The key "sound_play": what others on the camera ask for; and the cloud's alarm.
#include "core/dispatcher.h"
#include "core/notify.h"
#include "sound/prompts.h"

#include "fakes/daemon_desk.h"

struct prompts_asked_for : daemon_desk {
    prompts_asked_for() : daemon_desk(selvar_notify_handler)
    {
        bus.player_listens = true;
        sound_init(nullptr);
        for (const sound_prompt &each : sound_prompts)
            prompts.has(std::string("en/") + each.name, each.name);
        strcpy(language, "en");
        record_clear();
    }
    ~prompts_asked_for() override
    {
        sound_exit();
    }

    prompt_folder prompts;
};

TEST_F(prompts_asked_for, by_id_are_each_of_the_catalogue)
{
    texts names;
    for (const sound_prompt &each : sound_prompts) {
        names.emplace_back(each.name);
        selvar_notify_handler("sound_play", ("[" + std::to_string(each.id) + ",1,0]").c_str());
    }
    EXPECT_EQ(bus_texts(), names);
}

TEST_F(prompts_asked_for, are_spoken_in_the_language_of_the_moment)
{
    prompts.has("fr/ding", "french");
    selvar_notify_handler("language", "fr");
    selvar_notify_handler("sound_play", "[4,1,0]");
    EXPECT_EQ(bus_texts(), texts{ "french" });
}

TEST_F(prompts_asked_for, may_lack_their_closing_bracket)
{
    selvar_notify_handler("sound_play", "[4,1,0");
    EXPECT_EQ(bus_texts(), texts{ "ding" });
}

TEST_F(prompts_asked_for, with_the_queue_flag_wait_for_a_player_that_does_not_take_them)
{
    bus_send_fails(1);
    selvar_notify_handler("sound_play", "[4,1,0]");
    EXPECT_EQ(prompt_mappings(), 1);
    EXPECT_FALSE(log_mentions("sound_play error"));
}

TEST_F(prompts_asked_for, without_the_queue_flag_fail_with_a_player_that_does_not_take_them)
{
    bus_send_fails(1);
    selvar_notify_handler("sound_play", "[4,0,1]");
    EXPECT_EQ(prompt_mappings(), 0);
    EXPECT_TRUE(logged("err: sound_play error, ret: -1 !\n"));
}

TEST_F(prompts_asked_for, that_cannot_be_loaded_are_an_error)
{
    strcpy(language, "");
    selvar_notify_handler("sound_play", "[4,1,0]");
    EXPECT_TRUE(in_order({ "warning: sound: Can not open /mnt/data/sound/ding for read: No such file or "
                           "directory\n",
                           "err: sound_play error, ret: -1 !\n" }));
}

struct bad_request {
    const char *name;
    const char *value;
    const char *line;
};

struct refused_request : prompts_asked_for, testing::WithParamInterface<bad_request> {};

TEST_P(refused_request, plays_nothing)
{
    selvar_notify_handler("sound_play", GetParam().value);
    EXPECT_EQ(calls(), texts{});
    EXPECT_EQ(story().back(), GetParam().line);
}

static const bad_request bad_requests[] = {
    { "id_below_the_catalogue", "[-1,1,0]", "err: sound_play error, unknown sound id: -1 !\n" },
    { "id_beyond_the_catalogue", "[51,1,0]", "err: sound_play error, unknown sound id: 51 !\n" },
    { "two_numbers", "[3,1]", "warning: sound_play msg error: [3,1]\n" },
    { "one_number", "[3", "warning: sound_play msg error: [3\n" },
    { "no_bracket", "3,1,0", "warning: sound_play msg error: 3,1,0\n" },
    { "a_text_in_it", "[3,one,0]", "warning: sound_play msg error: [3,one,0]\n" },
    { "the_mark_of_the_link", "ready", "warning: sound_play msg error: ready\n" },
    { "a_format", "%s%n", "warning: sound_play msg error: %s%n\n" },
    { "empty", "", "warning: sound_play msg error: \n" },
};

INSTANTIATE_TEST_SUITE_P(values, refused_request, testing::ValuesIn(bad_requests),
                         [](const auto &row) { return row.param.name; });

TEST_F(prompts_asked_for, through_the_store_are_played)
{
    selvar_nvram_register_notify("mem", "sound_play");
    store_notify_text("mem", "sound_play", "[2,1,0]");
    selvar_nvram_response();
    EXPECT_EQ(bus_texts(), texts{ "booting" });
}

static const char alarm_ok[] = R"({"id":7,"result":["OK"]})";

static int alarm()
{
    const std::string text = R"({"id":7,"method":"alarm_sound"})";
    return msg_dispatcher(text.c_str(), static_cast<int>(text.size()), kit.otd_sock, 0);
}

TEST_F(prompts_asked_for, by_the_clouds_alarm_are_three_behind_the_answer)
{
    EXPECT_EQ(alarm(), 0);
    EXPECT_TRUE(in_order({ "debug: manual play alarm sound .... \n", to_cloud(alarm_ok),
                           "open(/mnt/data/sound/en/alarm1)", R"(wrax_rcv_send_message("alarm1", 6))",
                           "open(/mnt/data/sound/en/alarm2)", R"(wrax_rcv_send_message("alarm2", 6))",
                           "open(/mnt/data/sound/en/alarm3)", R"(wrax_rcv_send_message("alarm3", 6))" }));
    EXPECT_EQ(sent_texts(), texts{ alarm_ok }) << "once";
    EXPECT_FALSE(log_mentions("ackbuf: "));
}

TEST_F(prompts_asked_for, by_the_clouds_alarm_wait_for_the_player)
{
    sound_exit();
    EXPECT_EQ(alarm(), 0);
    EXPECT_EQ(prompt_mappings(), 3);
    EXPECT_EQ(sent_texts(), texts{ alarm_ok });
    sound_init(nullptr);
    bus_player_connects();
    sound_recv();
    EXPECT_EQ(bus_texts(), (texts{ "alarm1", "alarm2", "alarm3" }));
}

TEST_F(prompts_asked_for, by_the_clouds_alarm_may_be_missing_one_by_one)
{
    std::remove((prompts.path + "/en/alarm2").c_str());
    EXPECT_EQ(alarm(), 0);
    EXPECT_EQ(bus_texts(), (texts{ "alarm1", "alarm3" }));
    EXPECT_EQ(sent_texts(), texts{ alarm_ok });
}

// The key is made ready right before it is watched, so that what was asked of an earlier life is not played.
struct watching_for_prompts : prompts_asked_for {
    static void expect_right_before_the_registration(const std::string &preparation)
    {
        const texts all = calls();
        auto here = std::find(all.begin(), all.end(), preparation);
        ASSERT_NE(here, all.end());
        ASSERT_NE(here, all.begin());
        ASSERT_NE(here + 1, all.end());
        EXPECT_EQ(*(here - 1), "libselvar_register_notification(mem, default, motor_slide_screen, yes, yes, "
                               "yes, 0, 0)");
        EXPECT_EQ(*(here + 1),
                  "libselvar_register_notification(mem, default, sound_play, yes, yes, yes, 0, 0)");
    }
};

TEST_F(watching_for_prompts, removes_the_key_while_the_player_is_not_ready)
{
    selvar_register_keys();
    EXPECT_TRUE(logged("debug: sound_is_ready: 0\n"));
    expect_right_before_the_registration(calls_of("libselvar_unset").at(0));
    EXPECT_EQ(calls_of("libselvar_unset").size(), 1U);
    EXPECT_TRUE(calls_of("libselvar_unset")[0].starts_with("libselvar_unset(mem, default, sound_play, "));
    EXPECT_EQ(calls_of("libselvar_set_value"), texts{});
}

TEST_F(watching_for_prompts, marks_the_key_while_the_player_is_ready)
{
    bus_player_connects();
    sound_recv();
    record_clear();
    selvar_register_keys();
    EXPECT_TRUE(logged("debug: sound_is_ready: 1\n"));
    expect_right_before_the_registration(mem_set("sound_play", "ready"));
    EXPECT_EQ(calls_of("libselvar_unset"), texts{});
    EXPECT_EQ(calls_of("libselvar_set_value").size(), 1U);
}
