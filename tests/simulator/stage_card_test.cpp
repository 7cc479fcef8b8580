// SPDX-License-Identifier: MIT
// The memory card, and what the store is told of it.
#include "stage_desk.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

// A camera with a card, whose store's end the test has.
struct card_scene : stage_desk {
    control_link client;
    control_link store;
};

static void open_scene(card_scene &desk)
{
    stage_desk_open(desk);
    stage_desk_add(desk, "store", obedient, stage_role::serves);
    program_start(desk.camera.programs[0]);
    fs::create_directory(desk_path("medium"));
    desk.camera.card = { .medium = desk_path("medium"), .place = desk_path("sdcard") };
    stage_desk_connect(desk, desk.client);
}

static void close_scene(card_scene &desk)
{
    control_close(desk.client);
    control_close(desk.store);
    stage_desk_close(desk);
}

// What the store is told next, in short: "mem sdcard_status=1", "nvram sd_total removed".
static std::string store_hears(card_scene &desk)
{
    const json_ptr line = json_parse(stage_desk_receive(desk, desk.store));
    const bool set = json_get_text(line.get(), "do") == "store.set";
    return json_get_text(line.get(), "space") + " " + json_get_text(line.get(), "key") +
           (set ? "=" + json_get_text(line.get(), "value") : " removed");
}

static std::vector<std::string> store_hears_all(card_scene &desk)
{
    std::vector<std::string> lines(4);
    for (std::string &line : lines)
        line = store_hears(desk);
    return lines;
}

static const std::vector<std::string> nothing_in = { "nvram sd_total removed", "nvram sd_free removed",
                                                     "nvram sd_used removed", "mem sdcard_status=1" };

STORY(a_card, is_not_in_at_first_and_the_store_is_told_as_soon_as_it_serves)
{
    card_scene desk;
    open_scene(desk);
    stage_desk_serve(desk, desk.store, "store");
    EXPECT_EQ(store_hears_all(desk), nothing_in);
    EXPECT_FALSE(fs::exists(desk_path("sdcard")));
    close_scene(desk);
}

STORY(a_card, that_is_put_in_can_be_used_and_the_store_has_its_figures)
{
    card_scene desk;
    open_scene(desk);
    stage_desk_serve(desk, desk.store, "store");
    store_hears_all(desk);
    EXPECT_EQ(stage_desk_ask(desk, desk.client, R"({"do":"card","state":"in"})"), R"({"done":{}})");

    std::ofstream(desk_path("sdcard") + "/video") << "1";
    EXPECT_TRUE(fs::exists(desk_path("medium") + "/video"));
    struct statvfs about = {};
    ASSERT_EQ(statvfs(desk_path("medium").c_str(), &about), 0);
    const std::string total = std::to_string(about.f_blocks * about.f_frsize / 1024);
    EXPECT_EQ(store_hears(desk), "nvram sd_total=" + total);
    EXPECT_EQ(store_hears(desk).substr(0, 14), "nvram sd_free=");
    EXPECT_EQ(store_hears(desk).substr(0, 14), "nvram sd_used=");
    EXPECT_EQ(store_hears(desk), "mem sdcard_status=0");
    close_scene(desk);
}

STORY(a_card, that_is_taken_out_cannot_be_found_and_keeps_what_is_on_it)
{
    card_scene desk;
    open_scene(desk);
    stage_desk_ask(desk, desk.client, R"({"do":"card","state":"in"})");
    std::ofstream(desk_path("sdcard") + "/video") << "1";
    stage_desk_serve(desk, desk.store, "store");
    store_hears_all(desk);

    EXPECT_EQ(stage_desk_ask(desk, desk.client, R"({"do":"card","state":"out"})"), R"({"done":{}})");
    EXPECT_EQ(store_hears_all(desk), nothing_in);
    EXPECT_FALSE(fs::exists(desk_path("sdcard") + "/video"));
    struct statvfs about = {};
    EXPECT_NE(statvfs(desk_path("sdcard").c_str(), &about), 0);

    stage_desk_ask(desk, desk.client, R"({"do":"card","state":"in"})");
    EXPECT_TRUE(fs::exists(desk_path("sdcard") + "/video"));
    close_scene(desk);
}

STORY(a_card, may_be_put_in_or_taken_out_twice)
{
    card_scene desk;
    open_scene(desk);
    for (const char *state : { "out", "in", "in", "out", "out" }) {
        EXPECT_EQ(stage_desk_ask(desk, desk.client, std::string(R"({"do":"card","state":")") + state + "\"}"),
                  R"({"done":{}})")
            << state;
    }
    EXPECT_FALSE(fs::exists(desk_path("sdcard")));
    close_scene(desk);
}

STORY(a_card, is_refused_a_place_that_is_taken_or_is_none)
{
    card_scene desk;
    open_scene(desk);
    desk.camera.card.place = desk_path("nowhere") + "/sdcard";
    EXPECT_PRED2(stage_desk_is_refusal, stage_desk_ask(desk, desk.client, R"({"do":"card","state":"in"})"),
                 "cannot be changed: No such file");
    EXPECT_PRED2(stage_desk_is_refusal, stage_desk_ask(desk, desk.client, R"({"do":"card","state":"half"})"),
                 R"(is \"in\" or \"out\")");
    desk.camera.card = {};
    EXPECT_PRED2(stage_desk_is_refusal, stage_desk_ask(desk, desk.client, R"({"do":"card","state":"in"})"),
                 "no place for a card");
    close_scene(desk);
}
