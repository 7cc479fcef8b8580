// SPDX-License-Identifier: MIT
// The block for rotations, with the daemon's end in the test's hands.
#include "stage_desk.h"

#include "common/host_time.h"

#include <pthread.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cstring>

// As every process of the camera lays it out.
struct block {
    int32_t pending;
    pthread_mutex_t mutex;
    char cmd[32];
};

struct rotation_scene : stage_desk {
    control_link client;
    int segment = -1;
    block *shared = nullptr;
};

static int make_segment(key_t key, size_t size)
{
    const int segment = shmget(key, size, IPC_CREAT | IPC_EXCL | 0600);
    EXPECT_GE(segment, 0) << strerror(errno);
    return segment;
}

static void open_scene(rotation_scene &desk)
{
    stage_desk_open(desk);
    stage_desk_connect(desk, desk.client);
    desk.camera.rotation_key = 0x77000000 + getpid(); // nobody else's
}

static void close_scene(rotation_scene &desk)
{
    if (desk.shared != nullptr)
        shmdt(desk.shared);
    if (desk.segment >= 0)
        shmctl(desk.segment, IPC_RMID, nullptr);
    control_close(desk.client);
    stage_desk_close(desk);
}

// What the daemon does when tracking is switched on.
static void make_block(rotation_scene &desk)
{
    desk.segment = make_segment(desk.camera.rotation_key, sizeof(block));
    desk.shared = static_cast<block *>(shmat(desk.segment, nullptr, 0));
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutex_init(&desk.shared->mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

static std::string ask(rotation_scene &desk, const std::string &text)
{
    return stage_desk_ask(desk, desk.client, R"({"do":"rotate","text":")" + text + "\"}");
}

static bool is_pending(rotation_scene &desk)
{
    pthread_mutex_lock(&desk.shared->mutex);
    const bool pending = desk.shared->pending == 1;
    pthread_mutex_unlock(&desk.shared->mutex);
    return pending;
}

// What the daemon does when it finds a command.
static void take(rotation_scene &desk)
{
    pthread_mutex_lock(&desk.shared->mutex);
    desk.shared->pending = 0;
    pthread_mutex_unlock(&desk.shared->mutex);
}

STORY(a_rotation, is_posted_and_reported_as_taken)
{
    rotation_scene desk;
    open_scene(desk);
    make_block(desk);
    stage_desk_send(desk.client, R"({"do":"rotate","text":"[30,-15,0]"})");
    ASSERT_TRUE(stage_desk_until(desk, [&] { return is_pending(desk); }));
    EXPECT_STREQ(desk.shared->cmd, "[30,-15,0]");
    take(desk);
    EXPECT_EQ(stage_desk_receive(desk, desk.client), R"({"done":{"taken":true}})");
    close_scene(desk);
}

STORY(a_rotation, that_is_not_taken_at_once_stays_posted)
{
    rotation_scene desk;
    open_scene(desk);
    make_block(desk);
    EXPECT_EQ(ask(desk, "stop"), R"({"done":{"taken":false}})");
    EXPECT_TRUE(is_pending(desk));
    EXPECT_STREQ(desk.shared->cmd, "stop");
    close_scene(desk);
}

STORY(a_rotation, waits_for_the_one_before_it_to_be_taken)
{
    rotation_scene desk;
    open_scene(desk);
    make_block(desk);
    EXPECT_EQ(ask(desk, "[1,1,0]"), R"({"done":{"taken":false}})");
    stage_desk_send(desk.client, R"({"do":"rotate","text":"[2,2,0]"})");
    // Longer than a posted one is given to be taken.
    const int64_t until_ms = host_time_ms() + 700;
    ASSERT_TRUE(stage_desk_until(desk, [&] { return host_time_ms() > until_ms; }));
    EXPECT_STREQ(desk.shared->cmd, "[1,1,0]") << "a waiting text is not overwritten";
    take(desk);
    ASSERT_TRUE(stage_desk_until(desk, [&] { return is_pending(desk); }));
    EXPECT_STREQ(desk.shared->cmd, "[2,2,0]");
    take(desk);
    EXPECT_EQ(stage_desk_receive(desk, desk.client), R"({"done":{"taken":true}})");
    close_scene(desk);
}

STORY(a_rotation, is_refused_when_the_one_before_it_is_never_taken)
{
    rotation_scene desk;
    open_scene(desk);
    make_block(desk);
    ask(desk, "[1,1,0]");
    EXPECT_PRED2(stage_desk_is_refusal, ask(desk, "[2,2,0]"), "waits already");
    EXPECT_STREQ(desk.shared->cmd, "[1,1,0]");
    close_scene(desk);
}

STORY(a_rotation, waits_a_moment_for_the_block_to_be_made)
{
    rotation_scene desk;
    open_scene(desk);
    stage_desk_send(desk.client, R"({"do":"rotate","text":"[1,1,0]"})");
    ASSERT_TRUE(stage_desk_until(desk, [&] { return desk.camera.rotation.absent_ms > 0; })) << "looked for";
    make_block(desk);
    ASSERT_TRUE(stage_desk_until(desk, [&] { return is_pending(desk); }));
    take(desk);
    EXPECT_EQ(stage_desk_receive(desk, desk.client), R"({"done":{"taken":true}})");
    close_scene(desk);
}

STORY(a_rotation, is_refused_without_a_block)
{
    rotation_scene desk;
    open_scene(desk);
    EXPECT_PRED2(stage_desk_is_refusal, ask(desk, "[1,1,0]"), "tracking is off");
    close_scene(desk);
}

STORY(a_rotation, is_refused_when_the_block_is_too_small)
{
    rotation_scene desk;
    open_scene(desk);
    desk.segment = make_segment(desk.camera.rotation_key, sizeof(block) - 1);
    EXPECT_PRED2(stage_desk_is_refusal, ask(desk, "[1,1,0]"), "cannot be used");
    close_scene(desk);
}

STORY(a_rotation, is_refused_when_the_block_stays_locked)
{
    rotation_scene desk;
    open_scene(desk);
    make_block(desk);
    pthread_mutex_lock(&desk.shared->mutex);
    EXPECT_PRED2(stage_desk_is_refusal, ask(desk, "[1,1,0]"), "stays locked");
    EXPECT_EQ(desk.shared->pending, 0);
    pthread_mutex_unlock(&desk.shared->mutex);
    close_scene(desk);
}

STORY(a_rotation, has_room_for_31_characters)
{
    rotation_scene desk;
    open_scene(desk);
    make_block(desk);
    const std::string longest(31, 'x');
    ask(desk, longest);
    EXPECT_EQ(desk.shared->cmd, longest);
    take(desk);
    EXPECT_PRED2(stage_desk_is_refusal, ask(desk, longest + "x"), "1 to 31 characters");
    EXPECT_PRED2(stage_desk_is_refusal, ask(desk, ""), "1 to 31 characters");
    EXPECT_FALSE(is_pending(desk));
    close_scene(desk);
}

STORY(a_rotation, is_refused_while_another_is_being_posted)
{
    rotation_scene desk;
    open_scene(desk);
    make_block(desk);
    control_link other;
    stage_desk_connect(desk, other);
    stage_desk_send(desk.client, R"({"do":"rotate","text":"[1,1,0]"})");
    ASSERT_TRUE(stage_desk_until(desk, [&] { return desk.camera.rotation.under_way; }));
    EXPECT_PRED2(stage_desk_is_refusal, stage_desk_ask(desk, other, R"({"do":"rotate","text":"stop"})"),
                 "being posted");
    control_close(other);
    close_scene(desk);
}

STORY(a_block, leaves_nothing_attached_and_is_gone_when_it_is_removed)
{
    rotation_scene desk;
    open_scene(desk);
    make_block(desk);
    ask(desk, "stop");
    shmid_ds about = {};
    ASSERT_EQ(shmctl(desk.segment, IPC_STAT, &about), 0);
    EXPECT_EQ(about.shm_nattch, 1U) << "the daemon's own";
    rotation_remove(desk.camera.rotation_key);
    EXPECT_EQ(rotation_look(desk.camera.rotation_key), rotation_state::absent);
    rotation_remove(desk.camera.rotation_key);
    desk.segment = -1;
    close_scene(desk);
}
