// SPDX-License-Identifier: MIT
// The prompts that wait: their order, when they go out, and the list that holds them.
#include "sound/sound_queue.h"
#include "sound_desk.h"

#include "fakes/children.h"

struct waiting_prompts : sound_desk {
    waiting_prompts()
    {
        for (const char *name : { "alarm1", "alarm2", "alarm3", "ding" })
            prompts.has(name, name);
    }

    static void asked_for(std::initializer_list<const char *> names)
    {
        for (const char *name : names)
            EXPECT_EQ(sound_play(name, sound_queued, ""), 0);
    }
};

TEST_F(waiting_prompts, asked_for_before_the_player_is_up_are_sent_when_it_connects_oldest_first)
{
    asked_for({ "alarm1", "alarm2" });
    EXPECT_TRUE(logged("warning: sound: alarm1 receiver has not created.\n"));
    EXPECT_EQ(prompt_mappings(), 2);
    link_is_up();
    EXPECT_EQ(bus_texts(), texts{}) << "a start alone sends nothing";
    player_connects();
    EXPECT_EQ(bus_texts(), (texts{ "alarm1", "alarm2" }));
    EXPECT_EQ(prompt_mappings(), 0);
}

TEST_F(waiting_prompts, follow_the_ready_mark_in_the_store)
{
    asked_for({ "alarm1" });
    link_is_up();
    player_connects();
    EXPECT_TRUE(in_order({ mem_set("sound_play", "ready"), "debug: on_wrax_ready",
                           R"(wrax_rcv_send_message("alarm1", 6))", "debug: sound: Removed alarm1\n",
                           "munmap(4096)" }));
}

TEST_F(waiting_prompts, are_sent_with_the_next_one_that_is_asked_for)
{
    asked_for({ "alarm1", "alarm2" });
    link_is_up();
    asked_for({ "alarm3" });
    EXPECT_EQ(bus_texts(), (texts{ "alarm1", "alarm2", "alarm3" }));
}

TEST_F(waiting_prompts, stay_with_all_behind_them_when_one_in_the_middle_fails)
{
    asked_for({ "alarm1", "alarm2", "alarm3" });
    link_is_up();
    bus_send_fails(2);
    player_connects();
    EXPECT_EQ(bus_texts(), texts{ "alarm1" });
    EXPECT_EQ(prompt_mappings(), 2);
    EXPECT_FALSE(log_mentions("Removed alarm2"));
    asked_for({ "ding" });
    EXPECT_EQ(bus_texts(), (texts{ "alarm1", "alarm2", "alarm3", "ding" }));
}

TEST_F(waiting_prompts, are_sent_whole_again_when_the_middle_of_one_failed)
{
    prompts.has("alarm1", std::string(70000, 'a'));
    link_is_up();
    bus_send_fails(2);
    asked_for({ "alarm1" });
    bus_forgets_messages();
    player_connects();
    ASSERT_EQ(bus_texts().size(), 2U);
    EXPECT_EQ(bus_texts()[0].size() + bus_texts()[1].size(), 70000U);
}

TEST_F(waiting_prompts, survive_the_players_leaving)
{
    link_is_up();
    player_connects();
    bus_player_leaves();
    EXPECT_EQ(sound_recv(), 0);
    bus_send_fails(1);
    asked_for({ "alarm1" });
    EXPECT_EQ(prompt_mappings(), 1);
}

TEST_F(waiting_prompts, are_gone_after_the_end_of_the_link)
{
    asked_for({ "alarm1", "alarm2", "alarm3" });
    record_clear();
    sound_exit();
    EXPECT_EQ(story(), (texts{ "munmap(4096)", "munmap(4096)", "munmap(4096)" })) << "freed, not sent";
    link_is_up();
    player_connects();
    EXPECT_EQ(bus_texts(), texts{});
}

TEST_F(waiting_prompts, of_a_link_that_ends_go_after_its_receiver)
{
    link_is_up();
    bus_send_fails(1);
    asked_for({ "alarm1" });
    record_clear();
    sound_exit();
    EXPECT_EQ(story(), (texts{ "wrax_rcv_destroy()", "munmap(4096)" }));
}

TEST_F(waiting_prompts, have_no_limit)
{
    for (int i = 0; i < 300; i++)
        asked_for({ "ding" });
    link_is_up();
    player_connects();
    EXPECT_EQ(bus_texts(), texts(300, "ding"));
}

// The list alone, with entries that the test owns.
struct queue : testing::Test {
    void has(std::initializer_list<int> numbers)
    {
        for (int number : numbers)
            sound_queue_append(head, &entries[number]);
    }

    // Also follows the list backwards, beginning with the tail, which the head knows.
    void holds(const std::vector<int> &numbers) const
    {
        std::vector<int> found;
        for (const sound_entry *each = head; each != nullptr; each = each->next)
            found.push_back(static_cast<int>(each - entries));
        EXPECT_EQ(found, numbers);
        const sound_entry *each = head;
        for (size_t i = numbers.size(); i > 0; i--) {
            each = each->prev;
            EXPECT_EQ(each, &entries[numbers[i - 1]]);
        }
    }

    sound_entry entries[4] = {};
    sound_entry *head = nullptr;
};

TEST_F(queue, grows_at_its_tail)
{
    has({ 0 });
    holds({ 0 });
    has({ 1, 2 });
    holds({ 0, 1, 2 });
}

TEST_F(queue, is_empty_without_its_only_entry)
{
    has({ 0 });
    sound_queue_unlink(head, &entries[0]);
    EXPECT_EQ(head, nullptr);
}

TEST_F(queue, without_its_head_begins_with_the_next)
{
    has({ 0, 1, 2 });
    sound_queue_unlink(head, &entries[0]);
    holds({ 1, 2 });
}

TEST_F(queue, without_its_middle_is_joined)
{
    has({ 0, 1, 2 });
    sound_queue_unlink(head, &entries[1]);
    holds({ 0, 2 });
}

TEST_F(queue, without_its_tail_ends_with_the_one_before)
{
    has({ 0, 1, 2 });
    sound_queue_unlink(head, &entries[2]);
    holds({ 0, 1 });
    has({ 3 });
    holds({ 0, 1, 3 });
}

TEST_F(queue, takes_an_entry_again_that_was_in_it)
{
    has({ 0, 1 });
    sound_queue_unlink(head, &entries[0]);
    has({ 0 });
    holds({ 1, 0 });
}

static const char last_words[] = R"(Assertion `\(e\)->prev != \(\(void \*\)0\)' failed)";

TEST_F(queue, that_is_broken_stops_the_program)
{
    has({ 0, 1, 2 });
    entries[1].prev = nullptr;
    EXPECT_EXIT(sound_queue_unlink(head, &entries[1]), testing::KilledBySignal(SIGABRT), last_words);
    entries[0].prev = nullptr;
    EXPECT_EXIT(sound_queue_unlink(head, &entries[0]), testing::KilledBySignal(SIGABRT), last_words);
    EXPECT_EXIT(sound_queue_append(head, &entries[3]), testing::KilledBySignal(SIGABRT), last_words);
}
