// SPDX-License-Identifier: MIT
// A "set_properties" request as a whole, what one entry leaves to the next, and the calls of the daemon's own
// methods.
#include "spec_desk.h"

#include "fakes/failing.h"
#include "fakes/memory.h"

struct set_request : spec_desk {
    static void handle(const std::string &text)
    {
        nubo_spec_handle_set_properties(7, text.c_str(), static_cast<int>(text.size()));
    }
};

TEST_F(set_request, is_acknowledged_in_one_piece_with_its_log_line_before_anything_is_done)
{
    set(element(7, 1, "true") + "," + element(2, 8, "true"), 501);
    std::string ack = R"({"id" : 501,"result" : [{"did" : "1234567","siid" : 7,"piid" : 1,"code" : 0},)"
                      R"({"did" : "1234567","siid" : 2,"piid" : 8,"code" : 0}]})";
    EXPECT_EQ(story(), (texts{ ack_line(ack), to_cloud(ack), nvram_set("human_detection_enable", "on"),
                               mem_set("track_switch", "on") }));
    EXPECT_EQ(sends().front().flags, 0);
}

TEST_F(set_request, may_bring_its_entries_as_properties)
{
    handle(R"({"id":7,"properties":[{"siid":7,"piid":1,"value":true}]})");
    EXPECT_EQ(calls(),
              (texts{ to_cloud(reply(entry_set(7, 1))), nvram_set("human_detection_enable", "on") }));
}

TEST_F(set_request, with_both_names_is_what_stands_first)
{
    handle(R"({"properties":[{"siid":5,"piid":2,"value":1}],"params":[{"siid":5,"piid":2,"value":2}]})");
    handle(R"({"params":[{"siid":5,"piid":2,"value":2}],"properties":[{"siid":5,"piid":2,"value":1}]})");
    EXPECT_EQ(calls_of("libselvar_set_value"),
              (texts{ nvram_set("motion_alarm_interval", "1"), nvram_set("motion_alarm_interval", "2") }));
}

TEST_F(set_request, without_elements_is_acknowledged_as_such)
{
    set("");
    EXPECT_EQ(calls(), texts{ to_cloud(R"({"id" : 7,"result" : []})") });
}

struct not_set : set_request, testing::WithParamInterface<const char *> {};

TEST_P(not_set, is_neither_acknowledged_nor_logged)
{
    handle(GetParam());
    EXPECT_EQ(story(), texts{});
}

INSTANTIATE_TEST_SUITE_P(requests, not_set,
                         testing::Values("", "{", R"({"id":7,"values":[]})", R"([{"params":[]}])", "5"));

TEST_F(set_request, whose_entries_are_no_array_has_none)
{
    for (const char *entries : { "null", "5", "{}", R"("text")" }) {
        sends_reset();
        handle(std::string(R"({"params":)") + entries + "}");
        EXPECT_EQ(sent_texts(), texts{ reply("") }) << entries;
    }
}

TEST_F(set_request, acknowledges_what_does_not_exist_and_goes_on)
{
    set(element(7, 12, "true") + "," + element(1, 1, R"("x")") + "," + element(99, 99, "1") + "," +
        element(9, 2, "true"));
    const std::string ack =
        reply(entry_set(7, 12) + "," + entry_set(1, 1) + "," + entry_set(99, 99) + "," + entry_set(9, 2));
    EXPECT_EQ(story(),
              (texts{ ack_line(ack), to_cloud(ack), nvram_set("report_motion_detection_switch", "on") }));
}

// A write of each kind, and a call of one of the daemon's own methods among them.
struct unlucky_set : set_request {
    void is_handled()
    {
        record_clear();
        sends_reset();
        nubo_spec_handle_set_properties(7, message, 0);
    }

    std::string text = R"({"params":[)" + element(2, 8, "true") + "," + element(5, 2, "30") + "," +
                       element(10, 3, R"("t")") + "," + element(2, 1, "true") + "," + element(5, 3, "0") +
                       "," + element(10, 12, R"("20")") + "," + element(11, 3, "true") + "]}";
    json_text message = text.c_str();
    const texts expected = { to_cloud(reply(entry_set(2, 8) + "," + entry_set(5, 2) + "," + entry_set(10, 3) +
                                            "," + entry_set(2, 1) + "," + entry_set(5, 3) + "," +
                                            entry_set(10, 12) + "," + entry_set(11, 3))),
                             mem_set("track_switch", "on"),
                             nvram_set("motion_alarm_interval", "30"),
                             mem_set_unlimited("focus_time", "t"),
                             called_method("set_power", "\"on\""),
                             nvram_set("motion_region", region_off),
                             mem_set("focus_collect_time", "20"),
                             nvram_set("sound_alarm_enable", "on") };
};

TEST_F(unlucky_set, is_applied_to_its_last_entry_whichever_call_fails)
{
    int failures = 0;
    for (int nth = 1;; nth++) {
        call_fails(nth);
        is_handled();
        EXPECT_EQ(calls(), expected) << nth;
        if (!call_failed())
            break;
        failures++;
    }
    EXPECT_EQ(failures, 8) << "the acknowledgement, six writes, and the parsing of what is called";
}

TEST_F(unlucky_set, asks_a_store_that_refuses_for_everything)
{
    store.set_result = false;
    is_handled();
    EXPECT_EQ(calls(), expected);
}

TEST_F(unlucky_set, goes_through_with_a_store_that_is_closed)
{
    selvar_nvram_exit();
    is_handled();
    const std::string uninit = "err: selvar uninit.\n";
    EXPECT_TRUE(
        in_order({ expected.front(), uninit, uninit,
                   "libselvar_set_value(no handle, mem, default, focus_time, 1, \"t\", none, none, 0, 0)",
                   called_method("set_power", "\"on\""), uninit, uninit, uninit }));
    EXPECT_EQ(calls().size(), 3U);
}

TEST_F(set_request, takes_numbers_that_an_entry_lacks_from_the_one_before)
{
    set(element(5, 2, "30") +
        R"(,{"piid":3,"value":0},{"siid":10,"piid":"6","value":7},{"siid":5,"piid":2},5)");
    EXPECT_EQ(sent_texts(), texts{ reply(entry_set(5, 2) + "," + entry_set(5, 3) + "," + entry_set(10, 3) +
                                         "," + entry_set(5, 2) + "," + entry_set(5, 2)) });
    EXPECT_EQ(calls_of("libselvar_set_value"),
              (texts{ nvram_set("motion_alarm_interval", "30"), nvram_set("motion_region", region_off),
                      mem_set_unlimited("focus_time", ""), nvram_set("motion_alarm_interval", "0"),
                      nvram_set("motion_alarm_interval", "0") }));
}

TEST_F(set_request, begins_at_zero_in_each_of_its_two_passes)
{
    set(R"({"value":true},{"siid":2,"piid":8,"value":true})");
    EXPECT_EQ(calls(), (texts{ to_cloud(reply(entry_set(0, 0) + "," + entry_set(2, 8))),
                               mem_set("track_switch", "on") }));
}

TEST_F(set_request, logs_a_null_entry_as_no_json_in_both_passes_and_for_its_value)
{
    set(element(2, 8, "true") + ",null");
    const std::string number = "err: json_verify_get_int: Not in json format: null\n";
    EXPECT_TRUE(in_order({ number, number, to_cloud(reply(entry_set(2, 8) + "," + entry_set(2, 8))), number,
                           number, "err: json_verify_get_boolean: Not in json format: null\n" }));
    EXPECT_EQ(calls_of("libselvar_set_value").size(), 2U);
}

struct holder_row {
    const char *story;
    std::string entries;
    texts calls; // after the acknowledgement
};

// A value that cannot be read leaves its holder as an entry before has left it.
static const holder_row holders[] = {
    { "a_boolean",
      element(2, 8, "true") + "," + element(7, 1, "1") + "," + element(7, 2),
      { mem_set("track_switch", "on"), nvram_set("human_detection_enable", "on"),
        nvram_set("report_motion_detection_switch", "on") } },
    { "a_boolean_of_the_last_that_could_be_read",
      element(2, 8, "true") + "," + element(7, 1, "false") + "," + element(7, 2, R"("x")"),
      { mem_set("track_switch", "on"), nvram_set("human_detection_enable", "off"),
        nvram_set("report_motion_detection_switch", "off") } },
    { "a_number",
      element(5, 2, "30") + "," + element(5, 3, R"("x")") + "," + element(10, 6, "true"),
      { nvram_set("motion_alarm_interval", "30"), nvram_set("motion_region", region_on),
        mem_set("focus_area_in_time", "30") } },
    { "a_text_that_was_converted_to_a_number",
      element(10, 12, R"("20")") + "," + element(10, 6, R"("7")") + "," + element(5, 2),
      { mem_set("focus_collect_time", "20"), mem_set("focus_area_in_time", "20"),
        nvram_set("motion_alarm_interval", "20") } },
    { "a_number_before_what_converts_texts",
      element(5, 2, "30") + "," + element(10, 12, "true") + "," + element(10, 12),
      { nvram_set("motion_alarm_interval", "30"), mem_set("focus_collect_time", "30"),
        mem_set("focus_collect_time", "30") } },
    { "but_no_text",
      element(5, 4, R"("08:00")") + "," + element(5, 5, "5"),
      { mem_set("detection_start", "08:00"), mem_set("detection_end", "") } },
    { "a_boolean_is_no_number",
      element(2, 8, "true") + "," + element(5, 2, "true"),
      { mem_set("track_switch", "on"), nvram_set("motion_alarm_interval", "0") } },
    { "over_entries_that_are_skipped",
      element(5, 2, "30") + "," + element(99, 1, "99") + "," + element(1, 1, "5") + "," + element(5, 2),
      { nvram_set("motion_alarm_interval", "30"), nvram_set("motion_alarm_interval", "30") } },
};

struct holder : spec_desk, testing::WithParamInterface<holder_row> {};

TEST_P(holder, keeps)
{
    set(GetParam().entries);
    texts after = calls();
    after.erase(after.begin());
    EXPECT_EQ(after, GetParam().calls);
}

INSTANTIATE_TEST_SUITE_P(from_entry_to_entry, holder, testing::ValuesIn(holders),
                         [](const auto &row) { return row.param.story; });

TEST_F(set_request, starts_with_empty_holders)
{
    set(element(2, 8, "true") + "," + element(5, 2, "30"));
    record_clear();
    set(element(7, 1) + "," + element(10, 8));
    EXPECT_EQ(calls_of("libselvar_set_value"),
              (texts{ nvram_set("human_detection_enable", "off"), mem_set("focus_area_out_time", "0") }));
}

TEST_F(set_request, swaps_the_night_mode_in_the_holder_itself)
{
    set(element(2, 3, "0") + "," + element(2, 3) + "," + element(2, 3) + "," + element(2, 7));
    EXPECT_EQ(
        calls_of("dispatch"),
        (texts{ called_method("set_night_mode", "2"), called_method("set_night_mode", "0"),
                called_method("set_night_mode", "2"), called_method("set_motion_record", "\"stop\"") }));
}

TEST_F(set_request, calls_methods_and_writes_in_the_order_of_its_entries)
{
    set(element(5, 1, "true") + "," + element(2, 1, "true") + "," + element(2, 8, "true"), 33);
    EXPECT_TRUE(in_order(
        { nvram_set("motion_detection_enable", "on"),
          R"(debug: [spec_set_rpc][1323]camwarden rpc : {"id":33,"method":"set_power","params":["on"]})",
          called_method("set_power", "\"on\"", 33), mem_set("track_switch", "on") }));
}

TEST_F(set_request, is_acknowledged_whole_however_long_that_is)
{
    std::string elements = element(1, 1);
    std::string entries = entry_set(1, 1);
    for (int i = 0; i < 80; i++) {
        elements += "," + element(1, 1);
        entries += "," + entry_set(1, 1);
    }
    set(elements);
    EXPECT_GT(entries.size(), 2000U);
    EXPECT_EQ(sent_texts(), texts{ reply(entries) });
}

TEST_F(set_request, with_an_unterminated_device_id_is_acknowledged_with_twenty_characters)
{
    nubo_spec_init("12345678901234567890ABCDEF", kit.otd_sock, dispatch_recorded);
    set(element(1, 1));
    EXPECT_EQ(
        sent_texts(),
        texts{
            R"({"id" : 7,"result" : [{"did" : "12345678901234567890","siid" : 1,"piid" : 1,"code" : 0}]})" });
}

TEST_F(set_request, is_applied_also_without_a_socket)
{
    nubo_spec_init("1234567", -1, dispatch_recorded);
    set(element(2, 8, "true"));
    EXPECT_EQ(story(), (texts{ ack_line(reply(entry_set(2, 8))), mem_set("track_switch", "on") }));
}

TEST_F(set_request, that_finds_no_memory_is_not_applied_and_logs_one_line)
{
    std::string elements = element(2, 8, "true");
    for (int i = 0; i < 60; i++)
        elements += "," + element(2, 8, "true");
    std::string text = R"({"params":[)" + elements + "]}";
    json_text message(text.c_str());
    int failures = 0;
    for (int nth = 1;; nth++) {
        record_clear();
        allocation_fails(nth);
        nubo_spec_handle_set_properties(7, message, 0);
        if (!allocation_failed())
            break;
        failures++;
        EXPECT_EQ(story(), texts{ "err: nubo_spec_handle_set_properties: out of memory\n" });
    }
    EXPECT_GE(failures, 2);
}

struct faked_call : spec_desk {};

TEST_F(faked_call, of_kind_1_passes_a_text)
{
    EXPECT_EQ(spec_set_rpc(-3, "set_wdr", "on", 1), 77);
    EXPECT_EQ(
        story(),
        (texts{ R"(debug: [spec_set_rpc][1323]camwarden rpc : {"id":-3,"method":"set_wdr","params":["on"]})",
                dispatched(R"({"id":-3,"method":"set_wdr","params":["on"]})") }));
}

TEST_F(faked_call, of_kind_2_passes_a_number)
{
    spec_set_rpc(7, "set_night_mode", "12abc", 2);
    EXPECT_EQ(calls(), texts{ dispatched(R"({"id":7,"method":"set_night_mode","params":[12]})") });
}

TEST_F(faked_call, of_another_kind_passes_an_empty_text)
{
    for (int kind : { 0, 3, -1 }) {
        record_clear();
        EXPECT_EQ(spec_set_rpc(7, "set_wdr", "on", kind), 77);
        EXPECT_EQ(story(), (texts{ "debug: [spec_set_rpc][1323]camwarden rpc : ", dispatched("") }));
    }
}

TEST_F(faked_call, is_cut_at_999_characters)
{
    spec_set_rpc(7, "set_wdr", std::string(2000, 'x').c_str(), 1);
    std::string whole = R"({"id":7,"method":"set_wdr","params":[")" + std::string(2000, 'x');
    EXPECT_EQ(calls(), texts{ dispatched(whole.substr(0, 999)) });
}

TEST_F(faked_call, before_the_service_knows_the_dispatcher_fails)
{
    nubo_spec_init("1234567", kit.otd_sock, nullptr);
    EXPECT_EQ(spec_set_rpc(7, "set_wdr", "on", 1), -1);
}

TEST_F(faked_call, can_be_answered_for_one_property)
{
    next_send_gives(5, 0);
    std::string answer = R"({"id" : 9,"result" : [{"did" : "1234567","siid" : 7,"piid" : -1,"code" : 0}]})";
    EXPECT_EQ(nubo_spec_response(9, 7, -1), 5);
    EXPECT_EQ(story(),
              (texts{ "debug: [nubo_spec_response][165]set properties ack : " + answer, to_cloud(answer) }));
}

TEST_F(faked_call, is_not_answered_without_memory_or_socket)
{
    allocation_fails(1);
    EXPECT_EQ(nubo_spec_response(9, 7, 1), -1);
    EXPECT_TRUE(allocation_failed());
    EXPECT_EQ(story(), texts{ "err: nubo_spec_response: out of memory\n" });

    nubo_spec_init("1234567", 0, nullptr);
    EXPECT_EQ(nubo_spec_response(9, 7, 1), -1);
    EXPECT_EQ(sent_texts(), texts{});
}
