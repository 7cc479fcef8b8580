// SPDX-License-Identifier: MIT
// The rotation channel among processes that vanish or misbehave, and over a long life.
#include "fakes/channel_desk.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

struct channel_faults : channel_desk {
    // What body does to the block, and its end, are another process's.
    static void in_another_process(const std::function<void()> &body)
    {
        ends_well(begun_in_another_process(body));
    }

    static pid_t begun_in_another_process(const std::function<void()> &body)
    {
        pid_t writer = fork();
        if (writer == 0) {
            alarm(10); // the end of one that would wait for ever
            body();
            _exit(0);
        }
        return writer;
    }

    static void ends_well(pid_t writer)
    {
        int status = -1;
        EXPECT_EQ(waitpid(writer, &status, 0), writer);
        EXPECT_EQ(status, 0);
    }

    static bool is_asleep(pid_t process)
    {
        std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
        std::string id, name, state;
        stat >> id >> name >> state;
        return state == "S";
    }

    static void writer_dies_holding_the_lock()
    {
        in_another_process([] { pthread_mutex_lock(&block()->mutex); });
    }

    static void writer_dies_with_a_robust_lock()
    {
        pthread_mutexattr_t robust;
        pthread_mutexattr_init(&robust);
        pthread_mutexattr_setpshared(&robust, PTHREAD_PROCESS_SHARED);
        pthread_mutexattr_setrobust(&robust, PTHREAD_MUTEX_ROBUST);
        pthread_mutex_init(&block()->mutex, &robust);
        pthread_mutex_lock(&block()->mutex);
    }

    static int descriptors()
    {
        auto all = std::filesystem::directory_iterator("/proc/self/fd");
        return static_cast<int>(std::distance(begin(all), end(all)));
    }
};

TEST_F(channel_faults, a_dead_writer_s_lock_does_not_keep_the_worker_from_its_end)
{
    worker_runs();
    writer_dies_holding_the_lock();
    EXPECT_TRUE(ends([this] { return other_pauses > 0; })) << "the worker waits";
    worker_ends();
    EXPECT_LT(other_pauses, 4999) << "not to the end of its patience";
    EXPECT_EQ(segments_alive(), 0);
}

TEST_F(channel_faults, a_dead_writer_s_lock_is_made_anew_after_five_seconds)
{
    worker_runs();
    writer_dies_holding_the_lock();
    EXPECT_TRUE(worker_looks());
    EXPECT_EQ(other_pauses, 5000) << "of a millisecond each";
    posts("[30,0,0]");
    EXPECT_TRUE(soon("torvu_motor_control(7, 30, -1)"));
}

TEST_F(channel_faults, a_writer_that_takes_its_time_is_waited_for)
{
    worker_runs();
    pthread_mutex_lock(&block()->mutex);
    EXPECT_TRUE(ends([this] { return other_pauses > 3; }));
    strcpy(block()->cmd, "[30,0,0]");
    std::atomic_ref<int32_t>(block()->pending).store(1);
    pthread_mutex_unlock(&block()->mutex);
    EXPECT_TRUE(soon("torvu_motor_control(7, 30, -1)"));
}

// The worker, busy with the head, leaves the lock to the test, which so stands for the daemon.
TEST_F(channel_faults, a_writer_that_sleeps_on_the_lock_is_woken_across_processes)
{
    platform.motor_running = 1;
    worker_runs();
    posts("[30,0,0]");
    EXPECT_TRUE(soon("motor_running_dectect()"));
    pthread_mutex_lock(&block()->mutex);
    pid_t writer = begun_in_another_process([] { posts("[0,40,0]"); });
    EXPECT_TRUE(ends([writer] { return is_asleep(writer); }));
    pthread_mutex_unlock(&block()->mutex);
    ends_well(writer);
    shared(platform.motor_running).store(0);
    EXPECT_TRUE(soon("torvu_motor_control(9, 40, -1)"));
}

// A writer may have made the mutex a robust one; its death then shows at once.
TEST_F(channel_faults, a_robust_lock_of_a_dead_writer_is_taken_over)
{
    worker_runs();
    in_another_process(writer_dies_with_a_robust_lock);
    EXPECT_TRUE(worker_looks());
    posts("[30,0,0]");
    EXPECT_TRUE(soon("torvu_motor_control(7, 30, -1)"));
}

TEST_F(channel_faults, a_spoilt_lock_is_made_anew)
{
    worker_runs();
    in_another_process([] { memset(&block()->mutex, 0xff, sizeof(pthread_mutex_t)); });
    EXPECT_TRUE(worker_looks());
    EXPECT_LE(other_pauses, 1) << "at once";
    posts("[30,0,0]");
    EXPECT_TRUE(soon("torvu_motor_control(7, 30, -1)"));
}

TEST_F(channel_faults, a_block_that_somebody_removed_does_not_keep_the_worker_from_its_end)
{
    worker_runs();
    segment_removed_by_other(rotation_key);
    EXPECT_TRUE(worker_looks());
    worker_ends();
    EXPECT_TRUE(in_order({ "shmdt()", "perror(failed to shmctl)", "sleep(5)" }));
    EXPECT_EQ(segments_alive(), 0);
}

TEST_F(channel_faults, a_head_that_never_rests_does_not_hang_the_main_thread)
{
    platform.motor_running = 1;
    worker_runs();
    posts("[30,0,0]");
    EXPECT_TRUE(soon("motor_running_dectect()"));
    for (int i = 0; i < 3; i++) {
        motor_rotate_finish();
        EXPECT_EQ(motor_rotate_init(), 0);
    }
    EXPECT_EQ(threads_alive(), 1);
    shared(kit.exiting).store(1);
    worker_ends();
}

TEST_F(channel_faults, ten_thousand_starts_and_stops_leave_nothing_behind)
{
    int descriptors_before = descriptors();
    for (int i = 0; i < 10000; i++) {
        ASSERT_EQ(motor_rotate_init(), 0);
        motor_rotate_finish();
        if (i % 500 == 0)
            record_clear();
    }
    EXPECT_TRUE(ends([] { return threads_alive() == 0; }));
    EXPECT_EQ(segments_alive(), 0);
    EXPECT_EQ(segments_attached(), 0);
    EXPECT_EQ(descriptors(), descriptors_before);
    EXPECT_FALSE(log_mentions("create motor_shm_task_thread fail"));
}

TEST_F(channel_faults, a_thousand_whole_lives_of_the_worker_leave_nothing_behind)
{
    for (int i = 0; i < 1000; i++) {
        record_clear();
        worker_runs();
        worker_ends();
        ASSERT_EQ(segments_alive(), 0) << i;
    }
    EXPECT_EQ(threads_started(), 1000);
}

// Whoever is switched on last is served, whenever the switch is turned.
TEST_F(channel_faults, a_switch_turned_at_any_moment_leaves_the_channel_working)
{
    for (int i = 0; i < 200; i++) {
        motor_rotate_finish();
        for (int turns = 0; turns < i % 7; turns++) {
            motor_rotate_init();
            motor_rotate_finish();
            sched_yield();
        }
        record_clear();
        worker_runs();
        posts("[30,0,0]");
        ASSERT_TRUE(soon("torvu_motor_control(7, 30, -1)")) << i;
    }
    EXPECT_EQ(segments_alive(), 1);
}
