// SPDX-License-Identifier: MIT
// A "get_properties" request as a whole: which entries it gets, in which order, and how much of it.
#include "spec_desk.h"

#include "fakes/memory.h"

struct get_request : spec_desk {
    // The request as it stands.
    void handle(const std::string &text)
    {
        nubo_spec_handle_get_properties(snapshot, 7, text.c_str());
    }
};

TEST_F(get_request, is_answered_in_one_piece_with_its_log_line_first)
{
    snapshot.power = 1;
    get(element(2, 1) + "," + element(2, 2), 501);
    std::string answer =
        R"({"id" : 501,"result" : [{"did" : "1234567","siid" : 2,"piid" : 1,"value" : true,"code" : 0},)"
        R"({"did" : "1234567","siid" : 2,"piid" : 2,"value" : 0,"code" : 0}]})";
    EXPECT_EQ(story(), (texts{ "debug: [nubo_spec]<ack> " + answer, to_cloud(answer) }));
    EXPECT_EQ(sends().front().flags, 0);
}

TEST_F(get_request, without_elements_gets_an_empty_answer)
{
    get("");
    EXPECT_EQ(sent_texts(), texts{ R"({"id" : 7,"result" : []})" });
}

struct unanswered : get_request, testing::WithParamInterface<const char *> {};

TEST_P(unanswered, gets_no_reply)
{
    handle(GetParam());
    EXPECT_EQ(story(), texts{});
}

INSTANTIATE_TEST_SUITE_P(requests, unanswered,
                         testing::Values("", "{", R"({"id":7})", R"([{"params":[]}])", "5",
                                         R"({"id":7,"properties":[{"siid":2,"piid":1}]})"));

struct no_array : get_request, testing::WithParamInterface<const char *> {};

TEST_P(no_array, has_no_elements)
{
    handle(std::string(R"({"params":)") + GetParam() + "}");
    EXPECT_EQ(sent_texts(), texts{ reply("") });
}

INSTANTIATE_TEST_SUITE_P(params, no_array,
                         testing::Values("null", "5", R"("text")", R"({"siid":2,"piid":1})"));

struct unknown_pair {
    int siid, piid;
};

struct unknown_property : get_request, testing::WithParamInterface<unknown_pair> {};

TEST_P(unknown_property, is_refused_with_its_numbers_as_received)
{
    int siid = GetParam().siid, piid = GetParam().piid;
    get(element(siid, piid));
    EXPECT_EQ(calls(), texts{ to_cloud(reply(entry_missing(siid, piid))) });
    EXPECT_EQ(log_lines().front(),
              "err: siid " + std::to_string(siid) + " have no piid " + std::to_string(piid) + " !");
}

static std::string pair_name(const testing::TestParamInfo<unknown_pair> &info)
{
    std::string name = std::to_string(info.param.siid) + "_" + std::to_string(info.param.piid);
    std::replace(name.begin(), name.end(), '-', 'm');
    return name;
}

INSTANTIATE_TEST_SUITE_P(pairs, unknown_property,
                         testing::Values(unknown_pair{ 1, 0 }, unknown_pair{ 1, 5 }, unknown_pair{ 2, 0 },
                                         unknown_pair{ 2, 4 }, unknown_pair{ 2, 10 }, unknown_pair{ 2, -1 },
                                         unknown_pair{ 4, 0 }, unknown_pair{ 4, 5 }, unknown_pair{ 5, 0 },
                                         unknown_pair{ 5, 6 }, unknown_pair{ 7, 0 }, unknown_pair{ 7, 4 },
                                         unknown_pair{ 7, 12 }, unknown_pair{ 9, 4 }, unknown_pair{ 9, 12 },
                                         unknown_pair{ 10, 0 }, unknown_pair{ 10, 4 }, unknown_pair{ 10, 5 },
                                         unknown_pair{ 10, 7 }, unknown_pair{ 10, 10 },
                                         unknown_pair{ 10, 13 }, unknown_pair{ 11, 0 }, unknown_pair{ 11, 4 },
                                         unknown_pair{ 12, 0 }, unknown_pair{ 12, 2 },
                                         unknown_pair{ 12, 2147483647 }),
                         pair_name);

struct unknown_service : get_request, testing::WithParamInterface<unknown_pair> {};

TEST_P(unknown_service, leaves_an_empty_entry_without_a_word)
{
    get(element(GetParam().siid, GetParam().piid));
    EXPECT_EQ(calls(), texts{ to_cloud(reply("")) });
    EXPECT_EQ(log_lines().size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(pairs, unknown_service,
                         testing::Values(unknown_pair{ 0, 0 }, unknown_pair{ 0, 1 }, unknown_pair{ 3, 0 },
                                         unknown_pair{ 3, 2 }, unknown_pair{ 6, 1 }, unknown_pair{ 8, 1 },
                                         unknown_pair{ 12, 1 }, unknown_pair{ 13, 1 }, unknown_pair{ -2, 1 },
                                         unknown_pair{ 2147483647, 1 }),
                         pair_name);

TEST_F(get_request, shows_an_empty_entry_by_its_commas)
{
    std::string known = element(3, 1);
    std::string answer = entry_value(3, 1, "false");
    get(element(6, 1) + "," + known + "," + element(13, 1) + "," + known + "," + element(6, 1));
    EXPECT_EQ(sent_texts(), texts{ reply("," + answer + ",," + answer + ",") });
}

TEST_F(get_request, mixes_known_unknown_and_aliased_pairs)
{
    store.values = { { "nvram/human_detection_enable", "on" } };
    get(element(7, 1) + "," + element(7, 12) + "," + element(9, 1) + "," + element(3, 9) + "," +
        element(2, 4) + "," + element(7, 3));
    EXPECT_EQ(sent_texts(), texts{ reply(entry_value(7, 1, "true") + "," + entry_missing(7, 12) + "," +
                                         entry_value(9, 1, "true") + ",," + entry_missing(2, 4) + "," +
                                         entry_value(7, 3, "false")) });
}

TEST_F(get_request, names_the_devices_own_id_whatever_was_asked)
{
    get(R"({"did":"7654321","siid":3,"piid":1},{"siid":3,"piid":1})");
    EXPECT_EQ(sent_texts(), texts{ reply(entry_value(3, 1, "false") + "," + entry_value(3, 1, "false")) });
}

TEST_F(get_request, swaps_the_night_mode_anew_for_each_entry)
{
    get(element(2, 3) + "," + element(2, 3) + "," + element(2, 3));
    EXPECT_EQ(sent_texts(), texts{ reply(entry_value(2, 3, "2") + "," + entry_value(2, 3, "0") + "," +
                                         entry_value(2, 3, "2")) });
    EXPECT_EQ(snapshot.night, 0);
}

TEST_F(get_request, starts_the_night_mode_afresh)
{
    get(element(2, 3));
    get(element(2, 3));
    EXPECT_EQ(sent_texts(), (texts{ reply(entry_value(2, 3, "2")), reply(entry_value(2, 3, "2")) }));
}

TEST_F(get_request, takes_what_an_element_lacks_from_the_one_before)
{
    get(element(2, 5) + R"(,{"piid":6},{"siid":3,"piid":"1"},{"siid":4,"piid":1},{},{"siid":2.0})");
    EXPECT_EQ(sent_texts(), texts{ reply(entry_value(2, 5, "false") + "," + entry_value(2, 6, "false") +
                                         ",," + entry_value(4, 1, "0") + "," + entry_value(4, 1, "0") + "," +
                                         entry_value(4, 1, "0")) });
}

TEST_F(get_request, begins_at_zero_for_what_the_first_element_lacks)
{
    get(element(2, 1));
    get(R"({"piid":1},{"siid":2})");
    EXPECT_EQ(sent_texts().back(), reply("," + entry_value(2, 1, "false")));
}

TEST_F(get_request, repeats_the_entry_before_for_an_element_that_is_no_object)
{
    get(element(3, 1) + R"(,5,"text",[1],true,1.5)");
    std::string same = entry_value(3, 1, "false");
    EXPECT_EQ(sent_texts(),
              texts{ reply(same + "," + same + "," + same + "," + same + "," + same + "," + same) });
    EXPECT_FALSE(log_mentions("Not in json format"));
}

TEST_F(get_request, logs_a_null_element_as_no_json_once_a_number)
{
    get(element(3, 1) + ",null");
    EXPECT_EQ(sent_texts(), texts{ reply(entry_value(3, 1, "false") + "," + entry_value(3, 1, "false")) });
    texts lines = log_lines();
    lines.pop_back();
    EXPECT_EQ(lines, (texts{ "err: json_verify_get_int: Not in json format: null\n",
                             "err: json_verify_get_int: Not in json format: null\n" }));
}

TEST_F(get_request, shows_the_largest_numbers_it_can_hold)
{
    get(R"({"siid":99999999999,"piid":-99999999999},{"siid":2,"piid":99999999999})");
    EXPECT_EQ(sent_texts(), texts{ reply("," + entry_missing(2, 2147483647)) });
}

TEST_F(get_request, cuts_an_entry_at_999_characters)
{
    store.values = { { "nvram/vendor", std::string(5000, 'v') } };
    get(element(1, 1) + "," + element(3, 1));
    std::string whole = entry_value(1, 1, '"' + std::string(5000, 'v') + '"');
    EXPECT_EQ(sent_texts(), texts{ reply(whole.substr(0, 999) + "," + entry_value(3, 1, "false")) });
}

TEST_F(get_request, keeps_an_entry_of_999_characters_whole)
{
    size_t frame = entry_value(1, 1, R"("")").size();
    std::string vendor(999 - frame, 'v');
    store.values = { { "nvram/vendor", vendor } };
    get(element(1, 1));
    EXPECT_EQ(sent_texts(), texts{ reply(entry_value(1, 1, '"' + vendor + '"')) });
}

TEST_F(get_request, is_answered_whole_however_long_the_answer_is)
{
    store.values = { { "mem/focus_time", std::string(900, 't') } };
    std::string elements = element(10, 3);
    std::string answers = entry_value(10, 3, '"' + std::string(900, 't') + '"');
    std::string one = answers;
    for (int i = 1; i < 100; i++) {
        elements += "," + element(10, 3);
        answers += "," + one;
    }
    get(elements);
    EXPECT_EQ(sent_texts(), texts{ reply(answers) });
}

TEST_F(get_request, is_not_sent_without_a_socket_but_logged)
{
    for (int sock : { 0, -1 }) {
        record_clear();
        sends_reset();
        nubo_spec_init("1234567", sock, nullptr);
        get(element(3, 1));
        EXPECT_EQ(story(), texts{ "debug: [nubo_spec]<ack> " + reply(entry_value(3, 1, "false")) });
    }
}

TEST_F(get_request, that_finds_no_memory_gets_no_reply_and_one_line)
{
    std::string elements = element(1, 3);
    for (int i = 0; i < 60; i++)
        elements += "," + element(1, 3);
    std::string text = R"({"params":[)" + elements + "]}";
    int failures = 0;
    for (int nth = 1;; nth++) {
        record_clear();
        sends_reset();
        json_text message(text.c_str());
        allocation_fails(nth);
        nubo_spec_handle_get_properties(snapshot, 7, message);
        if (!allocation_failed())
            break;
        failures++;
        EXPECT_EQ(story(), texts{ "err: nubo_spec_handle_get_properties: out of memory\n" });
    }
    EXPECT_GE(failures, 2) << "the first memory, and more when the answer grows";
    EXPECT_EQ(sent_texts().size(), 1U);
}
