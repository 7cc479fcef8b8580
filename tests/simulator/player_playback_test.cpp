// SPDX-License-Identifier: MIT
// When prompts sound, for how long, and what a ban does to them.
#include "player_desk.h"

using times = std::vector<int64_t>;

STORY(player_playback, prompt_lasts_as_long_as_its_sound)
{
    player_desk desk;
    player_desk_open(desk);
    sound_is_there("booting", sound_lasting(1500));
    daemon_connects(desk);

    daemon_sends_file(desk, sound_lasting(1500));
    desk_clock_step(1499);
    player_works(desk);
    EXPECT_EQ(heard_of("playing"), texts{ "booting" });
    EXPECT_EQ(heard_of("played"), texts{});
    desk_clock_step(1);
    player_works(desk);

    EXPECT_EQ(heard_of("played"), texts{ "booting" });
    EXPECT_EQ(numbers_of("playing", "lasts_ms"), times{ 1500 });
    EXPECT_EQ(numbers_of("playing", "at_ms"), times{ 0 });
    EXPECT_EQ(numbers_of("played", "at_ms"), times{ 1500 });
    EXPECT_EQ(numbers_of("played", "heard_ms"), times{ 1500 });
    player_desk_close(desk);
}

STORY(player_playback, prompts_sound_one_after_the_other_in_their_order)
{
    player_desk desk;
    player_desk_open(desk);
    daemon_connects(desk);
    for (const char mark : { '1', '2', '3' }) {
        sound_is_there(std::string("alarm") + mark, sound_lasting(1000, mark));
        daemon_sends_file(desk, sound_lasting(1000, mark));
    }

    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(heard_of("playing").size(), static_cast<size_t>(i) + 1);
        desk_clock_step(1000);
        player_works(desk);
    }

    EXPECT_EQ(heard_of("played"), (texts{ "alarm1", "alarm2", "alarm3" }));
    EXPECT_EQ(numbers_of("playing", "at_ms"), (times{ 0, 1000, 2000 }));
    EXPECT_EQ(numbers_of("played", "at_ms"), (times{ 1000, 2000, 3000 }));
    player_desk_close(desk);
}

STORY(player_playback, a_long_step_of_the_clock_moves_no_prompt)
{
    player_desk desk;
    player_desk_open(desk);
    daemon_connects(desk);
    for (const char mark : { '1', '2', '3' })
        daemon_sends_file(desk, sound_lasting(1000, mark));

    desk_clock_step(3'600'000);
    player_works(desk);
    daemon_sends_file(desk, sound_lasting(1000, '4'));

    EXPECT_EQ(numbers_of("playing", "at_ms"), (times{ 0, 1000, 2000, 3'600'000 }));
    EXPECT_EQ(numbers_of("played", "at_ms"), (times{ 1000, 2000, 3000 }));
    player_desk_close(desk);
}

STORY(player_playback, ban_in_the_middle_leaves_the_rest_unheard_and_in_time)
{
    player_desk desk;
    player_desk_open(desk);
    sound_is_there("alarm1", sound_lasting(2000));
    daemon_connects(desk);
    daemon_sends_file(desk, sound_lasting(2000));

    desk_clock_step(700);
    daemon_sends(desk, "SOUND_BAN");
    desk_clock_step(1300);
    player_works(desk);

    EXPECT_EQ(heard_of("banned"), texts{ "alarm1" });
    EXPECT_EQ(heard_of("played"), texts{ "alarm1" });
    EXPECT_EQ(numbers_of("played", "at_ms"), times{ 2000 });
    EXPECT_EQ(numbers_of("played", "heard_ms"), times{ 700 });
    player_desk_close(desk);
}

STORY(player_playback, prompt_that_begins_during_a_ban_is_muted_until_its_end)
{
    player_desk desk;
    player_desk_open(desk);
    sound_is_there("alarm1", sound_lasting(2000));
    daemon_connects(desk);
    daemon_sends(desk, "SOUND_BAN");
    daemon_sends_file(desk, sound_lasting(2000));

    desk_clock_step(1500);
    daemon_sends(desk, "SOUND_UNBAN");
    desk_clock_step(500);
    player_works(desk);

    EXPECT_EQ(json_get_bool(desk_journal()[3].get(), "muted"), true) << json_text(desk_journal()[3].get());
    EXPECT_EQ(heard_of("banned"), texts{ "?" });
    EXPECT_EQ(heard_of("unbanned"), texts{ "alarm1" });
    EXPECT_EQ(numbers_of("played", "heard_ms"), times{ 500 });
    player_desk_close(desk);
}

STORY(player_playback, what_is_heard_is_counted_over_several_bans)
{
    player_desk desk;
    player_desk_open(desk);
    daemon_connects(desk);
    daemon_sends_file(desk, sound_lasting(1000));
    for (const char *order : { "SOUND_BAN", "SOUND_UNBAN", "SOUND_BAN", "SOUND_UNBAN" }) {
        desk_clock_step(150);
        daemon_sends(desk, order);
    }
    desk_clock_step(1000);
    player_works(desk);
    EXPECT_EQ(numbers_of("played", "heard_ms"), times{ 700 });
    player_desk_close(desk);
}

STORY(player_playback, ban_after_the_end_of_a_prompt_takes_nothing_from_it)
{
    player_desk desk;
    player_desk_open(desk);
    daemon_connects(desk);
    daemon_sends_file(desk, sound_lasting(1000));
    desk_clock_step(1500); // its end is not noticed before the ban comes
    daemon_sends(desk, "SOUND_BAN");
    EXPECT_EQ(numbers_of("played", "heard_ms"), times{ 1000 });
    player_desk_close(desk);
}

STORY(player_playback, only_orders_that_change_something_are_told)
{
    player_desk desk;
    player_desk_open(desk);
    daemon_connects(desk);
    for (const char *order : { "SOUND_UNBAN", "SOUND_UNBAN", "SOUND_BAN", "SOUND_BAN", "SOUND_UNBAN" })
        daemon_sends(desk, order);
    EXPECT_EQ(heard_of("banned").size(), 1U);
    EXPECT_EQ(heard_of("unbanned").size(), 1U);
    EXPECT_EQ(heard_of("prompt"), texts{});
    player_desk_close(desk);
}

STORY(player_playback, ban_of_a_daemon_that_is_gone_holds_until_the_next_one_lifts_it)
{
    player_desk desk;
    player_desk_open(desk);
    daemon_connects(desk);
    daemon_sends(desk, "SOUND_BAN");
    daemon_leaves(desk);
    EXPECT_NE(command(desk, "status").find("\"banned\":true"), std::string::npos);
    daemon_connects(desk);
    daemon_sends(desk, "SOUND_UNBAN");
    EXPECT_NE(command(desk, "status").find("\"banned\":false"), std::string::npos);
    player_desk_close(desk);
}

STORY(player_playback, goes_on_when_the_daemon_leaves)
{
    player_desk desk;
    player_desk_open(desk);
    daemon_connects(desk);
    daemon_sends_file(desk, sound_lasting(1000));
    daemon_sends_file(desk, sound_lasting(1000));
    daemon_leaves(desk);
    desk_clock_step(2000);
    player_works(desk);
    EXPECT_EQ(numbers_of("played", "at_ms"), (times{ 1000, 2000 }));
    player_desk_close(desk);
}

STORY(player_playback, order_in_the_middle_of_a_prompt_ends_it)
{
    player_desk desk;
    player_desk_open(desk);
    daemon_connects(desk);
    daemon_sends(desk, sound_of(100'000).substr(0, 65536));
    daemon_sends(desk, "SOUND_BAN");
    EXPECT_EQ(numbers_of("cut", "bytes"), times{ 65536 });
    EXPECT_EQ(heard_of("banned").size(), 1U);
    player_desk_close(desk);
}
