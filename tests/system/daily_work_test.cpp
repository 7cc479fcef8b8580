// SPDX-License-Identifier: MIT
// A developer's daily work: waiting for something, a camera for one command, the seed of its random numbers.
#include "virtual_camera.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

static const std::string tool = CAMERA_BUILD "/simulator/ctl";

static bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

class waited_for : public camera_case {};

TEST_F(waited_for, state_that_holds_has_come_at_once)
{
    camera_start(camera);

    EXPECT_EQ(camera_do(camera, { "wait", "store nvram power = on" }).out, "nvram power = on\n");
    EXPECT_EQ(camera_do(camera, { "wait", "led 0 steady 50" }).out, "LED 0 is steady, brightness 50\n");
    EXPECT_EQ(camera_do(camera, { "wait", "head", "50,50" }).out, "the head is at [50,50]\n");
    EXPECT_EQ(camera_do(camera, { "wait", "store", "mem", "nobody", "unset" }).out,
              "mem nobody is not set\n");
}

TEST_F(waited_for, state_that_does_not_come_is_answered_with_the_present_and_what_led_to_it)
{
    camera_start(camera);

    const command_result store = camera_do(camera, { "wait", "store power = off", "--within", "100ms" });
    const command_result led = camera_do(camera, { "wait", "led 0 blink 50", "--within", "100ms", "--json" });

    EXPECT_EQ(store.status, 1);
    EXPECT_TRUE(contains(store.err, "\"store power = off\" did not come from ")) << store.err;
    EXPECT_TRUE(contains(store.err, "; nvram power = on; the journal has nothing about it\n")) << store.err;
    EXPECT_EQ(led.status, 1);
    const json_ptr answer = json_parse(led.out.substr(0, led.out.find('\n')));
    EXPECT_EQ(json_get_text(answer.get(), "present"), "LED 0 is steady, brightness 50");
    json_object *seen = nullptr;
    ASSERT_TRUE(json_object_object_get_ex(answer.get(), "seen", &seen)) << led.out;
    json_object *last = json_object_array_get_idx(seen, json_object_array_length(seen) - 1);
    EXPECT_EQ(json_get_text(last, "what") + json_get_text(last, "index") + json_get_text(last, "mode"),
              "led00");
}

TEST_F(waited_for, state_comes_while_it_is_waited_for)
{
    camera_start(camera, { "--unbound" });

    const command_result result = run_program(
        { "sh", "-c",
          R"("$0" wait 'store mem mark = here' --within 1m & "$0" store set mem mark here && wait $!)",
          tool },
        { "CAMERA_NAME=" + camera.name });

    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(contains(result.out, "mem mark = here")) << result.out;
}

TEST_F(waited_for, event_counts_from_now_on_or_since_the_last_order)
{
    camera_start(camera);
    const std::string report = R"(message "params":{"power":"off"})";
    camera_do(camera, { "call", "set_power", R"(["off"])" });

    const command_result now = camera_do(camera, { "wait", report, "--within", "100ms" });
    const command_result last = camera_do(camera, { "wait", report, "--since", "last" });
    camera_do(camera, { "store", "set", "mem", "mark", "1" });
    const command_result other =
        camera_do(camera, { "wait", report, "--since", "last", "--within", "100ms" });
    const command_result start = camera_do(camera, { "wait", report, "--since", "start" });

    EXPECT_EQ(now.status, 1);
    EXPECT_TRUE(contains(now.err, "it had come before, which --since counts")) << now.err;
    EXPECT_EQ(last.status, 0) << last.err;
    EXPECT_TRUE(contains(last.out, report.substr(report.find('"')))) << last.out;
    EXPECT_EQ(other.status, 1);
    EXPECT_EQ(start.out, last.out);
}

TEST_F(waited_for, prompt_has_come_when_it_was_played_to_its_end)
{
    camera_start(camera);
    camera_do(camera, { "play", "ding" });

    const command_result played = camera_do(camera, { "wait", "prompt ding", "--since", "last" });
    const command_result unknown = camera_do(camera, { "wait", "prompt dign" });

    EXPECT_EQ(played.status, 0) << played.err;
    EXPECT_TRUE(contains(played.out, "player  ends ding")) << played.out;
    EXPECT_EQ(unknown.status, 2);
    EXPECT_EQ(unknown.err, "there is no prompt \"dign\", did you mean \"ding\"?\n");
}

TEST_F(waited_for, event_counts_after_a_line_of_the_journal)
{
    camera_start(camera);
    const json_ptr up = camera_sees(camera, { "who=stage", "what=up" });
    const std::string n = json_get_text(up.get(), "n");
    const std::string before = std::to_string(json_get_number(up.get(), "n") - 1);

    EXPECT_EQ(camera_do(camera, { "wait", "line what=up", "--since", before }).status, 0);
    EXPECT_EQ(camera_do(camera, { "wait", "line what=up", "--since", n, "--within", "100ms" }).status, 1);
}

// If it went by the host's clock, the case would be ended first.
TEST_F(waited_for, time_is_the_cameras_own)
{
    camera_start(camera);

    const command_result result = run_program(
        { "sh", "-c",
          R"("$0" wait 'log no such line' --within 5m & while kill -0 $!; do "$0" clock +1m; done; wait $!)",
          tool },
        { "CAMERA_NAME=" + camera.name });

    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_TRUE(contains(result.err, "did not come from ")) << result.err;
}

TEST_F(waited_for, words_that_mean_nothing_are_refused)
{
    camera_start(camera);

    const command_result goal = camera_do(camera, { "wait", "led 7 off" });
    const command_result time = camera_do(camera, { "wait", "led 0 off", "--within", "5" });
    const command_result since = camera_do(camera, { "wait", "led 0 off", "--since", "noon" });

    EXPECT_EQ(goal.status, 2);
    EXPECT_EQ(goal.err, "\"led 7 off\" cannot be waited for; write led 0|1 off|steady|blink [BRIGHTNESS]\n");
    EXPECT_EQ(time.status, 2);
    EXPECT_EQ(time.err, "\"5\" is no time to wait; write 500ms, 2s, 30m, 24h or 7d\n");
    EXPECT_EQ(since.status, 2);
    EXPECT_EQ(since.err,
              "--since takes a line's number of the journal, \"start\" or \"last\", not \"noon\"\n");
}

// A camera that "with" starts for a command; its name is the case's.
static command_result with(const virtual_camera &camera, const std::vector<std::string> &command,
                           const std::vector<std::string> &options = {})
{
    std::vector<std::string> line = { tool, "with", "--name", camera.name };
    line.insert(line.end(), options.begin(), options.end());
    line.emplace_back("--");
    line.insert(line.end(), command.begin(), command.end());
    return run_program(line);
}

class with_a_camera : public camera_case {
protected:
    void is_gone() const
    {
        EXPECT_FALSE(fs::exists(camera.run));
        EXPECT_FALSE(fs::exists(camera.state));
        EXPECT_EQ(camera_do(camera, { "status" }).status, 2);
    }
};

TEST_F(with_a_camera, command_reaches_it_without_its_name_and_gives_its_status)
{
    const command_result result =
        with(camera, { "sh", "-c", R"("$0" store set power off && "$0" store get power; exit 3)", tool });

    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.out, "off\n");
    EXPECT_TRUE(result.err.starts_with("camera \"" + camera.name + "\" is up, seed ")) << result.err;
    is_gone();
}

TEST_F(with_a_camera, command_that_dies_gives_its_signal)
{
    EXPECT_EQ(with(camera, { "sh", "-c", "kill -9 $$" }).status, 128 + SIGKILL);
    is_gone();
}

TEST_F(with_a_camera, command_that_cannot_be_run_is_told)
{
    const command_result result = with(camera, { "no_such_command" });

    EXPECT_EQ(result.status, 127);
    EXPECT_TRUE(contains(result.err, "\"no_such_command\" cannot be run: No such file or directory\n"))
        << result.err;
    is_gone();
}

TEST_F(with_a_camera, command_is_interrupted_with_the_tool_and_the_camera_goes_too)
{
    EXPECT_EQ(with(camera, { "sh", "-c", "kill -INT $PPID; exec sleep 100" }).status, 128 + SIGINT);
    is_gone();
    EXPECT_EQ(
        with(camera, { "sh", "-c", "trap 'exit 9' TERM; kill -TERM $PPID; while :; do :; done" }).status, 9);
    is_gone();
}

TEST_F(with_a_camera, command_may_stop_it_and_run_it_again_with_its_settings)
{
    const command_result result = with(
        camera,
        { "sh", "-c", R"("$0" store set power off && "$0" stop && "$0" run --detach && "$0" store get power)",
          tool });

    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(result.out.ends_with("\noff\n")) << result.out;
    is_gone();
}

TEST_F(with_a_camera, report_of_a_sanitizer_is_shown_and_fails_a_command_that_did_well)
{
    const std::string report = "echo 'ERROR: a sanitizer says so' > /run/camera/report.store.1";

    const command_result well = with(camera, { tool, "shell", "--", "sh", "-c", report });
    const command_result badly =
        with(camera, { "sh", "-c", R"("$0" shell -- sh -c "$1"; exit 5)", tool, report });

    EXPECT_EQ(well.status, 1);
    EXPECT_TRUE(contains(well.err, "a sanitizer found something:\nERROR: a sanitizer says so\n")) << well.err;
    EXPECT_EQ(badly.status, 5);
    EXPECT_TRUE(contains(badly.err, "ERROR: a sanitizer says so")) << badly.err;
    is_gone();
}

class seeded : public camera_case {};

// The id of the first message that the daemon has sent on its own account, after that place in the journal.
static int64_t first_id(const std::string &journal, size_t from)
{
    std::istringstream lines(journal.substr(std::min(from, journal.size())));
    for (std::string line; std::getline(lines, line);) {
        const json_ptr entry = json_parse(line);
        const json_ptr message = json_parse(json_get_text(entry.get(), "text"));
        const int64_t id = json_get_number(message.get(), "id");
        if (json_get_text(entry.get(), "what") == "received" && id > 0 &&
            json_object_object_get_ex(message.get(), "method", nullptr))
            return id;
    }
    ADD_FAILURE() << "the daemon sent nothing\n" << journal;
    return 0;
}

struct two_lives {
    int64_t first = 0;
    int64_t second = 0;
};

// What the daemon drew first in its two lives.
static two_lives live_twice(const virtual_camera &camera, const std::string &seed)
{
    const command_result result = with(camera,
                                       { "sh", "-ec", R"(
            { "$0" call set_power '["off"]'; "$0" kill daemon
              "$0" wait --since last 'line what=announced method=set_properties'; "$0" call set_power '["on"]'; } >&2
            cat "$CAMERA_RUN/journal")",
                                         tool },
                                       { "--seed", seed });
    EXPECT_EQ(result.status, 0) << result.err;
    return { first_id(result.out, 0), first_id(result.out, result.out.find(R"("what":"exit")")) };
}

TEST_F(seeded, camera_repeats_its_request_ids_and_each_life_of_the_daemon_has_its_own)
{
    const two_lives one = live_twice(camera, "7");
    const two_lives again = live_twice(camera, "7");
    const two_lives other = live_twice(camera, "8");

    EXPECT_EQ(again.first, one.first);
    EXPECT_EQ(again.second, one.second);
    EXPECT_NE(one.second, one.first);
    EXPECT_NE(other.first, one.first);
}

// Seconds of the camera's clock until the daemon's first system report; -1: the system forbids a look.
static int64_t report_due(const virtual_camera &camera)
{
    const command_result result =
        with(camera, { tool, "gdb", "-batch", "-ex", "print kit.sysinfo_due" }, { "--seed", "7" });
    if (contains(result.err, "this system does not let a debugger hold the daemon"))
        return -1;
    const size_t value = result.out.find("$1 = ");
    EXPECT_NE(value, std::string::npos) << result.out << result.err;
    return value == std::string::npos ? 0 : std::stoll(result.out.substr(value + 5));
}

TEST_F(seeded, camera_repeats_when_its_first_system_report_is_due)
{
    constexpr int64_t start_of_the_daemon_s = 1; // may differ on a busy machine
    const int64_t due = report_due(camera);
    if (due < 0)
        GTEST_SKIP() << "this system does not let a debugger hold the daemon";

    EXPECT_GE(due, 3600);
    EXPECT_NEAR(static_cast<double>(report_due(camera)), static_cast<double>(due), start_of_the_daemon_s);
}
