// SPDX-License-Identifier: MIT
// What this machine plays with --speaker, and when it cannot.
#include "virtual_camera.h"

#include "common/host_time.h"
#include "common/wav.h"

#include <poll.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

class speaker : public camera_case {
protected:
    std::vector<std::string> environment;

    // A machine with a sound server whose program does as the script says: write down what it is given, and
    // go on as if it played it.
    void machine_has(const std::string &script);
    void machine_can_play();
    command_result run();

    // What was played, in order, once it is so many; fewer after 10 s.
    std::vector<std::string> played(size_t count);

    void TearDown() override;

private:
    bool runs = false;
};

void speaker::machine_has(const std::string &script)
{
    const std::string folder = camera.folder + "/programs";
    fs::create_directory(folder);
    std::ofstream(folder + "/paplay") << "#!/bin/sh\n" << script;
    fs::permissions(folder + "/paplay", fs::perms::owner_all);
    environment = { "PATH=" + folder + ":/usr/bin:/bin", "PULSE_SERVER=unix:/nowhere" };
}

void speaker::machine_can_play()
{
    // The first sound is the trial, which is over at once.
    machine_has("cd " + camera.folder +
                "\nn=$(ls | grep -c '^played')\ncat >part\nmv part played$n\n[ $n = 0 ] || exec sleep 2\n");
}

command_result speaker::run()
{
    command_result result = run_program({ CAMERA_BUILD "/simulator/ctl", "run", "--detach", "--speaker",
                                          "--json", "--name", camera.name, "--state", camera.state },
                                        environment);
    runs = result.status == 0;
    return result;
}

// It was not started by the fixture, which lends its name and folders only.
void speaker::TearDown()
{
    if (runs)
        camera_stop(camera);
    fs::remove_all(camera.run);
    fs::remove_all(camera.state);
    camera_case::TearDown();
}

std::vector<std::string> speaker::played(size_t count)
{
    std::vector<std::string> sounds;
    const int64_t deadline = host_time_ms() + 10'000;
    while (sounds.size() < count && host_time_ms() < deadline) {
        const std::string file = camera.folder + "/played" + std::to_string(sounds.size() + 1);
        std::stringstream bytes;
        if (fs::exists(file)) {
            bytes << std::ifstream(file, std::ios::binary).rdbuf();
            sounds.push_back(bytes.str());
        } else {
            poll(nullptr, 0, 10);
        }
    }
    return sounds;
}

static std::string prompt_file(const std::string &name)
{
    std::stringstream bytes;
    bytes << std::ifstream(CAMERA_BUILD "/sound/en/" + name, std::ios::binary).rdbuf();
    return bytes.str();
}

TEST_F(speaker, without_a_program_or_a_card_is_refused_in_a_sentence_and_no_camera_starts)
{
    const std::string folder = camera.folder + "/programs";
    fs::create_directory(folder);
    for (const char *program : { "bwrap", "true" })
        fs::create_symlink(std::string("/usr/bin/") + program, folder + "/" + program);
    environment = { "PATH=" + folder, "PULSE_SERVER=", "XDG_RUNTIME_DIR=" };

    const command_result refused = run();
    environment[1] = "PULSE_SERVER=unix:/nowhere";
    const command_result without_program = run();

    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(without_program.status, 2);
    EXPECT_TRUE(refused.out.find("no sound card and no sound server") != std::string::npos ||
                refused.out.find("aplay is missing to play on the sound card") != std::string::npos)
        << refused.out;
    EXPECT_NE(without_program.out.find("paplay is missing to play on the sound server"), std::string::npos)
        << without_program.out;
    EXPECT_EQ(camera_do(camera, { "status" }).status, 2);
}

TEST_F(speaker, that_fails_when_it_is_tried_is_refused)
{
    machine_has("exit 1\n");

    const command_result refused = run();

    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.out.find("paplay cannot play on the sound server"), std::string::npos) << refused.out;
}

TEST_F(speaker, plays_what_the_player_was_sent)
{
    machine_can_play();
    const command_result started = run();
    ASSERT_EQ(started.status, 0) << started.out << started.err;

    EXPECT_EQ(camera_do(camera, { "play", "ding" }).status, 0);
    ASSERT_EQ(played(1).size(), 1U);
    EXPECT_EQ(camera_do(camera, { "play", "numb_nine" }).status, 0);

    const std::vector<std::string> sounds = played(2);
    ASSERT_EQ(sounds.size(), 2U);
    EXPECT_TRUE(sounds[0] == prompt_file("ding"));
    EXPECT_TRUE(sounds[1] == prompt_file("numb_nine"));
}

// Whether it is an end of that prompt, and not all of it.
static bool is_rest_of(const std::string &sound, const std::string &prompt)
{
    const std::string whole = prompt_file(prompt);
    const wav_sound rest = wav_look(sound);
    return rest.size > 0 && rest.size < wav_look(whole).size && whole.ends_with(sound.substr(rest.at));
}

TEST_F(speaker, is_silent_while_the_player_is_banned_and_goes_on_in_the_middle)
{
    machine_can_play();
    const command_result started = run();
    ASSERT_EQ(started.status, 0) << started.out << started.err;

    // The ban ends within one of the two.
    EXPECT_EQ(camera_do(camera, { "store", "set", "mem", "motor_cmd", "[0,1,0]" }).status, 0);
    EXPECT_EQ(camera_do(camera, { "play", "binding_fail_repeat" }).status, 0);
    EXPECT_EQ(camera_do(camera, { "play", "5GHz_wifi_supported" }).status, 0);

    const std::vector<std::string> sounds = played(1);
    ASSERT_EQ(sounds.size(), 1U);
    EXPECT_EQ(wav_told_size(sounds[0]), static_cast<int64_t>(sounds[0].size()));
    EXPECT_TRUE(is_rest_of(sounds[0], "binding_fail_repeat") || is_rest_of(sounds[0], "5GHz_wifi_supported"));
}
