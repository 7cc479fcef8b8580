// SPDX-License-Identifier: MIT
// Whatever dies, and whenever: nvram has for each key the old value or the new one, whole, and never less
// than what was answered.
#include "store_client.h"

#include <sys/mman.h>

#include <atomic>
#include <random>

constexpr int key_count = 4;
constexpr size_t value_length = 40000; // of many pages of the database

// Round number n of a key: its digits, then a letter that follows from them up to the length.
static std::string value_of(int number)
{
    const std::string digits = std::to_string(number) + ' ';
    return digits + std::string(value_length - digits.size(), static_cast<char>('a' + number % 26));
}

static std::string key_of(int number)
{
    return "key" + std::to_string(number % key_count);
}

// The number in the value of a key, 0 when it has none; a value that is torn fails the story.
static int number_in(raw_client &client, const std::string &key)
{
    const std::string text = raw_get(client, "nvram", key);
    if (text == "(nothing)")
        return 0;
    const int number = atoi(text.c_str());
    EXPECT_TRUE(text == value_of(number)) << "a torn value in " << key << " of number " << number;
    return number;
}

// What a client has seen: the numbers were sent in order, the answers came in the same order.
struct progress {
    int sent = 0;
    int answered = 0; // as a number, not a count
    int answered_of_key[key_count] = {};
};

static void note_answer(progress &seen, int number)
{
    seen.answered = number;
    seen.answered_of_key[number % key_count] = number;
}

static void expect_kept(const progress &seen)
{
    raw_client client = raw_connect();
    for (int key = 0; key < key_count; ++key) {
        const int kept = number_in(client, key_of(key));
        EXPECT_GE(kept, seen.answered_of_key[key]) << "an answered value of key" << key << " is lost";
        EXPECT_LE(kept, seen.sent);
    }
    raw_close(client);
}

// Sets one number after the other, many on their way at once, until so many have been answered. Then the
// store dies.
static void write_until_killed(store_process &store, int answers, progress &seen)
{
    constexpr int ahead = 8;
    raw_client client = raw_connect_as("writer");
    wire_message message;
    int next_answer = seen.sent + 1;
    const int last_answer = seen.sent + answers;
    while (next_answer <= last_answer) {
        while (seen.sent < next_answer + ahead) {
            ++seen.sent;
            raw_ask(client, wire_kind::set, "nvram", key_of(seen.sent), text_value(value_of(seen.sent)));
        }
        ASSERT_TRUE(raw_receive(client, message));
        ASSERT_EQ(message.status, wire_status::done);
        note_answer(seen, next_answer++);
    }
    store_end(store, SIGKILL);
    while (raw_receive(client, message)) // answers that were on their way when it died
        note_answer(seen, next_answer++);
    raw_close(client);
}

STORY(store_crash, a_killed_store_has_kept_whatever_it_answered)
{
    desk_catch_stderr();
    std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<int> some(0, 40);
    progress seen;
    for (int round = 0; round < 60; ++round) {
        store_process store = store_start();
        write_until_killed(store, some(random), seen);
        store = store_start();
        expect_kept(seen);
        store_end(store, SIGKILL);
    }
    EXPECT_GT(seen.answered, 500);
    EXPECT_EQ(desk_stderr(), ""); // no database was found damaged
}

// Of a writer in a process of its own; where both see it.
static progress *share_progress(void)
{
    void *memory = mmap(nullptr, sizeof(progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return new (memory) progress();
}

static int load(const int &shared)
{
    return std::atomic_ref(const_cast<int &>(shared)).load();
}

static pid_t start_writer(progress *seen)
{
    const pid_t pid = fork();
    if (pid != 0)
        return pid;
    raw_client client = raw_connect_as("writer");
    for (;;) {
        const int number = std::atomic_ref(seen->sent).fetch_add(1) + 1;
        if (raw_do(client, wire_kind::set, "nvram", key_of(number), text_value(value_of(number))) !=
            wire_status::done)
            _exit(1);
        seen->answered_of_key[number % key_count] = number;
        std::atomic_ref(seen->answered).store(number);
    }
}

STORY(store_crash, a_killed_client_has_left_no_torn_value)
{
    std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<int> some(0, 60);
    store_process store = store_start();
    progress *seen = share_progress();
    for (int round = 0; round < 50; ++round) {
        const int enough = load(seen->answered) + some(random);
        store_process writer = { start_writer(seen) };
        ASSERT_TRUE(desk_wait([&] { return load(seen->answered) >= enough; }));
        store_end(writer, SIGKILL);
        expect_kept(*seen);
    }
    store_end(store, SIGKILL);
}

STORY(store_crash, a_store_that_is_killed_while_it_starts_starts_again)
{
    desk_catch_stderr();
    std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<int> some(0, 12000);
    store_write_defaults();
    for (int round = 0; round < 100; ++round) {
        store_process store = store_launch();
        const timespec moment = { .tv_sec = 0, .tv_nsec = some(random) * 1000L };
        nanosleep(&moment, nullptr); // the moment of its death, not a wait for something
        store_end(store, SIGKILL);
        if (round % 2 == 0)
            unlink(desk_path("nvram").c_str());
    }
    store_process store = store_start();
    raw_client client = raw_connect();
    EXPECT_EQ(raw_get(client, "nvram", "power"), "on");
    EXPECT_EQ(desk_stderr(), "");
    store_end(store, SIGKILL);
}
