// SPDX-License-Identifier: MIT
// The player in the one-second tick: its link, and the end of its being muted.
#include "tick_desk.h"

struct tick_without_player : tick {
    tick_without_player()
    {
        kit.sound_fd = 0;
        bus.player_listens = true;
    }
    ~tick_without_player() override
    {
        sound_exit();
    }
};

TEST_F(tick_without_player, brings_the_player_back_in_a_second_without_another_attempt)
{
    kit.reconnect_time = 1001;
    ticks_at(1001);
    EXPECT_EQ(calls_of("wrax_rcv_create"), texts{});
    ticks_at(1002);
    EXPECT_EQ(kit.sound_fd, 60);
    EXPECT_EQ(kit.nfds, 1);
    EXPECT_EQ(kit.reconnect_time, 1002U);
    ticks_at(1003);
    EXPECT_EQ(calls_of("wrax_rcv_create"), texts{}) << "it is up";
}

TEST_F(tick_without_player, does_not_bring_it_back_during_an_update)
{
    kit.ota = 1;
    ticks_at(1002);
    EXPECT_EQ(calls_of("wrax_rcv_create"), texts{});
    kit.ota = 0;
    ticks_at(1003);
    EXPECT_EQ(kit.sound_fd, 60);
}

TEST_F(tick_without_player, waits_a_tick_when_the_cloud_link_has_just_been_tried)
{
    kit.otd_sock = 0;
    ticks_at(1005);
    EXPECT_EQ(calls_of("connect").size(), 1U);
    EXPECT_EQ(calls_of("wrax_rcv_create"), texts{});
    ticks_at(1006);
    EXPECT_EQ(kit.sound_fd, 60);
}

TEST_F(tick_without_player, brings_the_player_back_before_the_store)
{
    selvar_nvram_exit();
    kit.mc_fd = 0;
    ticks_at(1002);
    EXPECT_EQ(kit.sound_fd, 60);
    EXPECT_EQ(calls_of("libselvar_config_open"), texts{});
    ticks_at(1003);
    EXPECT_EQ(kit.mc_fd, store.fd);
}

TEST_F(tick_without_player, that_stays_away_keeps_the_cloud_client_waiting)
{
    kit.otd_sock = 0;
    bus.player_listens = false;
    ticks_at(1004);
    EXPECT_EQ(calls_of("connect").size(), 1U);
    for (uint32_t second = 1005; second < 1025; second++) {
        ticks_at(second);
        EXPECT_EQ(calls_of("wrax_rcv_create").size(), 1U);
        EXPECT_EQ(calls_of("connect"), texts{});
        EXPECT_EQ(kit.sound_fd, -1);
    }
}

// The player is up, and the head has moved at the moment of the clock.
struct tick_after_a_movement : tick {
    tick_after_a_movement()
    {
        bus.player_listens = true;
        kit.sound_fd = sound_init(nullptr);
        platform.realtime_ms = moment;
        motor_time = static_cast<int64_t>(moment);
    }
    ~tick_after_a_movement() override
    {
        sound_exit();
    }

    // Whether a tick that many milliseconds later unmutes the player.
    static bool unmutes_after(int64_t milliseconds)
    {
        platform.realtime_ms = moment + static_cast<uint64_t>(milliseconds);
        ticks();
        return static_cast<bool>(called(unmuting));
    }

    static constexpr uint64_t moment = 1700000000000;
    static inline const std::string unmuting = R"(wrax_rcv_send_message("SOUND_UNBAN", 11))";
};

TEST_F(tick_after_a_movement, leaves_the_player_muted_for_a_second)
{
    EXPECT_FALSE(unmutes_after(0));
    EXPECT_FALSE(unmutes_after(999));
    EXPECT_EQ(motor_time, static_cast<int64_t>(moment));
    EXPECT_TRUE(unmutes_after(1000));
    EXPECT_EQ(motor_time, 0);
}

TEST_F(tick_after_a_movement, counts_from_the_latest_movement)
{
    EXPECT_FALSE(unmutes_after(900));
    motor_time = static_cast<int64_t>(moment) + 900;
    EXPECT_FALSE(unmutes_after(1899));
    EXPECT_TRUE(unmutes_after(1900));
}

TEST_F(tick_after_a_movement, unmutes_when_the_clock_went_back)
{
    EXPECT_TRUE(unmutes_after(-1));
    EXPECT_EQ(motor_time, 0);
}

TEST_F(tick_after_a_movement, unmutes_with_every_tick_from_then_on)
{
    motor_time = 0;
    EXPECT_TRUE(unmutes_after(0));
    EXPECT_TRUE(unmutes_after(1));
    EXPECT_TRUE(unmutes_after(2000));
}

TEST_F(tick_after_a_movement, does_not_take_no_movement_for_one_at_the_beginning_of_time)
{
    platform.realtime_ms = 500; // a clock that nobody has set yet
    motor_time = 0;
    ticks();
    EXPECT_TRUE(called(unmuting));
}

TEST_F(tick_after_a_movement, keeps_the_stamp_of_one_that_happens_meanwhile)
{
    constexpr int64_t meanwhile = static_cast<int64_t>(moment) + 1000;
    bus.on_send = [] { shared(motor_time).store(meanwhile); };
    EXPECT_TRUE(unmutes_after(1000));
    EXPECT_EQ(motor_time, meanwhile);
}

TEST_F(tick_after_a_movement, clears_the_stamp_although_there_is_no_player)
{
    sound_exit();
    EXPECT_FALSE(unmutes_after(1000));
    EXPECT_TRUE(logged("err: sound unban wrax msg handle have not been created!\n"));
    EXPECT_EQ(motor_time, 0);
}

TEST_F(tick_after_a_movement, unmutes_last)
{
    kit.status_received = 0;
    motor_time = 0;
    ticks();
    EXPECT_EQ(calls().back(), unmuting);
    EXPECT_TRUE(in_order({ to_cloud(status_query), unmuting }));
}
