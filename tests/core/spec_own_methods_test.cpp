// SPDX-License-Identifier: MIT
// Properties that are set by calling the daemon's own methods: what the cloud hears of it, what is written,
// and what happens when the method or the store refuses.
#include "spec_routing_desk.h"

struct own_method {
    const char *name;
    const char *element;
    int siid, piid;
    texts sent; // after the acknowledgement
    texts written;
};

// What a faked call says on the wire: the two that fill the dispatcher's buffer answer a second time, the
// power is reported, the rest is silent.
// clang-format off
static const own_method own_methods[] = {
    { "power",         R"("siid":2,"piid":1,"value":false)", 2, 1,
      { R"({"id":501,"method":"props","params":{"power":"off"}})" }, { nvram_set("power", "off") } },
    { "flip",          R"("siid":2,"piid":2,"value":180)",   2, 2, {}, { nvram_set("flip", "on") } },
    { "night_mode",    R"("siid":2,"piid":3,"value":0)",     2, 3,
      { R"({"id":7,"result":["OK"]})" }, { nvram_set("night_mode", "2") } },
    { "wdr",           R"("siid":2,"piid":5,"value":true)",  2, 5, {}, { nvram_set("wdr", "on") } },
    { "full_color",    R"("siid":2,"piid":6,"value":false)", 2, 6, {}, { nvram_set("full_color", "off") } },
    { "motion_record", R"("siid":2,"piid":7,"value":2)",     2, 7,
      { R"({ "id": 7, "result": 1 })" }, { nvram_set("motion_record", "stop") } },
    { "watermark",     R"("siid":2,"piid":9,"value":true)",  2, 9, {}, { nvram_set("watermark", "on") } },
    { "light",         R"("siid":3,"piid":1,"value":false)", 3, 1, {}, { nvram_set("light", "off") } },
};
// clang-format on

struct set_by_own_method : spec_routing, testing::WithParamInterface<own_method> {};

TEST_P(set_by_own_method, is_acknowledged_then_called_and_written)
{
    const own_method &row = GetParam();
    request("set_properties", row.element);
    texts expected = { set_reply(row.siid, row.piid) };
    expected.insert(expected.end(), row.sent.begin(), row.sent.end());
    EXPECT_EQ(sent_texts(), expected);
    EXPECT_TRUE(in_order(row.written));
    EXPECT_EQ(rpc_origin, 1);
}

TEST_P(set_by_own_method, tells_the_cloud_nothing_of_a_store_that_does_not_take_it)
{
    const own_method &row = GetParam();
    texts expected = { set_reply(row.siid, row.piid) };
    expected.insert(expected.end(), row.sent.begin(), row.sent.end());

    store.set_result = false;
    request("set_properties", row.element);
    EXPECT_EQ(sent_texts(), expected);
    EXPECT_TRUE(in_order({ row.written.front(), "err: nvram send set value cmd fail.\n" }));

    selvar_nvram_exit();
    platform.next_random_id = 501;
    sends_reset();
    record_clear();
    request("set_properties", row.element);
    EXPECT_EQ(sent_texts(), expected);
    EXPECT_TRUE(logged("err: selvar uninit.\n"));
}

INSTANTIATE_TEST_SUITE_P(properties, set_by_own_method, testing::ValuesIn(own_methods),
                         [](const auto &row) { return row.param.name; });

struct refused_method {
    const char *name;
    const char *element;
    int siid, piid;
    texts complaints;
    texts sent; // after the acknowledgement
};

static const char refused[] = "err: ota status:1 \n";

// The two that have the dispatcher send what they wrote have written nothing.
// clang-format off
static const refused_method refused_methods[] = {
    { "power",         R"("siid":2,"piid":1,"value":false)", 2, 1,
      { "err: OTA status current is true, Could not set power status\n" }, {} },
    { "flip",          R"("siid":2,"piid":2,"value":180)",   2, 2, { refused }, {} },
    { "night_mode",    R"("siid":2,"piid":3,"value":0)",     2, 3,
      { refused, "err: kiVO.night_mode fail\n" }, { "" } },
    { "wdr",           R"("siid":2,"piid":5,"value":true)",  2, 5, { refused }, {} },
    { "full_color",    R"("siid":2,"piid":6,"value":false)", 2, 6, { refused }, {} },
    { "motion_record", R"("siid":2,"piid":7,"value":2)",     2, 7, { refused }, { "" } },
    { "watermark",     R"("siid":2,"piid":9,"value":true)",  2, 9, { refused }, {} },
    { "light",         R"("siid":3,"piid":1,"value":false)", 3, 1, { refused }, {} },
};
// clang-format on

static texts complaints()
{
    texts lines = log_lines();
    std::erase_if(lines, [](const std::string &line) { return line.starts_with("debug: "); });
    return lines;
}

struct set_during_an_update : spec_routing, testing::WithParamInterface<refused_method> {
    set_during_an_update()
    {
        kit.ota = 1;
    }
};

TEST_P(set_during_an_update, is_acknowledged_and_refused)
{
    const refused_method &row = GetParam();
    request("set_properties", row.element);
    texts expected = { set_reply(row.siid, row.piid) };
    expected.insert(expected.end(), row.sent.begin(), row.sent.end());
    EXPECT_EQ(sent_texts(), expected);
    EXPECT_EQ(calls().size(), expected.size()) << "nothing is written, and no light changes";
    EXPECT_EQ(complaints(), row.complaints);
}

INSTANTIATE_TEST_SUITE_P(properties, set_during_an_update, testing::ValuesIn(refused_methods),
                         [](const auto &row) { return row.param.name; });

TEST_F(spec_routing, of_what_no_method_sets_goes_on_during_an_update)
{
    kit.ota = 1;
    request("set_properties", R"("siid":2,"piid":1,"value":false},{"siid":2,"piid":8,"value":true},)"
                              R"({"siid":5,"piid":2,"value":30)");
    EXPECT_EQ(sent_texts().size(), 1U);
    EXPECT_EQ(calls_of("libselvar_set_value"),
              (texts{ mem_set("track_switch", "on"), nvram_set("motion_alarm_interval", "30") }));
}

TEST_F(spec_routing, of_entries_that_the_store_refuses_goes_on_to_the_last)
{
    store.set_result = false;
    request("set_properties", R"("siid":2,"piid":7,"value":2},{"siid":2,"piid":1,"value":false},)"
                              R"({"siid":2,"piid":8,"value":true)");
    EXPECT_EQ(calls_of("libselvar_set_value"),
              (texts{ nvram_set("motion_record", "stop"), nvram_set("power", "off"),
                      mem_set("track_switch", "on") }));
    ASSERT_EQ(sent_texts().size(), 3U);
    EXPECT_EQ(sent_texts()[1], R"({ "id": 7, "result": 1 })");
    EXPECT_EQ(sent_texts()[2], R"({"id":501,"method":"props","params":{"power":"off"}})");
}

TEST_F(spec_routing, of_an_unknown_night_mode_answers_twice_too)
{
    request("set_properties", R"("siid":2,"piid":3,"value":9)");
    EXPECT_EQ(sent_texts(),
              (texts{ set_reply(2, 3), R"({"id":7,"error":{"code":-33020,"message":"unknown set val"}})" }));
}

TEST_F(spec_routing, of_a_cloud_request_after_a_faked_call_is_the_clouds_again)
{
    request("set_properties", R"("siid":2,"piid":2,"value":180)");
    block(R"({"id":8,"method":"set_flip","params":["off"]})");
    EXPECT_EQ(sent_texts().back(), R"({"id":8,"result":["OK"]})");
}
