// SPDX-License-Identifier: MIT
// The worker of the rotation channel: start, commands, end, and what fails on the way.
#include "fakes/channel_desk.h"

#include <cerrno>

struct channel : channel_desk {};

static const char success[] = "err: create motor_shm_task_thread success\n";
static const char normal_end[] = "err: motor_shm_rotate_task_thread exit normal\n";

static const std::string gets = "shmget(0x1122, " + std::to_string(sizeof(rotation_block)) + ", 01666)";

TEST_F(channel, has_the_block_that_the_whole_camera_agreed_on)
{
    if (sizeof(void *) == 8)
        EXPECT_TRUE(rotation_block_is(80, 8, 48));
    else
        EXPECT_TRUE(rotation_block_is(60, 4, 28));
    EXPECT_EQ(rotation_key, 4386);
}

TEST_F(channel, starts_a_worker_that_makes_the_block)
{
    worker_runs();
    EXPECT_TRUE(logged(success));
    EXPECT_TRUE(called("pthread_create(default attributes)"));
    EXPECT_TRUE(in_order({ gets, "shmat(0, 0)" }));
    EXPECT_EQ(pending(), 0);
}

TEST_F(channel, never_joins_the_worker_and_so_detaches_it)
{
    worker_runs();
    EXPECT_TRUE(
        in_order({ "pthread_create(default attributes)", "pthread_detach(the thread made last)", success }));
}

TEST_F(channel, that_runs_is_not_started_again)
{
    worker_runs();
    record_clear();
    EXPECT_EQ(motor_rotate_init(), 0);
    EXPECT_EQ(story(), texts{});
    EXPECT_EQ(threads_started(), 1);
}

TEST_F(channel, ends_by_removing_the_block_sleeping_and_saying_so)
{
    worker_runs();
    record_clear();
    EXPECT_EQ(motor_rotate_finish(), 0);
    EXPECT_TRUE(soon(normal_end));
    EXPECT_EQ(story(), (texts{ "shmdt()", "shmctl(0, IPC_RMID)", "sleep(5)", normal_end }));
    EXPECT_EQ(segments_alive(), 0);
}

TEST_F(channel, that_is_off_can_be_switched_off_again)
{
    EXPECT_EQ(motor_rotate_finish(), 0);
    EXPECT_EQ(story(), texts{});
}

TEST_F(channel, takes_what_another_process_has_made)
{
    segment_made_by_other(rotation_key, 4096);
    block()->pending = 1;
    memset(&block()->mutex, 0xff, sizeof(pthread_mutex_t));
    strcpy(block()->cmd, "[30,0,0]");
    worker_runs();
    EXPECT_EQ(pending(), 0);
    EXPECT_FALSE(log_mentions("rotate = ")) << "what was there before is not a command";
    posts("[40,0,0]");
    EXPECT_TRUE(soon("err: rotate = [40,0,0]\n"));
}

TEST_F(channel, carries_out_what_is_posted)
{
    worker_runs();
    posts("[30,-15,0]");
    EXPECT_TRUE(soon("torvu_motor_control(10, 15, -1)"));
    EXPECT_TRUE(in_order({ "err: rotate = [30,-15,0]\n", "torvu_motor_control(7, 30, -1)",
                           "motor_running_dectect()", "torvu_motor_control(10, 15, -1)" }));
    EXPECT_EQ(pending(), 0);
}

TEST_F(channel, pauses_ten_milliseconds_after_a_look_that_found_nothing)
{
    pauses_are_told = true;
    worker_runs();
    EXPECT_TRUE(in_order({ "shmat(0, 0)", "pause(10000)" }));
    EXPECT_EQ(other_pauses, 0);
}

TEST_F(channel, carries_out_one_command_after_the_other)
{
    worker_runs();
    for (int degrees = 1; degrees <= 50; degrees++) {
        posts("[" + std::to_string(degrees) + ",0,0]");
        EXPECT_TRUE(soon("torvu_motor_control(7, " + std::to_string(degrees) + ", -1)"));
    }
    EXPECT_FALSE(log_mentions("drop this time"));
}

TEST_F(channel, keeps_a_command_that_comes_while_the_head_turns_until_it_rests)
{
    platform.motor_running = 1;
    worker_runs();
    posts("[30,0,0]");
    EXPECT_TRUE(soon("motor_running_dectect()"));
    posts("[0,40,0]");
    EXPECT_FALSE(log_mentions("rotate = [0,40,0]"));
    EXPECT_EQ(pending(), 1);
    pauses_are_told = true;
    shared(platform.motor_running).store(0);
    EXPECT_TRUE(soon("torvu_motor_control(9, 40, -1)"));
    EXPECT_FALSE(log_mentions("drop this time"));
    EXPECT_FALSE(in_order({ "pause(10000)", "err: rotate = [0,40,0]\n" })) << "it looks again at once";
}

TEST_F(channel, reads_no_further_than_the_block)
{
    worker_runs();
    posts(std::string(sizeof(rotation_block::cmd), '7'));
    EXPECT_TRUE(soon("err: rotate = " + std::string(sizeof(rotation_block::cmd), '7') + "\n"));
}

TEST_F(channel, takes_only_1_for_a_command)
{
    worker_runs();
    pthread_mutex_lock(&block()->mutex);
    strcpy(block()->cmd, "[30,0,0]");
    std::atomic_ref<int32_t>(block()->pending).store(2);
    pthread_mutex_unlock(&block()->mutex);
    EXPECT_TRUE(worker_looks());
    EXPECT_EQ(pending(), 2);
    EXPECT_FALSE(log_mentions("rotate = "));
}

TEST_F(channel, switched_off_while_the_head_turns_carries_the_rotation_to_its_end)
{
    platform.motor_running = 1;
    worker_runs();
    posts("[30,-15,0]");
    EXPECT_TRUE(soon("motor_running_dectect()"));
    motor_rotate_finish();
    EXPECT_EQ(segments_attached(), 1);
    shared(platform.motor_running).store(0);
    EXPECT_TRUE(soon(normal_end));
    EXPECT_TRUE(in_order({ "torvu_motor_control(10, 15, -1)", "shmdt()" }));
}

// The block outlives the worker where another process is attached to it.
TEST_F(channel, switched_off_while_the_head_turns_forgets_what_was_posted_meanwhile)
{
    platform.motor_running = 1;
    worker_runs();
    posts("[30,0,0]");
    EXPECT_TRUE(soon("motor_running_dectect()"));
    posts("[0,40,0]");
    motor_rotate_finish();
    std::atomic<int32_t> left = -1;
    segment_removal_does([&left] { left = pending(); });
    shared(platform.motor_running).store(0);
    EXPECT_TRUE(soon(normal_end));
    EXPECT_EQ(left, 0);
    EXPECT_FALSE(log_mentions("rotate = [0,40,0]"));
}

TEST_F(channel, switched_on_again_before_the_worker_noticed_runs_on)
{
    platform.motor_running = 1;
    worker_runs();
    posts("[30,0,0]");
    EXPECT_TRUE(soon("motor_running_dectect()"));
    motor_rotate_finish();
    EXPECT_EQ(motor_rotate_init(), 0);
    shared(platform.motor_running).store(0);
    EXPECT_TRUE(worker_looks());
    EXPECT_EQ(threads_alive(), 1);
    EXPECT_EQ(calls_of("shmdt"), texts{});
    posts("[0,40,0]");
    EXPECT_TRUE(soon("torvu_motor_control(9, 40, -1)"));
    worker_ends();
    EXPECT_EQ(calls_of("shmget").size(), 1U);
}

TEST_F(channel, switched_on_again_while_the_block_goes_makes_it_anew)
{
    worker_runs();
    segment_removal_does([] { EXPECT_EQ(motor_rotate_init(), 0); });
    motor_rotate_finish();
    EXPECT_TRUE(soon("shmctl(0, IPC_RMID)"));
    EXPECT_TRUE(worker_looks());
    EXPECT_EQ(segments_alive(), 1);
    posts("[30,0,0]");
    EXPECT_TRUE(soon("torvu_motor_control(7, 30, -1)"));
    EXPECT_EQ(threads_started(), 1);
}

TEST_F(channel, switched_on_again_after_its_end_makes_the_block_anew)
{
    worker_runs();
    worker_ends();
    worker_runs();
    posts("[30,0,0]");
    EXPECT_TRUE(soon("torvu_motor_control(7, 30, -1)"));
    EXPECT_EQ(segments_alive(), 1);
}

TEST_F(channel, switched_on_again_while_the_last_worker_sleeps_gets_one_of_its_own)
{
    std::atomic<bool> sleeps = true;
    libc.on_sleep = [&sleeps](unsigned) { ends([&sleeps] { return !sleeps; }); };
    worker_runs();
    motor_rotate_finish();
    EXPECT_TRUE(soon("sleep(5)"));
    worker_runs();
    EXPECT_EQ(threads_alive(), 2);
    EXPECT_EQ(segments_alive(), 1);
    sleeps = false;
    EXPECT_TRUE(soon(normal_end));
    posts("[30,0,0]");
    EXPECT_TRUE(soon("torvu_motor_control(7, 30, -1)")) << "the one that woke has switched nothing off";
    worker_ends();
}

// A worker that had not begun yet when it was switched off and on again finds the other at the block.
TEST_F(channel, has_one_worker_at_the_block_however_many_were_started)
{
    std::atomic<bool> first_may_begin = false;
    thread_begins_when([&first_may_begin] { return first_may_begin.load(); });
    EXPECT_EQ(motor_rotate_init(), 0);
    motor_rotate_finish();
    thread_begins_when(nullptr);
    worker_runs();
    EXPECT_EQ(threads_alive(), 2);
    first_may_begin = true;
    EXPECT_TRUE(soon(normal_end));
    EXPECT_EQ(segments_attached(), 1);
    posts("[30,0,0]");
    EXPECT_TRUE(soon("torvu_motor_control(7, 30, -1)"));
}

struct trouble_row {
    const char *name;
    segment_trouble trouble;
    texts calls_made;
};

struct channel_in_trouble : channel, testing::WithParamInterface<trouble_row> {};

TEST_P(channel_in_trouble, without_a_block_ends_and_can_be_started_again)
{
    segment_has(GetParam().trouble);
    EXPECT_EQ(motor_rotate_init(), 0);
    EXPECT_TRUE(soon(normal_end));
    EXPECT_TRUE(in_order(GetParam().calls_made));
    EXPECT_EQ(calls_of("shmdt"), texts{});
    ends([] { return threads_alive() == 0; });

    segment_has(segment_trouble::none);
    worker_runs();
    posts("[30,0,0]");
    EXPECT_TRUE(soon("torvu_motor_control(7, 30, -1)"));
}

INSTANTIATE_TEST_SUITE_P(
    kinds, channel_in_trouble,
    testing::Values(trouble_row{ "no_segment",
                                 segment_trouble::no_segment,
                                 { gets, "perror(fail to shmget)", "sleep(5)", normal_end } },
                    trouble_row{ "no_address",
                                 segment_trouble::no_address,
                                 { gets, "shmat(0, 0)", "perror(Failed to shmat)", "sleep(5)", normal_end } },
                    trouble_row{
                        "null_address",
                        segment_trouble::null_address,
                        { gets, "shmat(0, 0)", "perror(Failed to shmat)", "sleep(5)", normal_end } }),
    [](const auto &row) { return row.param.name; });

// While the worker complains that it was refused the block, which is to be had from then on.
struct channel_refused : channel {
    static void and_meanwhile(void (*switch_is_turned)())
    {
        libc.on_perror = [switch_is_turned] {
            segment_has(segment_trouble::none);
            switch_is_turned();
        };
        segment_has(segment_trouble::no_segment);
        EXPECT_EQ(motor_rotate_init(), 0);
    }
};

TEST_F(channel_refused, switched_off_and_on_again_asks_anew)
{
    and_meanwhile([] {
        motor_rotate_finish();
        EXPECT_EQ(motor_rotate_init(), 0);
    });
    EXPECT_TRUE(worker_looks());
    posts("[30,0,0]");
    EXPECT_TRUE(soon("torvu_motor_control(7, 30, -1)"));
    EXPECT_EQ(threads_started(), 1);
    worker_ends();
    EXPECT_EQ(calls_of("shmget").size(), 2U);
}

TEST_F(channel_refused, switched_off_ends)
{
    and_meanwhile([] { motor_rotate_finish(); });
    EXPECT_TRUE(soon(normal_end));
    EXPECT_EQ(calls_of("shmget").size(), 1U);
    worker_runs();
}

TEST_F(channel_refused, switched_off_and_on_and_off_again_ends)
{
    and_meanwhile([] {
        motor_rotate_finish();
        motor_rotate_init();
        motor_rotate_finish();
    });
    EXPECT_TRUE(soon(normal_end));
    EXPECT_EQ(calls_of("shmget").size(), 1U);
    worker_runs();
}

TEST_F(channel_refused, switched_on_where_it_was_on_ends)
{
    and_meanwhile([] { EXPECT_EQ(motor_rotate_init(), 0); });
    EXPECT_TRUE(soon(normal_end));
    EXPECT_EQ(calls_of("shmget").size(), 1U);
    worker_runs();
}

TEST_F(channel, whose_block_somebody_made_too_small_ends_like_one_without)
{
    segment_made_by_other(rotation_key, 16);
    motor_rotate_init();
    EXPECT_TRUE(soon(normal_end));
    EXPECT_TRUE(in_order({ gets, "perror(fail to shmget)", "sleep(5)", normal_end }));
}

TEST_F(channel, that_cannot_detach_does_not_remove_the_block)
{
    worker_runs();
    segment_has(segment_trouble::no_detaching);
    motor_rotate_finish();
    EXPECT_TRUE(soon(normal_end));
    EXPECT_TRUE(in_order({ "shmdt()", "perror(Failed to shmdt)", "sleep(5)" }));
    EXPECT_EQ(calls_of("shmctl"), texts{});
}

TEST_F(channel, that_cannot_remove_the_block_says_so)
{
    worker_runs();
    segment_has(segment_trouble::no_removal);
    motor_rotate_finish();
    EXPECT_TRUE(soon(normal_end));
    EXPECT_TRUE(in_order({ "shmdt()", "shmctl(0, IPC_RMID)", "perror(failed to shmctl)", "sleep(5)" }));
}

TEST_F(channel, whose_thread_cannot_be_made_is_off)
{
    thread_creation_gives(EAGAIN);
    EXPECT_EQ(motor_rotate_init(), -1);
    EXPECT_TRUE(logged("err: create motor_shm_task_thread fail ret = " + std::to_string(EAGAIN) + "\n"));
    EXPECT_FALSE(logged(success));
    EXPECT_EQ(calls_of("pthread_detach"), texts{});

    thread_creation_gives(0);
    worker_runs();
    EXPECT_TRUE(logged(success));
}
