// SPDX-License-Identifier: MIT
// Programs that die, builds that fail, files that are broken, reboots.
#include "virtual_camera.h"

#include "ctl/place.h"
#include "ctl/processes.h"

#include <csignal>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

// Requests that each leave a number in nvram: "motion_alarm" = "[1]", "[2]", ...
struct numbered_requests {
    int last = 0;
};

static void send_requests(virtual_camera &camera, numbered_requests &requests, int count)
{
    for (int i = 0; i < count; i++)
        camera_call(camera, "setAlarmConfig", "[" + std::to_string(++requests.last) + "]");
}

static int number_in(const std::string &value)
{
    return value.size() > 2 && value[0] == '[' ? std::stoi(value.substr(1)) : 0;
}

// The last number for which the store has told success.
static int last_stored(const virtual_camera &camera)
{
    const auto sets = camera_journal(camera, { "who=store", "what=set", "key=motion_alarm" });
    return sets.empty() ? 0 : number_in(json_get_text(sets.back().get(), "value"));
}

static void sees_program_killed_and_started(virtual_camera &camera, const std::string &program)
{
    EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=exit", "program=" + program, "signal=9" }));
    EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=start", "program=" + program }));
}

static void answers_again(virtual_camera &camera)
{
    const int64_t id = camera_call(camera, "get_prop", R"(["light"])");
    ASSERT_GT(id, 0);
    EXPECT_TRUE(
        camera_sees(camera, { "who=cloud", "what=received",
                              "text={ \"id\": " + std::to_string(id) + ", \"result\": [ \"on\" ] }" }));
}

class killed : public camera_case {};

TEST_F(killed, daemon_is_replaced_and_serves_again_while_its_neighbours_live_on)
{
    camera_start(camera);
    const int64_t store = camera_pid(camera, "store");
    const int64_t cloud = camera_pid(camera, "cloud");
    numbered_requests requests;

    send_requests(camera, requests, 20);
    EXPECT_EQ(camera_do(camera, { "kill", "daemon" }).status, 0);
    send_requests(camera, requests, 20);

    sees_program_killed_and_started(camera, "daemon");
    EXPECT_TRUE(camera_sees(camera, { "who=cloud", "what=announced", "method=set_properties" }));
    answers_again(camera);
    EXPECT_EQ(camera_pid(camera, "store"), store);
    EXPECT_EQ(camera_pid(camera, "cloud"), cloud);
    EXPECT_GE(number_in(camera_value(camera, "nvram", "motion_alarm")), last_stored(camera));
}

TEST_F(killed, store_has_lost_nothing_that_it_told_was_stored)
{
    camera_start(camera);
    const int64_t daemon = camera_pid(camera, "daemon");
    numbered_requests requests;

    for (const int before : { 1, 3, 7, 20 }) {
        send_requests(camera, requests, before);
        EXPECT_EQ(camera_do(camera, { "kill", "store" }).status, 0);
        const int promised = last_stored(camera);
        send_requests(camera, requests, 5);
        sees_program_killed_and_started(camera, "store");
        EXPECT_TRUE(camera_sees(camera, { "who=store", "what=connected", "by=daemon" }));

        const int kept = number_in(camera_value(camera, "nvram", "motion_alarm"));
        EXPECT_GE(kept, promised);
        EXPECT_LE(kept, requests.last);
        answers_again(camera);
    }
    EXPECT_EQ(camera_pid(camera, "daemon"), daemon);
}

// The store is killed, and before it is back the camera is asked for something. false: the daemon's next
// second came first, so that it had the store again.
static bool asks_without_a_store(virtual_camera &camera)
{
    EXPECT_EQ(camera_do(camera, { "kill", "store" }).status, 0);
    const int64_t id = camera_call(camera, "set_night_mode", "[2]");
    EXPECT_TRUE(camera_sees(
        camera, { "what=received", "text={\"id\":" + std::to_string(id) + ",\"result\":[\"OK\"]}" }));
    EXPECT_TRUE(camera_sees(camera, { "who=store", "what=connected", "by=daemon" }));
    return !camera_journal(camera, { "what=log", "level=3", "text=selvar uninit.\n" }).empty();
}

TEST_F(killed, store_that_is_away_leaves_an_ok_that_changes_nothing_and_a_word_in_the_log)
{
    camera_start(camera);
    bool asked = false;
    for (int attempt = 0; attempt < 5 && !asked; attempt++) {
        EXPECT_EQ(camera_do(camera, { "store", "set", "night_mode", "0" }).status, 0);
        asked = asks_without_a_store(camera);
    }
    EXPECT_TRUE(asked);
    EXPECT_EQ(camera_value(camera, "nvram", "night_mode"), "0");
}

TEST_F(killed, cloud_client_is_found_again_by_the_daemon)
{
    camera_start(camera);
    const int64_t store = camera_pid(camera, "store");
    const int64_t daemon = camera_pid(camera, "daemon");
    numbered_requests requests;

    send_requests(camera, requests, 20);
    EXPECT_EQ(camera_do(camera, { "kill", "cloud" }).status, 0);

    sees_program_killed_and_started(camera, "cloud");
    EXPECT_TRUE(camera_sees(camera, { "who=cloud", "what=connected" }));
    EXPECT_TRUE(camera_sees(camera, { "who=cloud", "what=bound", "before=true" }));
    answers_again(camera);
    EXPECT_EQ(camera_pid(camera, "store"), store);
    EXPECT_EQ(camera_pid(camera, "daemon"), daemon);
    EXPECT_GE(number_in(camera_value(camera, "nvram", "motion_alarm")), last_stored(camera));
}

class restarted : public camera_case {};

TEST_F(restarted, daemon_leaves_the_others_and_their_state_alone)
{
    camera_start(camera);
    const int64_t store = camera_pid(camera, "store");
    const int64_t cloud = camera_pid(camera, "cloud");
    const int64_t daemon = camera_pid(camera, "daemon");
    EXPECT_EQ(camera_do(camera, { "store", "set", "mem", "mark", "kept" }).status, 0);

    const command_result result = camera_do(camera, { "restart", "daemon" });

    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_NE(camera_pid(camera, "daemon"), daemon);
    EXPECT_EQ(camera_pid(camera, "store"), store);
    EXPECT_EQ(camera_pid(camera, "cloud"), cloud);
    EXPECT_EQ(camera_value(camera, "mem", "mark"), "kept");
}

TEST_F(restarted, daemon_that_does_not_build_stays_as_it_is)
{
    camera_start(camera);
    const int64_t daemon = camera_pid(camera, "daemon");
    const std::string tools = camera.folder + "/tools";
    fs::create_directory(tools);
    std::ofstream(tools + "/cmake") << "#!/bin/sh\necho 'core/main.cpp:7: error: no such luck'\nexit 1\n";
    fs::permissions(tools + "/cmake", fs::perms::owner_all);

    const command_result result =
        run_program({ CAMERA_BUILD "/simulator/ctl", "restart", "daemon", "--name", camera.name },
                    { "PATH=" + tools + ":/usr/bin:/bin" });

    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("core/main.cpp:7: error: no such luck"), std::string::npos) << result.err;
    EXPECT_EQ(camera_pid(camera, "daemon"), daemon);
}

static pid_t process_one(const virtual_camera &camera)
{
    place where;
    std::string reason;
    EXPECT_TRUE(place_find(camera.name, "", where, reason)) << reason;
    return processes_stage(where);
}

class rebooted : public camera_case {};

TEST_F(rebooted, camera_has_lost_its_mem_and_kept_its_nvram)
{
    camera_start(camera);
    EXPECT_EQ(camera_do(camera, { "store", "set", "mem", "mark", "gone" }).status, 0);
    EXPECT_EQ(camera_do(camera, { "store", "set", "nvram", "mark", "kept" }).status, 0);
    camera_sees(camera, { "what=set", "space=nvram", "key=mark" });

    ASSERT_EQ(kill(process_one(camera), SIGTERM), 0);

    EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=reboot" }));
    EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=start", "program=daemon" }));
    EXPECT_TRUE(camera_sees(camera, { "who=cloud", "what=announced", "method=set_properties" }));
    EXPECT_EQ(json_get_number(camera_ask(camera, { "status" }).get(), "boots"), 2);
    EXPECT_EQ(camera_value(camera, "nvram", "mark"), "kept");
    EXPECT_EQ(camera_do(camera, { "store", "get", "mem", "mark" }).status, 1);
    answers_again(camera);
}

TEST_F(rebooted, power_cut_leaves_nothing_running_and_nvram_as_it_was)
{
    camera_start(camera);
    EXPECT_EQ(camera_do(camera, { "store", "set", "nvram", "mark", "kept" }).status, 0);
    camera_sees(camera, { "what=set", "space=nvram", "key=mark" });
    const pid_t stage = process_one(camera);

    ASSERT_EQ(kill(stage, SIGKILL), 0);
    const command_result stopped = camera_do(camera, { "stop" });

    EXPECT_TRUE(stopped.status == 0 || stopped.status == 2) << stopped.err;
    EXPECT_NE(kill(stage, 0), 0);
    camera_start(camera);
    EXPECT_EQ(camera_value(camera, "nvram", "mark"), "kept");
}

class damaged : public camera_case {};

TEST_F(damaged, nvram_file_is_set_aside_and_the_camera_starts_from_the_factory_defaults)
{
    camera_start(camera);
    EXPECT_EQ(camera_do(camera, { "store", "set", "night_mode", "2" }).status, 0);
    camera_stop(camera);
    std::ofstream(camera.state + "/nvram.db", std::ios::trunc) << "this is no database, it is a sentence";

    const command_result result = camera_do(camera, { "run", "--detach", "--state", camera.state });

    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("was set aside as " + camera.state + "/nvram.db.damaged"), std::string::npos)
        << result.out;
    EXPECT_EQ(camera_value(camera, "nvram", "night_mode"), "0");
    EXPECT_TRUE(fs::exists(camera.state + "/nvram.db.damaged-1"));
}
