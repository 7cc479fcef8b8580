// SPDX-License-Identifier: MIT
// Prompts from whoever asks for them to what is heard, and a player that hangs, dies and comes back.
#include "virtual_camera.h"

#include "common/control.h"
#include "common/wav.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace fs = std::filesystem;

using texts = std::vector<std::string>;

class prompts : public camera_case {};

// A command of the control socket.
static void ask(const virtual_camera &camera, const std::string &command)
{
    setenv("CAMERA_RUN", camera.run.c_str(), 1);
    control_link link;
    const json_ptr line = json_parse(command);
    ASSERT_TRUE(control_connect(link));
    const json_ptr answer(control_ask(link, line.get(), 20'000));
    control_close(link);
    EXPECT_TRUE(json_object_object_get_ex(answer.get(), "done", nullptr)) << json_text(answer.get());
}

static void play(const virtual_camera &camera, const std::string &name)
{
    EXPECT_EQ(camera_do(camera, { "play", name }).status, 0);
}

static void player_connects(virtual_camera &camera)
{
    EXPECT_TRUE(camera_sees(camera, { "who=player", "what=connected" }));
}

// The names that the journal has so far for what the player does.
static texts names_of(const virtual_camera &camera, const std::string &what)
{
    texts names;
    for (const json_ptr &line : camera_journal(camera, { "who=player", "what=" + what }))
        names.push_back(json_get_text(line.get(), "name"));
    return names;
}

TEST_F(prompts, of_the_alarm_follow_an_ok_one_after_the_other)
{
    camera_start(camera);

    const int64_t id = camera_call(camera, "alarm_sound", "[]");

    const json_ptr sent = camera_sees(
        camera, { "who=cloud", "what=sent",
                  "text={\"id\":" + std::to_string(id) + R"(,"method":"alarm_sound","params":[]})" });
    const json_ptr ok =
        camera_sees(camera, { "who=cloud", "what=received",
                              "text={\"id\":" + std::to_string(id) + R"(,"result":["OK"]})" });
    EXPECT_LT(json_get_number(ok.get(), "ms") - json_get_number(sent.get(), "ms"), 1000);
    for (const char *name : { "alarm1", "alarm2", "alarm3" })
        camera_sees(camera, { "who=player", "what=played", std::string("name=") + name, "language=en" });
    const auto playing = camera_journal(camera, { "who=player", "what=playing" });
    const auto played = camera_journal(camera, { "who=player", "what=played" });
    ASSERT_EQ(playing.size(), 3U);
    ASSERT_EQ(played.size(), 3U);
    for (size_t i = 1; i < 3; i++)
        EXPECT_EQ(json_get_number(playing[i].get(), "at_ms"), json_get_number(played[i - 1].get(), "at_ms"));
}

TEST_F(prompts, are_muted_while_the_head_turns_and_heard_again_a_second_after_it_rests)
{
    camera_start(camera);
    player_connects(camera);

    // Behind a tick: so the head, which turns for a little more than a second, rests long before the one
    // after.
    EXPECT_TRUE(camera_sees(camera, { "who=daemon", "what=log", "text=sound unban\n" }));
    EXPECT_EQ(camera_do(camera, { "store", "set", "mem", "motor_cmd", "[0,1,0]" }).status, 0);
    EXPECT_TRUE(camera_sees(camera, { "who=player", "what=banned" }));
    for (const char *name : { "binding_fail_repeat", "5GHz_wifi_supported" })
        play(camera, name);
    EXPECT_TRUE(
        camera_sees(camera, { "who=player", "what=playing", "name=binding_fail_repeat", "muted=true" }));
    const json_ptr speaks = camera_sees(camera, { "who=player", "what=unbanned" });
    EXPECT_TRUE(camera_sees(camera, { "who=player", "what=played", "name=5GHz_wifi_supported" }));

    const auto rests = camera_journal(camera, { "who=stage", "what=head" });
    ASSERT_FALSE(rests.empty());
    const int64_t after_ms = json_get_number(speaks.get(), "ms") - json_get_number(rests.back().get(), "ms");
    EXPECT_GE(after_ms, 1000);
    EXPECT_LT(after_ms, 3000);
    const auto played = camera_journal(camera, { "who=player", "what=played" });
    ASSERT_EQ(played.size(), 2U);
    EXPECT_LT(json_get_number(played[0].get(), "heard_ms"), json_get_number(played[0].get(), "lasts_ms"));
    EXPECT_GT(json_get_number(played[1].get(), "heard_ms"), 0);
}

// A process of the camera as this system numbers it.
static std::string process_folder(const virtual_camera &camera, const std::string &program)
{
    for (const fs::directory_entry &entry : fs::directory_iterator("/proc")) {
        std::error_code error;
        std::string name;
        std::getline(std::ifstream(entry.path() / "comm"), name);
        if (name == program && fs::equivalent(entry.path() / "root/run/camera", camera.run, error) && !error)
            return entry.path();
    }
    ADD_FAILURE() << program << " does not run in the camera";
    return "/proc/self";
}

static size_t open_descriptors(const std::string &process)
{
    size_t count = 0;
    for ([[maybe_unused]] const auto &entry : fs::directory_iterator(process + "/fd"))
        count++;
    return count;
}

static size_t mapped_prompts(const std::string &process)
{
    std::ifstream maps(process + "/maps");
    size_t count = 0;
    for (std::string line; std::getline(maps, line);)
        count += line.find("/sound/") != std::string::npos ? 1 : 0;
    return count;
}

// Kills the player so often that it stays away for three seconds, the last time when the daemon is connected;
// the daemon has then closed the link.
static void player_stays_away(virtual_camera &camera)
{
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(camera_do(camera, { "kill", "player" }).status, 0);
        EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=start", "program=player" }));
    }
    player_connects(camera);
    EXPECT_EQ(camera_do(camera, { "kill", "player" }).status, 0);
    // The daemon handles nothing between this and the close.
    EXPECT_TRUE(camera_sees(camera, { "who=daemon", "text=sound recv error no: 104\n" }));
}

TEST_F(prompts, asked_for_while_the_player_is_away_are_played_in_their_order_when_it_is_back)
{
    camera_start(camera);
    player_connects(camera);
    const std::string daemon = process_folder(camera, "kivo_camwarden");
    const size_t descriptors = open_descriptors(daemon);
    player_stays_away(camera);

    for (const char *name : { "numb_one", "ding", "numb_two" }) {
        play(camera, name);
        EXPECT_TRUE(
            camera_sees(camera, { "who=daemon", "text=sound: numb_one receiver has not created.\n" }));
    }
    EXPECT_EQ(mapped_prompts(daemon), 3U);
    EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=start", "program=player" }));
    player_connects(camera);

    for (const char *name : { "numb_one", "ding", "numb_two" })
        EXPECT_TRUE(camera_sees(camera, { "who=player", "what=played", std::string("name=") + name }));
    EXPECT_EQ(names_of(camera, "playing"), (texts{ "numb_one", "ding", "numb_two" }));
    EXPECT_EQ(mapped_prompts(daemon), 0U);
    EXPECT_EQ(open_descriptors(daemon), descriptors);
}

static bool could_not_send(const virtual_camera &camera)
{
    for (const json_ptr &line : camera_journal(camera, { "who=daemon", "what=log" })) {
        if (json_get_text(line.get(), "text").find("fail to send audio data") != std::string::npos)
            return true;
    }
    return false;
}

static void play_until_none_can_be_sent(const virtual_camera &camera)
{
    constexpr int more_than_fit = 50;
    for (int i = 0; i < more_than_fit && !could_not_send(camera); i++)
        play(camera, "binding_fail_repeat");
    EXPECT_TRUE(could_not_send(camera));
}

TEST_F(prompts, that_waited_for_a_hanging_player_are_gone_with_its_link_and_the_daemon_works_on)
{
    camera_start(camera);
    player_connects(camera);
    const std::string daemon = process_folder(camera, "kivo_camwarden");
    const size_t descriptors = open_descriptors(daemon);

    ask(camera, R"({"do":"player.hang","on":true})");
    play_until_none_can_be_sent(camera);
    EXPECT_GT(mapped_prompts(daemon), 0U);
    const int64_t id = camera_call(camera, "get_prop", R"(["light"])");
    EXPECT_TRUE(
        camera_sees(camera, { "who=cloud", "what=received",
                              "text={ \"id\": " + std::to_string(id) + ", \"result\": [ \"on\" ] }" }));

    EXPECT_EQ(camera_do(camera, { "kill", "player" }).status, 0);
    player_connects(camera);
    play(camera, "ding");

    EXPECT_TRUE(camera_sees(camera, { "who=player", "what=played", "name=ding" }));
    EXPECT_EQ(names_of(camera, "prompt"), texts{ "ding" });
    EXPECT_EQ(mapped_prompts(daemon), 0U);
    EXPECT_EQ(open_descriptors(daemon), descriptors);
}

TEST_F(prompts, are_broken_off_when_the_player_is_killed_and_it_plays_again)
{
    camera_start(camera);
    player_connects(camera);
    play(camera, "binding_fail_repeat");
    EXPECT_TRUE(camera_sees(camera, { "who=player", "what=playing" }));

    EXPECT_EQ(camera_do(camera, { "kill", "player" }).status, 0);

    player_connects(camera);
    play(camera, "ding");
    EXPECT_TRUE(camera_sees(camera, { "who=player", "what=played", "name=ding" }));
    const std::string list = json_text(camera_ask(camera, { "prompts" }).get());
    EXPECT_NE(list.find(R"("state":"broken off")"), std::string::npos) << list;
    EXPECT_NE(camera_do(camera, { "status" }).out.find("player   running"), std::string::npos);
}

static void choose_language(virtual_camera &camera, const std::string &language)
{
    EXPECT_EQ(camera_do(camera, { "store", "set", "language", language }).status, 0);
    EXPECT_TRUE(camera_sees(camera, { "who=daemon", "what=log", "text=language: " + language + "\n" }));
}

TEST_F(prompts, are_heard_in_the_language_that_was_chosen_and_in_the_common_one_where_it_is_missing)
{
    camera_start(camera);
    player_connects(camera);

    choose_language(camera, "de");
    play(camera, "ding");
    EXPECT_TRUE(camera_sees(camera, { "who=player", "what=played", "name=ding", "language=de" }));
    choose_language(camera, "fr");
    play(camera, "ding");

    EXPECT_TRUE(
        camera_sees(camera, { "who=daemon",
                              "text=sound path: /mnt/data/sound/fr/ does not exist, set default path!\n" }));
    const json_ptr played = camera_sees(camera, { "who=player", "what=played", "name=ding" });
    EXPECT_FALSE(json_object_object_get_ex(played.get(), "language", nullptr));
}

TEST_F(prompts, that_are_missing_in_their_language_are_not_played)
{
    camera_start(camera);
    player_connects(camera);
    const std::string inside = process_folder(camera, "player") + "/root/mnt/data/sound/";

    ASSERT_TRUE(fs::remove(inside + "en/ding"));
    play(camera, "ding");
    EXPECT_TRUE(camera_sees(
        camera,
        { "who=daemon",
          "text=sound: Can not open /mnt/data/sound/en/ding for read: No such file or directory\n" }));
    play(camera, "dingding");

    EXPECT_TRUE(camera_sees(camera, { "who=player", "what=played", "name=dingding" }));
    EXPECT_EQ(names_of(camera, "prompt"), texts{ "dingding" });
}

TEST_F(prompts, all_sound_and_each_differs_from_the_others)
{
    std::map<std::string, std::string> seen;
    for (const char *language : { "", "en/", "de/" }) {
        size_t count = 0;
        for (const fs::directory_entry &entry :
             fs::directory_iterator(CAMERA_BUILD "/sound/" + std::string(language))) {
            if (!entry.is_regular_file())
                continue;
            std::stringstream bytes;
            bytes << std::ifstream(entry.path(), std::ios::binary).rdbuf();
            const std::string name = language + entry.path().filename().string();
            EXPECT_EQ(wav_told_size(bytes.view()), static_cast<int64_t>(bytes.view().size())) << name;
            EXPECT_GT(wav_look(bytes.view()).length_ns, 200'000'000) << name;
            const auto [other, is_new] = seen.emplace(bytes.str(), name);
            EXPECT_TRUE(is_new) << name << " sounds as " << other->second;
            count++;
        }
        EXPECT_EQ(count, 51U) << "in " << language;
    }
}

TEST_F(prompts, can_be_asked_for_by_name_and_listed_with_time_and_language)
{
    camera_start(camera);
    player_connects(camera);
    EXPECT_EQ(camera_do(camera, { "prompts" }).out, "no prompt was played yet\n");

    const command_result mistyped = camera_do(camera, { "play", "bootin" });
    EXPECT_EQ(mistyped.status, 2);
    EXPECT_EQ(mistyped.err, "there is no prompt \"bootin\", did you mean \"booting\"?\n");
    play(camera, "sound_alarm_tarnek");

    EXPECT_TRUE(
        camera_sees(camera, { "who=store", "what=set", "space=mem", "key=sound_play", "value=[50,1,0]" }));
    const json_ptr played = camera_sees(camera, { "who=player", "what=played" });
    const json_ptr answer = camera_ask(camera, { "prompts" });
    json_object *list = json_object_object_get(answer.get(), "prompts");
    ASSERT_EQ(json_object_array_length(list), 1U);
    json_object *prompt = json_object_array_get_idx(list, 0);
    EXPECT_EQ(json_get_text(prompt, "name"), "sound_alarm_tarnek");
    EXPECT_EQ(json_get_text(prompt, "language"), "en");
    EXPECT_EQ(json_get_text(prompt, "state"), "played");
    EXPECT_FALSE(json_get_bool(prompt, "muted"));
    EXPECT_NEAR(static_cast<double>(json_get_number(prompt, "at_ms") + json_get_number(prompt, "lasts_ms")),
                static_cast<double>(json_get_number(played.get(), "at_ms")), 1);
    camera_stop(camera);
    EXPECT_NE(camera_do(camera, { "prompts" }).out.find("sound_alarm_tarnek"), std::string::npos);
}
