// SPDX-License-Identifier: MIT
// The camera as a whole: starting, dying and coming back, rebooting, stopping. The programs are real
// processes.
#include "stage_desk.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>

static const std::string status = R"({"do":"status"})";

// They say by a file that their traps are set.
constexpr const char *marked =
    "trap 'exit 8' INT; trap '' TERM; : > $CAMERA_RUN/ready; while :; do sleep 0.02; done";
constexpr const char *stubborn = "trap '' TERM INT; : > $CAMERA_RUN/ready; while :; do sleep 0.02; done";

static void wait_for_mark(stage_desk &desk)
{
    ASSERT_TRUE(stage_desk_until(desk, [] { return access(desk_path("ready").c_str(), F_OK) == 0; }));
    unlink(desk_path("ready").c_str());
}

// A camera of three programs, all running.
static void boot(stage_desk &desk, const char *daemon = obedient)
{
    stage_desk_open(desk);
    stage_desk_add(desk, "store", obedient);
    stage_desk_add(desk, "cloud", obedient);
    stage_desk_add(desk, "daemon", daemon, stage_role::waits);
    stage_boot(desk.camera);
    ASSERT_TRUE(stage_desk_until_phase(desk, stage_phase::running));
    if (std::string(daemon).find("ready") != std::string::npos)
        wait_for_mark(desk);
}

static std::vector<std::string> names_of(const char *what)
{
    std::vector<std::string> names;
    for (const std::string &line : desk_journal_of(what))
        names.push_back(json_get_text(json_parse(line).get(), "program"));
    return names;
}

STORY(a_camera, starts_the_daemon_when_its_neighbours_serve)
{
    stage_desk desk;
    stage_desk_open(desk);
    stage_desk_add(desk, "store", obedient, stage_role::serves);
    stage_desk_add(desk, "cloud", obedient, stage_role::serves);
    stage_desk_add(desk, "daemon", obedient, stage_role::waits);
    stage_boot(desk.camera);
    control_link cloud;
    control_link store;
    stage_desk_serve(desk, cloud, "cloud");
    EXPECT_EQ(desk.camera.phase, stage_phase::starting);
    EXPECT_EQ(stage_desk_program(desk, "store").state, program_state::running);
    EXPECT_EQ(stage_desk_program(desk, "daemon").state, program_state::stopped);

    stage_desk_serve(desk, store, "store");
    EXPECT_TRUE(stage_desk_until_phase(desk, stage_phase::running));
    EXPECT_EQ(stage_desk_program(desk, "daemon").state, program_state::running);
    EXPECT_EQ(names_of("start"), (std::vector<std::string>{ "store", "cloud", "daemon" }));
    EXPECT_EQ(desk_journal_of("up"), std::vector<std::string>{ R"({"who":"stage","what":"up","boot":1})" });
    control_close(cloud);
    control_close(store);
    stage_desk_close(desk);
}

STORY(a_camera, starts_the_daemon_in_the_end_when_a_neighbour_never_serves)
{
    stage_desk desk;
    stage_desk_open(desk);
    desk_catch_stderr();
    stage_desk_add(desk, "store", obedient, stage_role::serves);
    stage_desk_add(desk, "daemon", obedient, stage_role::waits);
    stage_boot(desk.camera);
    desk.camera.neighbours_late_ms = 0; // its patience is over
    EXPECT_TRUE(stage_desk_until_phase(desk, stage_phase::running));
    EXPECT_EQ(stage_desk_program(desk, "daemon").state, program_state::running);
    EXPECT_EQ(desk_stderr(), "stage: not all neighbours serve yet; the daemon is started without them\n");
    stage_desk_close(desk);
}

STORY(a_reboot, waits_for_the_neighbours_anew_and_refuses_what_they_were_asked)
{
    stage_desk desk;
    stage_desk_open(desk);
    stage_desk_add(desk, "store", obedient, stage_role::serves);
    stage_desk_add(desk, "daemon", obedient, stage_role::waits);
    stage_boot(desk.camera);
    control_link before;
    control_link client;
    stage_desk_serve(desk, before, "store");
    ASSERT_TRUE(stage_desk_until_phase(desk, stage_phase::running));
    stage_desk_connect(desk, client);
    stage_desk_send(client, R"({"do":"store.get"})");
    stage_desk_receive(desk, before);

    stage_reboot(desk.camera);

    EXPECT_NE(stage_desk_receive(desk, client).find("ended before it answered"), std::string::npos);
    ASSERT_TRUE(stage_desk_until_phase(desk, stage_phase::starting));
    control_link after;
    stage_desk_serve(desk, after, "store");
    EXPECT_TRUE(stage_desk_until_phase(desk, stage_phase::running));
    for (control_link *link : { &before, &client, &after })
        control_close(*link);
    stage_desk_close(desk);
}

STORY(a_program_that_dies, is_started_again_after_a_pause_of_virtual_time)
{
    stage_desk desk;
    boot(desk);
    const program &cloud = stage_desk_program(desk, "cloud");
    kill(cloud.pid, SIGKILL);
    ASSERT_TRUE(stage_desk_until(desk, [&] { return cloud.state == program_state::waiting; }));
    EXPECT_EQ(desk_journal_of("exit"),
              std::vector<std::string>{
                  R"({"who":"stage","what":"exit","program":"cloud","signal":9,"restart_ms":100})" });

    desk_clock_step(99);
    stage_turn(desk.camera, -1, 0);
    EXPECT_EQ(cloud.state, program_state::waiting);
    desk_clock_step(1);
    stage_turn(desk.camera, -1, 0);
    EXPECT_EQ(cloud.state, program_state::running);
    EXPECT_EQ(cloud.restarts, 1);
    stage_desk_close(desk);
}

STORY(a_program_that_keeps_dying, waits_longer_each_time)
{
    stage_desk desk;
    boot(desk, "exit 3");
    const program &daemon = stage_desk_program(desk, "daemon");
    for (int64_t pause_ms : { 100, 200, 400 }) {
        ASSERT_TRUE(stage_desk_until(desk, [&] { return daemon.state == program_state::waiting; }));
        EXPECT_EQ(daemon.last_pause_ms, pause_ms);
        desk_clock_step(pause_ms);
        stage_turn(desk.camera, -1, 0);
    }
    EXPECT_NE(desk_journal_of("exit")[0].find(R"("status":3)"), std::string::npos);
    stage_desk_close(desk);
}

STORY(a_program_that_cannot_be_executed, counts_as_one_that_died)
{
    stage_desk desk;
    boot(desk);
    desk_catch_stderr();
    const char *const command[] = { "/nowhere", nullptr };
    program_row nowhere = *stage_desk_program(desk, "cloud").row;
    nowhere.command = command;
    program absent = { .row = &nowhere };
    program_start(absent);
    EXPECT_EQ(absent.state, program_state::waiting);
    EXPECT_EQ(absent.last_end, "exit status 127");
    EXPECT_EQ(desk_stderr(), "stage: cloud cannot be started: /nowhere: No such file or directory\n");
    stage_desk_close(desk);
}

STORY(an_orphan, is_reaped)
{
    stage_desk desk;
    boot(desk);
    const pid_t orphan = fork();
    if (orphan == 0)
        _exit(0);
    EXPECT_TRUE(stage_desk_until(desk, [&] { return kill(orphan, 0) != 0; }));
    stage_desk_close(desk);
}

STORY(a_program, has_a_session_of_its_own_and_no_input)
{
    stage_desk desk;
    boot(desk, "read line || : > $CAMERA_RUN/ready; sleep 100"); // which waits for the file
    const pid_t pid = stage_desk_program(desk, "daemon").pid;
    EXPECT_EQ(getsid(pid), pid);
    stage_desk_close(desk);
}

STORY(kill_command, is_answered_when_the_program_is_dead)
{
    stage_desk desk;
    boot(desk);
    control_link client;
    stage_desk_connect(desk, client);
    const pid_t pid = stage_desk_program(desk, "store").pid;
    EXPECT_EQ(stage_desk_ask(desk, client, R"({"do":"kill","program":"store"})"), R"({"done":{}})");
    EXPECT_NE(kill(pid, 0), 0);
    EXPECT_EQ(stage_desk_program(desk, "store").state, program_state::waiting);
    EXPECT_EQ(stage_desk_ask(desk, client, R"({"do":"kill","program":"store"})"),
              R"({"refused":"the store is not running; ./camera status shows why"})");
    EXPECT_NE(stage_desk_ask(desk, client, R"({"do":"kill","program":"stor"})").find("name \\\"store\\\""),
              std::string::npos);
    control_close(client);
    stage_desk_close(desk);
}

STORY(restart_command, interrupts_the_daemon_and_starts_it_at_once)
{
    stage_desk desk;
    boot(desk, marked);
    control_link client;
    stage_desk_connect(desk, client);
    const pid_t before = stage_desk_program(desk, "daemon").pid;
    const pid_t store = stage_desk_program(desk, "store").pid;

    EXPECT_EQ(stage_desk_ask(desk, client, R"({"do":"restart","program":"daemon"})"), R"({"done":{}})");

    EXPECT_EQ(desk_journal_of("exit"),
              std::vector<std::string>{
                  R"({"who":"stage","what":"exit","program":"daemon","status":8,"restart_ms":0})" });
    EXPECT_EQ(stage_desk_program(desk, "daemon").state, program_state::running);
    EXPECT_NE(stage_desk_program(desk, "daemon").pid, before);
    EXPECT_EQ(stage_desk_program(desk, "store").pid, store) << "the neighbours stay";
    control_close(client);
    stage_desk_close(desk);
}

STORY(restart_command, kills_what_does_not_end)
{
    stage_desk desk;
    desk.grace_ms = 50;
    boot(desk, stubborn);
    control_link client;
    stage_desk_connect(desk, client);
    EXPECT_EQ(stage_desk_ask(desk, client, R"({"do":"restart","program":"daemon"})"), R"({"done":{}})");
    EXPECT_EQ(stage_desk_program(desk, "daemon").state, program_state::running);
    control_close(client);
    stage_desk_close(desk);
}

STORY(restart_command, does_not_wait_for_the_pause_of_one_that_died)
{
    stage_desk desk;
    boot(desk);
    control_link client;
    stage_desk_connect(desk, client);
    stage_desk_ask(desk, client, R"({"do":"kill","program":"cloud"})");
    EXPECT_EQ(stage_desk_ask(desk, client, R"({"do":"restart","program":"cloud"})"), R"({"done":{}})");
    EXPECT_EQ(stage_desk_program(desk, "cloud").state, program_state::running);
    control_close(client);
    stage_desk_close(desk);
}

STORY(a_reboot, ends_everything_and_starts_everything_again_while_the_clock_runs_on)
{
    stage_desk desk;
    boot(desk);
    control_link client;
    stage_desk_connect(desk, client);
    desk_clock_step(5000);
    stage_desk_ask(desk, client, R"({"do":"body.led","index":0,"brightness":50,"mode":0,"priority":2})");
    const pid_t store = stage_desk_program(desk, "store").pid;

    EXPECT_EQ(stage_desk_ask(desk, client, R"({"do":"reboot"})"), R"({"done":{}})");

    EXPECT_EQ(desk.camera.phase, stage_phase::running);
    EXPECT_EQ(desk.camera.boots, 2);
    EXPECT_EQ(names_of("exit").size(), 3U);
    EXPECT_EQ(names_of("start"),
              (std::vector<std::string>{ "store", "cloud", "daemon", "store", "cloud", "daemon" }));
    EXPECT_NE(stage_desk_program(desk, "store").pid, store);
    EXPECT_EQ(desk_journal_of("reboot").size(), 1U);
    EXPECT_GE(desk_clock_ms(), 5000);
    EXPECT_EQ(desk.camera.body.led_priority, 0);
    control_close(client);
    stage_desk_close(desk);
}

STORY(a_reboot, does_not_wait_for_ever_for_one_that_ignores_it)
{
    stage_desk desk;
    boot(desk, stubborn);
    stage_reboot(desk.camera);
    EXPECT_TRUE(stage_desk_until(desk, [&] { return desk.camera.boots == 2; }));
    EXPECT_TRUE(stage_desk_until_phase(desk, stage_phase::running));
    stage_desk_close(desk);
}

STORY(a_reboot, is_what_a_termination_signal_asks_for)
{
    stage_desk desk;
    boot(desk);
    sigset_t taken;
    sigemptyset(&taken);
    sigaddset(&taken, SIGTERM);
    sigprocmask(SIG_BLOCK, &taken, nullptr);
    const int signals = signalfd(-1, &taken, SFD_NONBLOCK | SFD_CLOEXEC);
    raise(SIGTERM);
    EXPECT_TRUE(desk_wait([&] {
        stage_turn(desk.camera, signals, 0);
        return desk.camera.boots == 2 && desk.camera.phase == stage_phase::running;
    }));
    close(signals);
    stage_desk_close(desk);
}

STORY(a_reboot, lets_no_program_be_killed_or_restarted_meanwhile)
{
    stage_desk desk;
    boot(desk, stubborn);
    control_link client;
    stage_desk_connect(desk, client);
    stage_desk_send(client, R"({"do":"restart","program":"daemon"})");
    stage_desk_send(client, R"({"do":"kill","program":"daemon"})");
    stage_desk_send(client, status);
    stage_reboot(desk.camera);
    const std::string refusal = R"({"refused":"the camera is rebooting; try again in a moment"})";
    EXPECT_EQ(stage_desk_receive(desk, client), refusal);
    EXPECT_EQ(stage_desk_receive(desk, client), refusal);
    EXPECT_NE(stage_desk_receive(desk, client).find(R"("phase":"rebooting")"), std::string::npos);
    control_close(client);
    stage_desk_close(desk);
}

STORY(a_stop, ends_the_daemon_in_order_and_then_the_others)
{
    stage_desk desk;
    boot(desk, marked);
    control_link client;
    stage_desk_connect(desk, client);

    EXPECT_EQ(stage_desk_ask(desk, client, R"({"do":"stop"})"), R"({"done":{}})");

    EXPECT_EQ(desk.camera.phase, stage_phase::ended);
    const std::vector<std::string> ends = desk_journal_of("exit");
    ASSERT_EQ(ends.size(), 3U);
    EXPECT_EQ(ends[0], R"({"who":"stage","what":"exit","program":"daemon","status":8})");
    EXPECT_EQ(desk_journal_of("stop").size(), 1U);
    EXPECT_EQ(json_get_text(desk_journal().back().get(), "what"), "stop");
    control_close(client);
    stage_desk_close(desk);
}

STORY(a_stop, serves_the_body_until_the_daemon_has_ended)
{
    stage_desk desk;
    boot(desk, stubborn);
    control_link client;
    stage_desk_connect(desk, client);
    stage_stop(desk.camera);
    EXPECT_EQ(stage_desk_ask(desk, client, R"({"do":"body.led_priority","priority":1})"),
              R"({"done":{"result":0}})");
    EXPECT_EQ(desk.camera.phase, stage_phase::stopping);
    control_close(client);
    stage_desk_close(desk);
}

STORY(a_stop, comes_before_a_restart_that_was_under_way)
{
    stage_desk desk;
    desk.grace_ms = 1000;
    boot(desk, stubborn);
    control_link client;
    stage_desk_connect(desk, client);
    stage_desk_send(client, R"({"do":"restart","program":"daemon"})");
    ASSERT_TRUE(stage_desk_until(
        desk, [&] { return stage_desk_program(desk, "daemon").state == program_state::ending; }));
    stage_stop(desk.camera);
    EXPECT_EQ(stage_desk_receive(desk, client), R"({"refused":"the camera is stopping"})");
    EXPECT_TRUE(stage_desk_until_phase(desk, stage_phase::ended));
    EXPECT_EQ(names_of("start").size(), 3U) << "nothing was started again";
    control_close(client);
    stage_desk_close(desk);
}

STORY(the_status, tells_what_runs_what_waits_and_why)
{
    stage_desk desk;
    boot(desk);
    control_link client;
    stage_desk_connect(desk, client);
    stage_desk_ask(desk, client, R"({"do":"kill","program":"cloud"})");
    const json_ptr answer = json_parse(stage_desk_ask(desk, client, status));
    json_object *done = json_object_object_get(answer.get(), "done");
    EXPECT_EQ(json_get_text(done, "phase"), "running");
    EXPECT_EQ(json_get_number(done, "boots"), 1);
    json_object *programs = json_object_object_get(done, "programs");
    ASSERT_EQ(json_object_array_length(programs), 3U);
    json_object *daemon = json_object_array_get_idx(programs, 2);
    EXPECT_EQ(json_get_text(daemon, "state"), "running");
    EXPECT_EQ(json_get_number(daemon, "pid"), stage_desk_program(desk, "daemon").pid);
    json_object *cloud = json_object_array_get_idx(programs, 1);
    EXPECT_EQ(json_get_text(cloud, "state"), "waiting");
    EXPECT_EQ(json_get_text(cloud, "last_end"), "killed by signal 9");
    control_close(client);
    stage_desk_close(desk);
}
