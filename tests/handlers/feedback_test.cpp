// SPDX-License-Identifier: MIT
// "app_feedback_device_rpc": the log upload that the app asks for.
#include "handlers/status.h"

#include "fakes/daemon_desk.h"

struct feedback : daemon_desk {};

TEST_F(feedback, that_is_wanted_starts_the_upload_in_the_background)
{
    EXPECT_EQ(app_feedback_device_rpc_parse(R"({"id":1,"params":{"has_feedback":true}})"), 0);
    EXPECT_EQ(story(), (texts{ "err: app_feedback_device_rpc_parse _camwarden\n",
                               "debug: run cmd: /mnt/data/bin/kivo_log 18 &\n",
                               R"(popen("/mnt/data/bin/kivo_log 18 &", r))", "pclose()" }));
}

TEST_F(feedback, that_is_not_wanted_is_only_logged)
{
    EXPECT_EQ(app_feedback_device_rpc_parse(R"({"params":{"has_feedback":false}})"), 0);
    EXPECT_EQ(calls(), texts{});
    EXPECT_TRUE(log_mentions(": has_feedback switch is not true \n"));
}

TEST_F(feedback, without_its_switch_is_refused)
{
    EXPECT_EQ(app_feedback_device_rpc_parse(R"({"params":{}})"), -1);
    EXPECT_EQ(log_lines().size(), 2U);
    EXPECT_TRUE(logged("err: app_feedback_device_rpc_parse _camwarden\n"));
    EXPECT_TRUE(log_mentions(": app_feedback_device_rpc_parse: get has_feedback error\n"));
}

TEST_F(feedback, with_params_that_are_no_object_is_refused)
{
    EXPECT_EQ(app_feedback_device_rpc_parse(R"({"params":["has_feedback"]})"), -1);
    EXPECT_TRUE(log_mentions(": app_feedback_device_rpc_parse: get has_feedback error\n"));
}

struct odd_switch {
    const char *name;
    const char *value;
    const char *type;
};

struct feedback_switch : daemon_desk, testing::WithParamInterface<odd_switch> {};

TEST_P(feedback_switch, of_another_type_is_refused_with_its_number)
{
    std::string message = R"({"params":{"has_feedback":)" + std::string(GetParam().value) + "}}";
    EXPECT_EQ(app_feedback_device_rpc_parse(message.c_str()), -1);
    EXPECT_EQ(calls(), texts{});
    EXPECT_TRUE(log_mentions(": app_feedback_device_rpc_parse: get app_feedback_device_rpc type:" +
                             std::string(GetParam().type) + " error\n"));
}

INSTANTIATE_TEST_SUITE_P(types, feedback_switch,
                         testing::Values(odd_switch{ "null", "null", "0" }, odd_switch{ "real", "1.5", "2" },
                                         odd_switch{ "number", "1", "3" }, odd_switch{ "object", "{}", "4" },
                                         odd_switch{ "array", "[true]", "5" },
                                         odd_switch{ "text", "\"true\"", "6" }),
                         [](const auto &row) { return row.param.name; });
