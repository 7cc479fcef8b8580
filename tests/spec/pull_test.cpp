// SPDX-License-Identifier: MIT
// Pulling what the cloud holds: the request, and what each answer stores.
#include "spec_desk.h"

#include "fakes/failing.h"
#include "fakes/memory.h"

#include <cerrno>

struct pull : spec_desk {};

static std::string pull_text(const std::string &id, const std::string &did)
{
    std::string text = R"({"id" : )" + id + R"(,"method":"_sync.spec_get_prop","params":{"properties":[)";
    const char *pairs[] = { R"("siid" : 5,"piid" : 1)", R"("siid" : 5,"piid" : 2)",
                            R"("siid" : 5,"piid" : 3)", R"("siid" : 5,"piid" : 4)",
                            R"("siid" : 5,"piid" : 5)", R"("siid" : 2,"piid" : 8)" };
    for (const char *pair : pairs)
        text += R"({"did":")" + did + "\"," + pair + "},";
    text.pop_back();
    return text + "]}}";
}

TEST_F(pull, asks_for_six_properties_in_one_piece)
{
    store.values["nvram/did"] = "123";
    std::string text = R"({"id" : 17,"method":"_sync.spec_get_prop","params":{"properties":[)"
                       R"({"did":"123","siid" : 5,"piid" : 1},{"did":"123","siid" : 5,"piid" : 2},)"
                       R"({"did":"123","siid" : 5,"piid" : 3},{"did":"123","siid" : 5,"piid" : 4},)"
                       R"({"did":"123","siid" : 5,"piid" : 5},{"did":"123","siid" : 2,"piid" : 8}]}})";
    EXPECT_EQ(get_param_from_spec_service(17), static_cast<int>(text.size()));
    EXPECT_EQ(story(),
              (texts{ store_read("nvram", "did"), "debug: [get_param_from_spec_service][1517] " + text + "\n",
                      to_cloud(text) }));
    EXPECT_EQ(sends().front().flags, 0);
    EXPECT_EQ(g_get_spec_id, 17);
}

TEST_F(pull, without_a_did_in_the_store_has_an_empty_one)
{
    get_param_from_spec_service(-1);
    EXPECT_EQ(sent_texts(), texts{ pull_text("-1", "") });
}

TEST_F(pull, cuts_the_did_at_32_characters)
{
    store.values["nvram/did"] = "0123456789012345678901234567890123456789";
    get_param_from_spec_service(0);
    EXPECT_EQ(sent_texts(), texts{ pull_text("0", "01234567890123456789012345678901") });
    EXPECT_EQ(g_get_spec_id, 0);
}

TEST_F(pull, reads_the_did_each_time)
{
    store.values["nvram/did"] = "1";
    get_param_from_spec_service(1);
    store.values["nvram/did"] = "%s";
    get_param_from_spec_service(2);
    EXPECT_EQ(sent_texts(), (texts{ pull_text("1", "1"), pull_text("2", "%s") }));
    EXPECT_EQ(g_get_spec_id, 2) << "the second replaces the first";
}

TEST_F(pull, without_a_socket_waits_all_the_same)
{
    nubo_spec_init("1234567", 0, nullptr);
    EXPECT_EQ(get_param_from_spec_service(17), -1);
    EXPECT_TRUE(log_mentions("[get_param_from_spec_service][1517] "));
    EXPECT_EQ(sent_texts(), texts{});
    EXPECT_EQ(g_get_spec_id, 17);
}

TEST_F(pull, that_cannot_be_sent_waits_all_the_same)
{
    next_send_gives(-1, EPIPE);
    EXPECT_EQ(get_param_from_spec_service(17), -1);
    EXPECT_EQ(calls(), (texts{ store_read("nvram", "did"), to_cloud(pull_text("17", "")) }));
    EXPECT_EQ(g_get_spec_id, 17);
}

TEST_F(pull, that_finds_no_memory_does_not_wait_for_an_answer)
{
    allocation_fails(1);
    EXPECT_EQ(get_param_from_spec_service(17), -1);
    EXPECT_TRUE(allocation_failed());
    EXPECT_EQ(log_lines(), texts{ "err: get_param_from_spec_service: out of memory\n" });
    EXPECT_EQ(sent_texts(), texts{});
    EXPECT_EQ(g_get_spec_id, -1);
}

struct pulled_row {
    const char *story;
    int siid, piid;
    const char *value; // as JSON; NULL: the element has none
    std::string call;  // "": nothing is stored
};

// clang-format off
static const pulled_row pulled_values[] = {
    { "track_true",              2, 8,   R"("true")",   mem_set("track_switch", "on") },
    { "track_false",             2, 8,   R"("false")",  mem_set("track_switch", "off") },
    { "track_on",                2, 8,   R"("on")",     "" },
    { "track_boolean",           2, 8,   "true",        "" },
    { "track_without",           2, 8,   nullptr,       "" },
    { "detection_true",          5, 1,   R"("true")",   nvram_set("motion_detection_enable", "on") },
    { "detection_false",         5, 1,   R"("false")",  nvram_set("motion_detection_enable", "off") },
    { "detection_boolean",       5, 1,   "true",        "" },
    { "detection_capitals",      5, 1,   R"("True")",   "" },
    { "detection_null",          5, 1,   "null",        "" },
    { "interval",                5, 2,   R"("5")",      nvram_set("motion_alarm_interval", "5") },
    { "interval_word",           5, 2,   R"("often")",  nvram_set("motion_alarm_interval", "often") },
    { "interval_number",         5, 2,   "5",           nvram_set("motion_alarm_interval", "") },
    { "interval_without",        5, 2,   nullptr,       nvram_set("motion_alarm_interval", "") },
    { "region_0",                5, 3,   R"("0")",      nvram_set("motion_region", region_off) },
    { "region_1",                5, 3,   R"("1")",      nvram_set("motion_region", region_on) },
    { "region_2",                5, 3,   R"("2")",      "" },
    { "region_number",           5, 3,   "1",           "" },
    { "start",                   5, 4,   R"("08:00")",  mem_set("detection_start", "08:00") },
    { "start_number",            5, 4,   "8",           mem_set("detection_start", "") },
    { "end",                     5, 5,   R"("20:00")",  mem_set("detection_end", "20:00") },
    { "end_boolean",             5, 5,   "true",        mem_set("detection_end", "") },
    { "ai_light",                7, 12,  R"("true")",   "" },
    { "ai_light_as_service_9",   9, 12,  R"("true")",   "" },
    { "human",                   7, 1,   R"("true")",   "" },
    { "area_name",               10, 1,  R"("sofa")",   mem_set("focus_area_name", "sofa") },
    { "area_name_number",        10, 1,  "1",           mem_set("focus_area_name", "") },
    { "area_region",             10, 2,  R"("[1]")",    mem_set("focus_area_region", "[1]") },
    { "area_region_array",       10, 2,  "[1]",         mem_set("focus_area_region", "") },
    { "focus_time",              10, 3,  R"("t")",      mem_set_unlimited("focus_time", "t") },
    { "focus_time_object",       10, 3,  "{}",          mem_set_unlimited("focus_time", "") },
    { "clockin",                 10, 4,  R"("x")",      "" },
    { "in_time",                 10, 6,  "12",          mem_set("focus_area_in_time", "12") },
    { "in_time_text",            10, 6,  R"("1234")",   mem_set("focus_area_in_time", "123") },
    { "in_time_word",            10, 6,  R"("x")",      mem_set("focus_area_in_time", "0") },
    { "in_time_boolean",         10, 6,  "true",        mem_set("focus_area_in_time", "0") },
    { "out_time",                10, 8,  "-1234",       mem_set("focus_area_out_time", "-12") },
    { "out_time_text",           10, 8,  R"("21")",     mem_set("focus_area_out_time", "21") },
    { "out_time_without",        10, 8,  nullptr,       mem_set("focus_area_out_time", "0") },
    { "scene",                   10, 9,  R"("s")",      mem_set("focus_scene", "s") },
    { "scene_number",            10, 9,  "1.5",         mem_set("focus_scene", "") },
    { "quick_reply",             10, 10, R"("q")",      mem_set_unlimited("focus_quick_reply", "q") },
    { "quick_reply_null",        10, 10, "null",        mem_set_unlimited("focus_quick_reply", "") },
    { "human_in_area",           10, 11, R"("in")",     "" },
    { "collect_time",            10, 12, "1500",        mem_set("focus_collect_time", "150") },
    { "collect_time_text",       10, 12, R"("600")",    mem_set("focus_collect_time", "600") },
    { "collect_time_array",      10, 12, "[6]",         mem_set("focus_collect_time", "0") },
    { "sound_name",              11, 1,  R"("cry")",    "" },
    { "power",                   2, 1,   R"("true")",   "" },
    { "light",                   3, 1,   R"("true")",   "" },
    { "service_0",               0, 0,   R"("true")",   "" },
};
// clang-format on

struct pulled_value : spec_desk, testing::WithParamInterface<pulled_row> {};

TEST_P(pulled_value, is_stored_as_its_row_has_it)
{
    const pulled_row &row = GetParam();
    pulled(element(row.siid, row.piid, row.value ? row.value : ""));
    EXPECT_EQ(story(), row.call.empty() ? texts{} : texts{ row.call });
}

INSTANTIATE_TEST_SUITE_P(rows, pulled_value, testing::ValuesIn(pulled_values),
                         [](const auto &row) { return row.param.story; });

TEST_F(pull, keeps_the_number_from_element_to_element)
{
    pulled(element(10, 6, "12") + "," + element(10, 8, "true") + "," + element(10, 12, R"("600")") + "," +
           element(10, 6));
    EXPECT_EQ(calls(), (texts{ mem_set("focus_area_in_time", "12"), mem_set("focus_area_out_time", "12"),
                               mem_set("focus_collect_time", "600"), mem_set("focus_area_in_time", "600") }));
    record_clear();
    pulled(element(10, 6));
    EXPECT_EQ(calls(), texts{ mem_set("focus_area_in_time", "0") }) << "but not from answer to answer";
}

TEST_F(pull, keeps_no_text)
{
    pulled(element(5, 4, R"("08:00:00")") + "," + element(5, 5) + "," + element(5, 4, R"("09")"));
    EXPECT_EQ(calls(), (texts{ mem_set("detection_start", "08:00:00"), mem_set("detection_end", ""),
                               mem_set("detection_start", "09") }));
}

TEST_F(pull, takes_numbers_that_an_element_lacks_from_the_one_before)
{
    pulled(R"({"value":"x"},)" + element(5, 4, R"("08")") + R"(,{"piid":5,"value":"20"},{"siid":10},"text")");
    EXPECT_EQ(calls(), (texts{ mem_set("detection_start", "08"), mem_set("detection_end", "20") }));
}

TEST_F(pull, logs_a_null_element_as_no_json)
{
    pulled(element(5, 4, R"("08")") + ",null");
    EXPECT_EQ(
        story(),
        (texts{ mem_set("detection_start", "08"), "err: json_verify_get_int: Not in json format: null\n",
                "err: json_verify_get_int: Not in json format: null\n",
                "err: json_verify_get_string: Not in json format: null\n", mem_set("detection_start", "") }));
}

TEST_F(pull, takes_texts_out_of_their_json_form_and_cuts_them)
{
    pulled(element(10, 9,
                   R"("say \"hi\" \\ a\/b)"
                   "\xc3\x28"
                   R"(")") +
           "," + element(10, 3, '"' + std::string(2000, 'x') + '"'));
    EXPECT_EQ(store.values["mem/focus_scene"], "say \"hi\" \\ a/b\xc3\x28");
    EXPECT_EQ(store.values["mem/focus_time"], std::string(999, 'x'));
}

TEST_F(pull, whose_answer_is_no_array_stores_nothing)
{
    for (const char *properties : { "{}", "5", R"("text")", "[]" }) {
        json_ptr parsed(json_tokener_parse(properties));
        get_param_from_spec_service_parse(parsed.get());
    }
    get_param_from_spec_service_parse(nullptr);
    EXPECT_EQ(story(), texts{});
}

// A value of each kind.
struct unlucky_answer : pull {
    static inline const std::string elements =
        element(2, 8, R"("true")") + "," + element(5, 1, R"("false")") + "," + element(5, 2, R"("9")") + "," +
        element(5, 3, R"("0")") + "," + element(10, 3, R"("t")") + "," + element(10, 12, "60");
    static inline const texts stored = {
        mem_set("track_switch", "on"),           nvram_set("motion_detection_enable", "off"),
        nvram_set("motion_alarm_interval", "9"), nvram_set("motion_region", region_off),
        mem_set_unlimited("focus_time", "t"),    mem_set("focus_collect_time", "60"),
    };
};

TEST_F(unlucky_answer, is_stored_to_its_last_element_whichever_write_fails)
{
    json_ptr properties(json_tokener_parse(("[" + elements + "]").c_str()));
    for (int nth = 1; nth <= std::ssize(stored); nth++) {
        record_clear();
        call_fails(nth);
        get_param_from_spec_service_parse(properties.get());
        EXPECT_TRUE(call_failed()) << nth;
        EXPECT_EQ(calls(), stored) << nth;
    }
}

TEST_F(unlucky_answer, asks_a_store_that_refuses_for_everything)
{
    store.set_result = false;
    pulled(elements);
    EXPECT_EQ(calls(), stored);
}

TEST_F(unlucky_answer, goes_through_with_a_store_that_is_closed)
{
    selvar_nvram_exit();
    record_clear();
    pulled(elements);
    const std::string uninit = "err: selvar uninit.\n";
    EXPECT_EQ(story(),
              (texts{ uninit, uninit, uninit, uninit,
                      "libselvar_set_value(no handle, mem, default, focus_time, 1, \"t\", none, none, 0, 0)",
                      uninit }));
}
