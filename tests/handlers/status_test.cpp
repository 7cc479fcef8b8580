// SPDX-License-Identifier: MIT
// "local.status": the light pattern and the "dev_status" for each network status.
#include "handlers/leds.h"
#include "handlers/status.h"

#include "fakes/daemon_desk.h"
#include "fakes/failing.h"

struct network_status {
    const char *status;
    texts leds;
    const char *dev_status;
};

static std::string request(const std::string &params)
{
    return R"({"method":"local.status","params":)" + params + "}";
}

static texts followed_by(texts calls, const std::string &last)
{
    calls.push_back(last);
    return calls;
}

static const texts setup_blink = { led(0, 0, 1, 0, 0, 1), led(1, 50, 2, 100, 200, 1) };
static const texts fast_blink = { led(1, 0, 1, 0, 0, 1), led(0, 50, 2, 100, 200, 1) };
static const texts slow_blink = { led(1, 0, 1, 0, 0, 1), led(0, 50, 2, 200, 800, 1) };
static const texts cloud_blink = { led(1, 0, 1, 0, 0, 1), led(0, 50, 2, 5000, 1000, 1) };
static const texts light_on = { led(1, 0, 1, 0, 0, 1), led(0, 50, 0, 0, 0, 1) };
static const texts light_off = { led(1, 0, 1, 0, 0, 2), led(0, 0, 1, 0, 0, 2) };

struct local_status : daemon_desk, testing::WithParamInterface<network_status> {};

TEST_P(local_status, shows_its_pattern_and_writes_its_dev_status)
{
    kit.power = 0; // no led priority, so that the pattern stands alone
    EXPECT_EQ(local_handler_status(request('"' + std::string(GetParam().status) + '"').c_str()), 0);
    EXPECT_EQ(calls(), followed_by(GetParam().leds, mem_set("dev_status", GetParam().dev_status)));
    EXPECT_EQ(kit.status_received, 1);
}

TEST_P(local_status, also_when_the_text_goes_on)
{
    kit.power = 0;
    EXPECT_EQ(local_handler_status(request('"' + std::string(GetParam().status) + "_and_more\"").c_str()), 0);
    EXPECT_EQ(calls(), followed_by(GetParam().leds, mem_set("dev_status", GetParam().dev_status)));
}

TEST_P(local_status, takes_the_led_priority_when_power_and_light_are_on)
{
    kit.power = 1;
    kit.light = 1;
    local_handler_status(request('"' + std::string(GetParam().status) + '"').c_str());
    texts expected = followed_by(GetParam().leds, mem_set("dev_status", GetParam().dev_status));
    expected.insert(expected.begin(), led_priority(1));
    EXPECT_EQ(calls(), expected);
}

TEST_P(local_status, comes_whole_whichever_light_or_write_fails)
{
    const std::string text = request('"' + std::string(GetParam().status) + '"');
    const json_text message(text.c_str());
    texts expected = followed_by(GetParam().leds, mem_set("dev_status", GetParam().dev_status));
    expected.insert(expected.begin(), led_priority(1));
    for (int nth = 1; nth <= std::ssize(expected); nth++) {
        record_clear();
        kit.status_received = 0;
        call_fails(nth);
        EXPECT_EQ(local_handler_status(message), 0) << nth;
        EXPECT_TRUE(call_failed()) << nth;
        EXPECT_EQ(calls(), expected) << nth;
        EXPECT_EQ(kit.status_received, 1) << nth;
    }
}

TEST_P(local_status, shows_its_pattern_while_the_store_is_closed)
{
    kit.power = 0;
    selvar_nvram_exit();
    record_clear();
    EXPECT_EQ(local_handler_status(request('"' + std::string(GetParam().status) + '"').c_str()), 0);
    EXPECT_EQ(calls(), GetParam().leds);
    EXPECT_EQ(story().back(), "err: selvar uninit.\n");
    EXPECT_EQ(kit.status_received, 1);
}

static const network_status statuses[] = {
    { "ap_mode", setup_blink, "ap_mode" },
    { "wifi_ap_mode", setup_blink, "ap_mode" },
    { "sta_mode", fast_blink, "wifi_connecting" },
    { "wifi_connecting", fast_blink, "wifi_connecting" },
    { "wifi_connected", slow_blink, "wifi_connected" },
    { "internet_failed", slow_blink, "internet_failed" },
    { "internet_connected", cloud_blink, "cloud_connecting" },
    { "cloud_trying", cloud_blink, "cloud_connecting" },
    { "cloud_retry", cloud_blink, "cloud_connecting" },
    { "cloud_connected", light_on, "normal" },
};

INSTANTIATE_TEST_SUITE_P(rows, local_status, testing::ValuesIn(statuses),
                         [](const auto &row) { return row.param.status; });

struct unmatched_status : daemon_desk, testing::WithParamInterface<const char *> {};

TEST_P(unmatched_status, changes_no_led_and_no_key_but_counts_as_received)
{
    kit.power = 0;
    EXPECT_EQ(local_handler_status(request('"' + std::string(GetParam()) + '"').c_str()), 0);
    EXPECT_EQ(calls(), texts{});
    EXPECT_EQ(kit.status_received, 1);
}

INSTANTIATE_TEST_SUITE_P(texts, unmatched_status,
                         testing::Values("cloud_connecting", "", "ap", "AP_MODE", " ap_mode", "wifi",
                                         "cloud_connect", "normal"));

struct status_desk : daemon_desk {};

TEST_F(status_desk, an_unmatched_status_still_takes_the_led_priority)
{
    local_handler_status(request("\"cloud_connecting\"").c_str());
    EXPECT_EQ(calls(), texts{ led_priority(1) });
}

TEST_F(status_desk, the_status_is_logged_first)
{
    local_handler_status(request("\"ap_mode\"").c_str());
    EXPECT_EQ(story().front(), "debug: local_handler_status: otd status: ap_mode\n");
}

TEST_F(status_desk, a_light_that_is_off_takes_no_led_priority)
{
    kit.light = 0;
    local_handler_status(request("\"ap_mode\"").c_str());
    EXPECT_EQ(calls_of("torvu_led_setpriority"), texts{});
}

TEST_F(status_desk, connected_while_the_light_is_off_turns_both_leds_off_at_priority_2)
{
    kit.light = 0;
    local_handler_status(request("\"cloud_connected\"").c_str());
    EXPECT_EQ(calls(), followed_by(light_off, mem_set("dev_status", "normal")));
    EXPECT_TRUE(logged("debug: led_final_set light: 0\n"));
}

TEST_F(status_desk, the_final_pattern_follows_the_light_setting)
{
    kit.light = 1;
    led_final_set();
    EXPECT_EQ(story(), (texts{ "debug: led_final_set light: 1\n", light_on[0], light_on[1] }));
}

TEST_F(status_desk, a_light_setting_that_is_not_1_shows_light_off)
{
    kit.light = 2;
    led_final_set();
    EXPECT_EQ(calls(), light_off);
}

struct malformed_status : daemon_desk, testing::WithParamInterface<const char *> {};

TEST_P(malformed_status, is_refused_without_a_line_and_not_counted)
{
    EXPECT_EQ(local_handler_status(GetParam()), -1);
    EXPECT_EQ(story(), texts{});
    EXPECT_EQ(kit.status_received, 0);
}

INSTANTIATE_TEST_SUITE_P(requests, malformed_status,
                         testing::Values(R"({"params":5})", R"({"params":["ap_mode"]})", R"({"params":null})",
                                         R"({"method":"local.status"})", "[]"));

TEST_F(status_desk, what_is_no_json_is_refused_with_a_warning)
{
    EXPECT_EQ(local_handler_status("{ap_mode"), -1);
    EXPECT_EQ(story(), texts{ "warning: local_handler_status: Not in json format: {ap_mode\n" });
}
