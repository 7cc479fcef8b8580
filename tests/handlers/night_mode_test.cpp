// SPDX-License-Identifier: MIT
// "set_night_mode": the first element that is a mode counts.
#include "core/dispatcher.h"
#include "handlers/properties.h"

#include "fakes/daemon_desk.h"

static const char ok[] = R"({"id":7,"result":["OK"]})";
static const char unknown[] = R"({"id":7,"error":{"code":-33020,"message":"unknown set val"}})";

static std::string request(const std::string &params)
{
    return R"({"id":7,"method":"set_night_mode","params":)" + params + "}";
}

struct night_mode : daemon_desk {
    char reply[1024] = "";

    int sets(const std::string &params)
    {
        return night_mode_set(request(params).c_str(), 7, reply, sizeof(reply));
    }
};

struct mode_request {
    const char *params;
    const char *stored; // "": nothing
};

struct night_mode_request : night_mode, testing::WithParamInterface<mode_request> {};

TEST_P(night_mode_request, stores_the_first_mode_or_answers_an_error)
{
    bool fits = *GetParam().stored != '\0';
    std::string stored = GetParam().stored;
    EXPECT_EQ(sets(GetParam().params), 0);
    EXPECT_STREQ(reply, fits ? ok : unknown);
    EXPECT_EQ(calls(), fits ? texts{ nvram_set("night_mode", stored) } : texts{});
}

// What is no number counts as json-c converts it.
INSTANTIATE_TEST_SUITE_P(params, night_mode_request,
                         testing::Values(mode_request{ "[0]", "0" }, mode_request{ "[1]", "1" },
                                         mode_request{ "[2]", "2" }, mode_request{ "[5,-1,2]", "2" },
                                         mode_request{ "[1,2]", "1" }, mode_request{ R"(["2"])", "2" },
                                         mode_request{ "[1.9]", "1" }, mode_request{ "[null]", "0" },
                                         mode_request{ "[true]", "1" }, mode_request{ "[false,2]", "0" },
                                         mode_request{ "[[5]]", "0" }, mode_request{ R"([{"mode":5}])", "0" },
                                         mode_request{ R"(["day"])", "0" }, mode_request{ "[3]", "" },
                                         mode_request{ "[7]", "" }, mode_request{ "[-1]", "" },
                                         mode_request{ "[]", "" }, mode_request{ "[4294967296]", "" }));

TEST_F(night_mode, during_an_update_is_refused)
{
    kit.ota = 1;
    EXPECT_EQ(sets("[1]"), -1);
    EXPECT_STREQ(reply, "");
    EXPECT_EQ(calls(), texts{});
    EXPECT_EQ(log_lines().size(), 1U);
    EXPECT_TRUE(log_mentions(": ota status:1 \n"));
}

TEST_F(night_mode, what_is_no_json_is_refused_with_a_warning)
{
    EXPECT_EQ(night_mode_set("[", 7, reply, sizeof(reply)), -1);
    EXPECT_EQ(story(), texts{ "warning: night_mode_set: Not in json format: [\n" });
}

TEST_F(night_mode, missing_params_are_refused)
{
    EXPECT_EQ(night_mode_set(R"({"id":7})", 7, reply, sizeof(reply)), -1);
    EXPECT_EQ(story(), texts{ "debug: params parse error.\n" });
}

TEST_F(night_mode, params_that_are_no_array_are_refused_without_a_line)
{
    EXPECT_EQ(sets("1"), -1);
    EXPECT_EQ(sets(R"({"mode":1})"), -1);
    EXPECT_EQ(story(), texts{});
}

TEST_F(night_mode, leaves_the_mode_to_the_notification)
{
    sets("[2]");
    EXPECT_EQ(kit.night, 0);
}

TEST_F(night_mode, itself_sends_nothing)
{
    sets("[2]");
    EXPECT_EQ(sent_texts(), texts{});
}

TEST_F(night_mode, that_is_unknown_is_told_to_the_cloud_client)
{
    const std::string message = request("[7]");
    msg_dispatcher(message.c_str(), static_cast<int>(message.size()), kit.otd_sock, 0);
    EXPECT_EQ(calls(), texts{ to_cloud(unknown) });
    EXPECT_FALSE(log_mentions("kiVO.night_mode fail"));
}
