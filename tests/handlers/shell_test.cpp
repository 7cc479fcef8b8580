// SPDX-License-Identifier: MIT
// A shell command as a request, and the level of the log.
#include "handlers/maintenance.h"

#include "fakes/daemon_desk.h"

struct shell : kit_desk {
    int asked(const std::string &message)
    {
        return local_handler_shell(message.c_str(), 7, out, sizeof(out));
    }

    char out[1024] = "";
};

TEST_F(shell, answers_with_the_output_as_an_error)
{
    libc.popen_output = "wlan0 is up\n";
    EXPECT_EQ(asked(R"({"params":"ifconfig"})"), 0);
    EXPECT_STREQ(out, "{\"id\":7,\"error\":{\"code\":-33020,\"message\":\"wlan0 is up\n\"}}");
    EXPECT_EQ(story(), (texts{ "debug: local_handler_shell: shell cmd: ifconfig\n",
                               "debug: run cmd: ifconfig\n", R"(popen("ifconfig", r))", "pclose()" }));
}

TEST_F(shell, answers_without_output_too)
{
    libc.popen_fails = true;
    EXPECT_EQ(asked(R"({"params":"ifconfig"})"), 0);
    EXPECT_STREQ(out, R"({"id":7,"error":{"code":-33020,"message":""}})");
}

TEST_F(shell, takes_the_first_879_characters_of_the_output)
{
    libc.popen_output = std::string(2000, 'x');
    EXPECT_EQ(asked(R"({"params":"x"})"), 0);
    EXPECT_EQ(out, R"({"id":7,"error":{"code":-33020,"message":")" + std::string(879, 'x') + "\"}}");
    EXPECT_TRUE(logged("warning: outsize (880) too small\n"));
}

TEST_F(shell, writes_no_more_than_there_is_room)
{
    libc.popen_output = "output";
    memset(out, '#', sizeof(out));
    EXPECT_EQ(local_handler_shell(R"({"params":"x"})", 7, out, 10), 0);
    EXPECT_STREQ(out, R"({"id":7,")");
    EXPECT_EQ(out[10], '#');
}

TEST_F(shell, of_what_is_no_json_is_logged)
{
    EXPECT_EQ(asked("nonsense"), -1);
    EXPECT_EQ(story(), texts{ "warning: local_handler_shell: Not in json format: nonsense\n" });
    EXPECT_STREQ(out, "");
}

struct bad_shell_request : shell, testing::WithParamInterface<const char *> {};

TEST_P(bad_shell_request, fails_without_a_word)
{
    EXPECT_EQ(asked(GetParam()), -1);
    EXPECT_EQ(story(), texts{});
    EXPECT_STREQ(out, "");
}

INSTANTIATE_TEST_SUITE_P(messages, bad_shell_request,
                         testing::Values("{}", "[]", R"({"params":null})", R"({"params":["ls"]})",
                                         R"({"params":1})"));

struct level_row {
    const char *name;
    const char *level;
    texts expected;
};

struct log_level : kit_desk, testing::WithParamInterface<level_row> {};

TEST_P(log_level, becomes_a_priority_or_is_refused)
{
    otd_set_loglevel((R"({"params":{"loglevel":)" + std::string(GetParam().level) + "}}").c_str());
    EXPECT_EQ(story(), GetParam().expected);
}

// clang-format off
static const level_row level_rows[] = {
    { "error",      "0",       { "log_set_syslog_level(3)" } },
    { "warning",    "1",       { "log_set_syslog_level(4)" } },
    { "info",       "2",       { "log_set_syslog_level(6)" } },
    { "debug",      "3",       { "log_set_syslog_level(7)" } },
    { "everything", "4",       { "log_set_syslog_level(7)" } },
    { "too_high",   "5",       { "err: get loglevel fail :5\n" } },
    { "negative",   "-1",      { "err: get loglevel fail :-1\n" } },
    { "a_text",     R"("1")",  { "log_set_syslog_level(4)" } },
    { "a_fraction", "2.9",     { "log_set_syslog_level(6)" } },
    { "a_boolean",  "true",    { "log_set_syslog_level(4)" } },
    { "a_null",     "null",    { "log_set_syslog_level(3)" } },
    { "huge",       "9999999999", { "err: get loglevel fail :2147483647\n" } },
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(levels, log_level, testing::ValuesIn(level_rows),
                         [](const auto &row) { return row.param.name; });

struct log_level_missing : kit_desk, testing::WithParamInterface<const char *> {};

TEST_P(log_level_missing, ends_quietly)
{
    EXPECT_EQ(otd_set_loglevel(GetParam()), -1);
    EXPECT_EQ(story(), texts{});
}

INSTANTIATE_TEST_SUITE_P(messages, log_level_missing,
                         testing::Values("{}", R"({"params":{}})", R"({"params":[3]})", R"({"params":null})",
                                         R"({"loglevel":3})", "nonsense"));
