// SPDX-License-Identifier: MIT
// How a prompt goes to the player: in pieces, at once or queued.
#include "sound_desk.h"

#include <cinttypes>
#include <cstdio>

struct playing : sound_desk {
    playing()
    {
        link_is_up();
    }
};

// No two stretches of it are alike.
static std::string bytes_of_a_prompt(size_t size)
{
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; i++)
        bytes[i] = static_cast<char>(i * 31 + i / 251);
    return bytes;
}

struct pieces_row {
    size_t size;
    std::vector<size_t> pieces;
};

struct pieces : playing, testing::WithParamInterface<pieces_row> {};

TEST_P(pieces, of_a_prompt_are_sent_in_order_straight_from_its_mapping)
{
    const std::string bytes = bytes_of_a_prompt(GetParam().size);
    prompts.has("booting", bytes);
    EXPECT_EQ(sound_play("booting", 0, ""), 0);

    std::string all;
    std::vector<size_t> sizes;
    const char *begin = static_cast<const char *>(bus_messages().front().at);
    for (const bus_message &message : bus_messages()) {
        EXPECT_EQ(message.at, begin + all.size());
        sizes.push_back(message.bytes.size());
        all += message.bytes;
    }
    EXPECT_EQ(sizes, GetParam().pieces);
    EXPECT_TRUE(all == bytes);
    EXPECT_EQ(prompt_mappings(), 0);
}

INSTANTIATE_TEST_SUITE_P(sizes, pieces,
                         testing::Values(pieces_row{ 1, { 1 } }, pieces_row{ 65535, { 65535 } },
                                         pieces_row{ 65536, { 65536 } }, pieces_row{ 65537, { 65536, 1 } },
                                         pieces_row{ 70000, { 65536, 4464 } },
                                         pieces_row{ 131072, { 65536, 65536 } },
                                         pieces_row{ 200000, { 65536, 65536, 65536, 3392 } }));

TEST_F(playing, logs_name_address_and_size_without_a_line_end)
{
    prompts.has("ding", "12345");
    sound_play("ding", 0, "");
    char line[100];
    snprintf(line, sizeof(line), "info: sound: sending ding in addr %p size 5", bus_messages().front().at);
    EXPECT_TRUE(logged(line));
}

TEST_F(playing, goes_on_although_the_player_is_not_ready)
{
    prompts.has("ding", "bytes");
    EXPECT_EQ(sound_is_ready(), 0);
    EXPECT_EQ(sound_play("ding", sound_queued, ""), 0);
    EXPECT_EQ(bus_texts(), texts{ "bytes" });
}

// The receiver's address as the log shows it: its low 32 bits.
static std::string send_error(int line, const std::string &name)
{
    char text[100];
    snprintf(text, sizeof(text), "err: [_play %d]sound: %s fail to send audio data. rcvr:%" PRIx32 "\n", line,
             name.c_str(), static_cast<uint32_t>(reinterpret_cast<uintptr_t>(bus_receiver())));
    return text;
}

TEST_F(playing, stops_at_a_piece_that_fails)
{
    prompts.has("ding", std::string(200000, 'd'));
    bus_send_fails(2);
    EXPECT_EQ(sound_play("ding", 0, ""), -1);
    EXPECT_TRUE(logged(send_error(79, "ding")));
    EXPECT_EQ(calls_of("wrax_rcv_send_message").size(), 2U);
    EXPECT_EQ(prompt_mappings(), 0) << "freed although it failed";
}

TEST_F(playing, logs_the_last_piece_that_fails_with_another_number)
{
    prompts.has("ding", std::string(70000, 'd'));
    bus_send_fails(2);
    EXPECT_EQ(sound_play("ding", 0, ""), -1);
    EXPECT_TRUE(logged(send_error(69, "ding")));
    EXPECT_EQ(prompt_mappings(), 0);
}

TEST_F(playing, takes_a_prompt_of_just_one_piece_for_its_last_piece)
{
    prompts.has("ding", std::string(65536, 'd'));
    bus_send_fails(1);
    EXPECT_EQ(sound_play("ding", 0, ""), -1);
    EXPECT_TRUE(logged(send_error(69, "ding")));
}

TEST_F(playing, takes_any_result_that_is_not_negative_for_success)
{
    prompts.has("ding", std::string(70000, 'd'));
    bus.send_result = 4;
    EXPECT_EQ(sound_play("ding", 0, ""), 0);
    EXPECT_EQ(bus_texts().size(), 2U);
}

TEST_F(playing, at_once_without_a_receiver_fails_and_keeps_nothing)
{
    sound_exit();
    prompts.has("ding", "bytes");
    record_clear();
    EXPECT_EQ(sound_play("ding", 0, ""), -1);
    EXPECT_EQ(log_lines(), (texts{ no_language, "warning: sound: ding receiver has not created.\n" }));
    EXPECT_EQ(prompt_mappings(), 0);
    link_is_up();
    player_connects();
    EXPECT_EQ(bus_texts(), texts{});
}

TEST_F(playing, minds_the_lowest_bit_of_the_flags_only)
{
    prompts.has("ding", "bytes");
    bus_send_fails(1);
    EXPECT_EQ(sound_play("ding", 6, ""), -1) << "at once";
    bus_send_fails(1);
    EXPECT_EQ(sound_play("ding", 7, ""), 0) << "queued";
    player_connects();
    EXPECT_EQ(bus_texts(), texts{ "bytes" });
}

TEST_F(playing, at_once_passes_those_that_wait)
{
    prompts.has("ding", "first");
    prompts.has("error", "second");
    bus_send_fails(1);
    sound_play("ding", sound_queued, "");
    sound_play("error", 0, "");
    EXPECT_EQ(bus_texts(), texts{ "second" });
    player_connects();
    EXPECT_EQ(bus_texts(), (texts{ "second", "first" }));
}
