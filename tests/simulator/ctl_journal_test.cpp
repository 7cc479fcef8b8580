// SPDX-License-Identifier: MIT
// What the tool makes of the journal: readable lines, when a camera is up, what belongs to a call.
#include "ctl/journal_reader.h"
#include "ctl/ready.h"
#include "ctl/render.h"
#include "ctl/talk.h"

#include "harness.h"

#include <fstream>
#include <thread>

static std::string rendered(const std::string &line)
{
    return render_entry(json_parse(line).get());
}

TEST(ctl_render, gives_time_who_and_what)
{
    EXPECT_EQ(
        rendered(
            R"({"n":12,"ms":3204,"who":"store","what":"set","space":"nvram","key":"power","value":"off","by":"daemon"})"),
        "       3.204  store   nvram power = off  (by daemon)");
}

TEST(ctl_render, leaves_out_what_a_line_does_not_have)
{
    EXPECT_EQ(
        rendered(
            R"({"n":1,"ms":60001,"who":"stage","what":"exit","program":"cloud","signal":9,"restart_ms":100})"),
        "      60.001  stage   cloud ended by signal 9, starts again in 100 ms");
    EXPECT_EQ(rendered(R"({"n":1,"ms":0,"who":"stage","what":"exit","program":"daemon","status":255})"),
              "       0.000  stage   daemon ended with status 255");
}

TEST(ctl_render, names_the_level_of_a_log_line_and_takes_its_line_end_away)
{
    EXPECT_EQ(
        rendered(R"({"n":1,"ms":7,"who":"daemon","what":"log","level":4,"text":"key: did, msg: null\n"})"),
        "       0.007  daemon  warning: key: did, msg: null");
    EXPECT_EQ(rendered(R"({"n":1,"ms":7,"who":"daemon","what":"log","level":7,"text":"no line end"})"),
              "       0.007  daemon  debug: no line end");
}

TEST(ctl_render, names_a_property_that_has_a_name)
{
    EXPECT_EQ(
        rendered(
            R"({"n":1,"ms":7,"who":"cloud","what":"reported","property":"2.3","name":"night_mode","value":0})"),
        "       0.007  cloud   reported 2.3 night_mode = 0");
    EXPECT_EQ(rendered(R"({"n":1,"ms":7,"who":"cloud","what":"reported","property":"0.0","value":true})"),
              "       0.007  cloud   reported 0.0 = true");
}

TEST(ctl_render, stays_on_one_line_whatever_the_text_holds)
{
    EXPECT_EQ(rendered(R"({"n":1,"ms":7,"who":"cloud","what":"received","text":"a\nb\tc\u001b[2J\r\n"})"),
              "       0.007  cloud   <- a\\nb c?[2J");
}

TEST(ctl_render, shows_what_it_does_not_know_with_all_members)
{
    EXPECT_EQ(rendered(R"({"n":1,"ms":7,"who":"stage","what":"eclipse","depth":3,"of":"sun"})"),
              "       0.007  stage   eclipse depth=3 of=sun");
}

TEST(ctl_render, does_not_take_braces_in_a_text_for_its_own)
{
    EXPECT_EQ(rendered(R"({"n":1,"ms":7,"who":"cloud","what":"sent","text":"{\"id\":[{text}]}"})"),
              "       0.007  cloud   -> {\"id\":[{text}]}");
}

static void takes(readiness &ready, const std::string &line)
{
    ready_take(ready, json_parse(line).get());
}

static const std::string serves = R"({"who":"cloud","what":"announced","method":"set_properties"})";
static const std::string network_up = R"({"who":"cloud","what":"network","status":"cloud_connected"})";
static const std::string bound_before = R"({"who":"cloud","what":"bound","before":true})";
static const std::string bound_now = R"({"who":"cloud","what":"bound","before":false})";
static const std::string stored =
    R"({"who":"store","what":"set","space":"nvram","key":"bind_status","value":"ok"})";
static const std::string normal =
    R"({"who":"store","what":"set","space":"mem","key":"dev_status","value":"normal"})";

static std::string missing_after(const std::vector<std::string> &lines, bool wants_binding = true)
{
    readiness ready;
    ready.wants_binding = wants_binding;
    for (const std::string &line : lines)
        takes(ready, line);
    return ready_missing(ready);
}

TEST(ctl_ready, new_camera_is_up_once_its_binding_is_stored_and_the_daemon_says_normal_again)
{
    EXPECT_EQ(missing_after({ serves, network_up, normal, bound_now, stored, normal }), "");
    EXPECT_EQ(missing_after({ serves, network_up, normal, bound_now, stored }),
              "the daemon has not taken notice of the network");
    EXPECT_EQ(missing_after({ serves, network_up, bound_now, normal }),
              "the daemon has not stored its binding");
}

TEST(ctl_ready, bound_camera_is_up_in_whatever_order_its_neighbours_write)
{
    EXPECT_EQ(missing_after({ serves, network_up, normal, bound_before }), "");
    EXPECT_EQ(missing_after({ serves, network_up, bound_before, normal }), "");
}

TEST(ctl_ready, unbound_camera_waits_for_no_binding)
{
    EXPECT_EQ(missing_after({ serves, network_up, normal }, false), "");
    EXPECT_NE(missing_after({ serves, network_up, normal }, true), "");
}

TEST(ctl_ready, says_what_is_missing)
{
    EXPECT_EQ(missing_after({}), "the daemon has not announced its methods");
    EXPECT_EQ(missing_after({ serves, normal }), "the cloud client has not reached the cloud");
}

TEST(ctl_talk, tells_a_reply_from_a_report_and_from_what_is_none_of_ours)
{
    EXPECT_EQ(talk_kind(R"({"id":7,"result":["OK"]})", 7), message_kind::reply);
    EXPECT_EQ(talk_kind(R"({ "id": 7, "error": { "code": -33020 } })", 7), message_kind::reply);
    EXPECT_EQ(talk_kind(R"({"id":8,"result":["OK"]})", 7), message_kind::other);
    EXPECT_EQ(talk_kind(R"({"id":99,"method":"props","params":{"power":"off"}})", 7), message_kind::report);
    EXPECT_EQ(talk_kind(R"({"id":7,"method":"properties_changed"})", 7), message_kind::report);
    EXPECT_EQ(talk_kind(R"({"id":99,"method":"local.query_time","params":null})", 7), message_kind::other);
    EXPECT_EQ(talk_kind(R"({"method":"register","key":"get_prop"})", 7), message_kind::other);
    EXPECT_EQ(talk_kind("no json", 7), message_kind::report);
    EXPECT_EQ(talk_kind(R"({"id" : 7,"result" : [,{"did" : "1"}]})", 7), message_kind::reply);
    EXPECT_EQ(talk_kind(R"({"id" : 77,"result" : [,{"did" : "1"}]})", 7), message_kind::report);
}

STORY(ctl_journal, lines_are_read_while_they_are_written)
{
    journal_reader reader;
    journal_reader_open(reader, desk_path(""), false);
    EXPECT_EQ(journal_reader_next(reader, 0), nullptr);

    std::thread writer([] {
        std::ofstream journal(desk_path("journal"));
        journal << R"({"n":1)" << std::flush << ",\"who\":\"stage\"}\n" << std::flush << "{\"n\":2}\n";
    });
    const json_ptr first = journal_reader_next(reader, 20'000);
    const json_ptr second = journal_reader_next(reader, 20'000);
    writer.join();

    EXPECT_EQ(json_get_text(first.get(), "who"), "stage");
    EXPECT_EQ(json_get_number(second.get(), "n"), 2);
    journal_reader_close(reader);
}

STORY(ctl_journal, lines_that_were_cut_short_are_left_out)
{
    std::ofstream(desk_path("journal")) << "{\"n\":1}\n{\"n\":2,\"who\n{\"n\":3}\n";
    journal_reader reader;
    journal_reader_open(reader, desk_path(""), false);

    EXPECT_EQ(json_get_number(journal_reader_next(reader, 0).get(), "n"), 1);
    EXPECT_EQ(json_get_number(journal_reader_next(reader, 0).get(), "n"), 3);
    EXPECT_EQ(journal_reader_next(reader, 0), nullptr);
    journal_reader_close(reader);
}

STORY(ctl_journal, lines_of_before_are_left_out_when_only_new_ones_are_wanted)
{
    std::ofstream(desk_path("journal")) << "{\"n\":1}\n";
    journal_reader reader;
    journal_reader_open(reader, desk_path(""), true);

    std::ofstream(desk_path("journal"), std::ios::app) << "{\"n\":2}\n";

    EXPECT_EQ(json_get_number(journal_reader_next(reader, 20'000).get(), "n"), 2);
    journal_reader_close(reader);
}
