// SPDX-License-Identifier: MIT
// How the player puts a prompt together and finds out which it is.
#include "player_desk.h"

static constexpr size_t piece = 65536;

static std::vector<int64_t> sizes_of(const char *what)
{
    return numbers_of(what, "bytes");
}

using sizes = std::vector<int64_t>;

STORY(player_prompt, short_file_is_one_message_and_one_prompt)
{
    player_desk desk;
    player_desk_open(desk);
    const std::string ding = sound_of(9000);
    sound_is_there("ding", ding);
    daemon_connects(desk);

    daemon_sends_file(desk, ding);

    EXPECT_EQ(heard_of("prompt"), texts{ "ding" });
    EXPECT_EQ(sizes_of("prompt"), sizes{ 9000 });
    player_desk_close(desk);
}

STORY(player_prompt, file_of_70000_bytes_comes_in_two_pieces)
{
    player_desk desk;
    player_desk_open(desk);
    const std::string booting = sound_of(70'000);
    sound_is_there("booting", booting);
    daemon_connects(desk);

    daemon_sends(desk, booting.substr(0, piece));
    EXPECT_EQ(heard_of("prompt"), texts{});
    daemon_sends(desk, booting.substr(piece));

    EXPECT_EQ(heard_of("prompt"), texts{ "booting" });
    EXPECT_EQ(sizes_of("prompt"), sizes{ 70'000 });
    player_desk_close(desk);
}

STORY(player_prompt, file_that_ends_with_a_full_message_is_whole_at_once)
{
    player_desk desk;
    player_desk_open(desk);
    const std::string one = sound_of(piece, 'x');
    const std::string three = sound_of(3 * piece, 'y');
    sound_is_there("one", one);
    sound_is_there("three", three);
    daemon_connects(desk);

    daemon_sends_file(desk, one);
    EXPECT_EQ(heard_of("prompt"), texts{ "one" });
    daemon_sends_file(desk, three);

    EXPECT_EQ(heard_of("prompt"), (texts{ "one", "three" }));
    player_desk_close(desk);
}

STORY(player_prompt, files_follow_one_another_and_are_not_mixed_up)
{
    player_desk desk;
    player_desk_open(desk);
    const std::string first = sound_of(piece + 1, '1');
    const std::string second = sound_of(piece - 1, '2');
    const std::string third = sound_of(2 * piece, '3');
    sound_is_there("first", first);
    sound_is_there("second", second);
    sound_is_there("third", third);
    daemon_connects(desk);

    for (const std::string &file : { first, second, third, first })
        daemon_sends_file(desk, file);

    EXPECT_EQ(heard_of("prompt"), (texts{ "first", "second", "third", "first" }));
    player_desk_close(desk);
}

STORY(player_prompt, language_is_that_of_the_folder_with_this_content)
{
    player_desk desk;
    player_desk_open(desk);
    sound_is_there("booting", sound_of(500, 'd'));
    sound_is_there("en/booting", sound_of(500, 'e'));
    sound_is_there("de/booting", sound_of(500, 'g'));
    daemon_connects(desk);

    for (const char mark : { 'g', 'd', 'e' })
        daemon_sends_file(desk, sound_of(500, mark));

    EXPECT_EQ(heard_of("prompt"), (texts{ "booting de", "booting", "booting en" }));
    player_desk_close(desk);
}

STORY(player_prompt, file_put_there_while_the_player_runs_is_known_too)
{
    player_desk desk;
    player_desk_open(desk);
    daemon_connects(desk);
    daemon_sends_file(desk, sound_of(500));
    sound_is_there("fr/ding", sound_of(500));
    daemon_sends_file(desk, sound_of(500));
    EXPECT_EQ(heard_of("prompt"), (texts{ "?", "ding fr" }));
    player_desk_close(desk);
}

STORY(player_prompt, content_that_no_file_has_is_played_without_a_name)
{
    player_desk desk;
    player_desk_open(desk);
    sound_is_there("ding", sound_lasting(100, 'a'));
    daemon_connects(desk);

    daemon_sends_file(desk, sound_lasting(100, 'b'));
    desk_clock_step(100);
    player_works(desk);

    EXPECT_EQ(heard_of("prompt"), texts{ "?" });
    EXPECT_EQ(heard_of("played"), texts{ "?" });
    EXPECT_EQ(numbers_of("played", "heard_ms"), std::vector<int64_t>{ 100 });
    player_desk_close(desk);
}

STORY(player_prompt, what_is_no_sound_is_over_at_once)
{
    player_desk desk;
    player_desk_open(desk);
    daemon_connects(desk);

    daemon_sends(desk, "hello");

    EXPECT_EQ(sizes_of("prompt"), sizes{ 5 });
    EXPECT_EQ(numbers_of("played", "lasts_ms"), std::vector<int64_t>{ 0 });
    player_desk_close(desk);
}

STORY(player_prompt, head_that_promises_more_than_the_file_has_does_not_keep_it_waiting)
{
    player_desk desk;
    player_desk_open(desk);
    daemon_connects(desk);
    const std::string cut_file = sound_lasting(1000).substr(0, 44 + 8000);

    daemon_sends(desk, cut_file);

    EXPECT_EQ(sizes_of("prompt"), sizes{ 8044 });
    EXPECT_EQ(numbers_of("prompt", "lasts_ms"), std::vector<int64_t>{ 500 });
    player_desk_close(desk);
}

STORY(player_prompt, head_that_promises_less_than_the_file_has_does_not_split_it)
{
    player_desk desk;
    player_desk_open(desk);
    daemon_connects(desk);
    const std::string file = sound_of(70'000) + std::string(70'000, 'x');

    daemon_sends_file(desk, file);

    EXPECT_EQ(sizes_of("prompt"), sizes{ 140'000 });
    player_desk_close(desk);
}

STORY(player_prompt, full_messages_without_a_head_are_a_prompt_when_nothing_follows)
{
    player_desk desk;
    player_desk_open(desk);
    daemon_connects(desk);
    const std::string file(2 * piece, 'x');

    daemon_sends_file(desk, file);
    desk_clock_step(1999);
    player_works(desk);
    EXPECT_EQ(heard_of("prompt"), texts{});
    desk_clock_step(1);
    player_works(desk);

    EXPECT_EQ(sizes_of("prompt"), sizes{ 2 * piece });
    player_desk_close(desk);
}

STORY(player_prompt, that_could_not_be_sent_to_its_end_is_cut_and_taken_when_it_is_sent_again)
{
    player_desk desk;
    player_desk_open(desk);
    const std::string booting = sound_of(150'000);
    sound_is_there("booting", booting);
    daemon_connects(desk);

    daemon_sends(desk, booting.substr(0, piece));
    daemon_sends_file(desk, booting);

    EXPECT_EQ(sizes_of("cut"), sizes{ piece });
    EXPECT_EQ(numbers_of("cut", "of"), sizes{ 150'000 });
    EXPECT_EQ(heard_of("prompt"), texts{ "booting" });
    player_desk_close(desk);
}

STORY(player_prompt, whose_rest_does_not_come_is_cut_after_two_seconds)
{
    player_desk desk;
    player_desk_open(desk);
    daemon_connects(desk);

    daemon_sends(desk, sound_of(150'000).substr(0, piece));
    desk_clock_step(1999);
    player_works(desk);
    EXPECT_EQ(sizes_of("cut"), sizes{});
    desk_clock_step(1);
    player_works(desk);

    EXPECT_EQ(sizes_of("cut"), sizes{ piece });
    EXPECT_EQ(heard_of("prompt"), texts{});
    player_desk_close(desk);
}

STORY(player_prompt, whose_rest_comes_late_but_in_time_is_whole)
{
    player_desk desk;
    player_desk_open(desk);
    const std::string booting = sound_of(150'000);
    sound_is_there("booting", booting);
    daemon_connects(desk);

    for (size_t at = 0; at < booting.size(); at += piece) {
        daemon_sends(desk, booting.substr(at, piece));
        desk_clock_step(1500);
        player_works(desk);
    }

    EXPECT_EQ(heard_of("prompt"), texts{ "booting" });
    EXPECT_EQ(sizes_of("cut"), sizes{});
    player_desk_close(desk);
}

STORY(player_prompt, of_a_daemon_that_dies_in_the_middle_is_cut_and_the_next_daemon_is_served)
{
    player_desk desk;
    player_desk_open(desk);
    const std::string booting = sound_of(150'000);
    sound_is_there("booting", booting);
    daemon_connects(desk);

    daemon_sends(desk, booting.substr(0, piece));
    daemon_leaves(desk);
    EXPECT_EQ(sizes_of("cut"), sizes{ piece });
    daemon_connects(desk);
    daemon_sends_file(desk, booting);

    EXPECT_EQ(heard_of("prompt"), texts{ "booting" });
    player_desk_close(desk);
}

STORY(player_prompt, two_daemons_at_once_do_not_mix_their_pieces)
{
    player_desk desk;
    player_desk_open(desk);
    const std::string old = sound_of(100'000, 'o');
    const std::string young = sound_of(120'000, 'y');
    sound_is_there("old", old);
    sound_is_there("young", young);
    daemon_connects(desk);
    const int first = desk.daemon;
    daemon_sends(desk, old.substr(0, piece));
    daemon_connects(desk);
    const int second = desk.daemon;

    daemon_sends(desk, young.substr(0, piece));
    desk.daemon = first;
    daemon_sends(desk, old.substr(piece));
    player_works_until(desk, [] { return heard_of("prompt").size() == 1; });
    daemon_leaves(desk);
    desk.daemon = second;
    daemon_sends(desk, young.substr(piece));

    EXPECT_EQ(heard_of("prompt"), (texts{ "old", "young" }));
    player_desk_close(desk);
}
