// SPDX-License-Identifier: MIT
// The setters that take "on" or "off": what they have in common and what each does besides.
#include "handlers/properties.h"

#include "fakes/daemon_desk.h"

struct setter {
    const char *name;
    int (*set)(int sock, const json_text &msg);
    const char *key;
    const char *stamp; // mem key that takes the time of the request, or none
};

static const setter setters[] = {
    { "set_light", set_light, "light", "" },
    { "set_flip", set_flip, "flip", "time_flip" },
    { "set_watermark", set_watermark, "watermark", "" },
    { "set_wdr", set_wdr, "wdr", "time_wdr" },
    { "set_full_color", set_full_color, "full_color", "" },
};

static const char ok[] = R"({"id":7,"result":["OK"]})";

static std::string request(const std::string &params)
{
    return R"({"id":7,"method":"set","params":)" + params + "}";
}

struct on_off_setter : daemon_desk, testing::WithParamInterface<setter> {
    on_off_setter()
    {
        kit.power = 0;
    } // keeps set_light off the leds

    int sets(const std::string &params)
    {
        return GetParam().set(kit.otd_sock, request(params).c_str());
    }

    static texts stamp_calls()
    {
        std::string key = GetParam().stamp;
        return key.empty() ? texts{} : texts{ mem_set_number(key, platform.realtime_ms) };
    }

    static texts expected(texts before, const texts &after)
    {
        texts stamps = stamp_calls();
        before.insert(before.end(), stamps.begin(), stamps.end());
        before.insert(before.end(), after.begin(), after.end());
        return before;
    }
};

TEST_P(on_off_setter, acknowledges_then_writes_on)
{
    EXPECT_EQ(sets(R"(["on"])"), 0);
    EXPECT_EQ(calls(), expected({ to_cloud(ok) }, { nvram_set(GetParam().key, "on") }));
}

TEST_P(on_off_setter, acknowledges_then_writes_off)
{
    EXPECT_EQ(sets(R"(["off"])"), 0);
    EXPECT_EQ(calls(), expected({ to_cloud(ok) }, { nvram_set(GetParam().key, "off") }));
}

TEST_P(on_off_setter, logs_the_request_before_anything_else)
{
    sets(R"(["on"])");
    EXPECT_EQ(story().front(), "debug: msg: " + request(R"(["on"])") + "\n");
}

TEST_P(on_off_setter, answers_on_the_cloud_clients_socket_whatever_socket_the_request_came_from)
{
    GetParam().set(99, request(R"(["on"])").c_str());
    ASSERT_EQ(sends().size(), 1U);
    EXPECT_EQ(sends()[0].fd, kit.otd_sock);
}

TEST_P(on_off_setter, is_silent_for_a_call_of_the_spec_service)
{
    rpc_origin = 1;
    EXPECT_EQ(sets(R"(["on"])"), 0);
    EXPECT_EQ(calls(), expected({}, { nvram_set(GetParam().key, "on") }));
}

TEST_P(on_off_setter, during_an_update_acknowledges_and_changes_nothing)
{
    kit.ota = 1;
    EXPECT_EQ(sets(R"(["on"])"), -1);
    EXPECT_EQ(calls(), texts{ to_cloud(ok) });
    EXPECT_TRUE(logged("err: ota status:1 \n"));
}

TEST_P(on_off_setter, joins_the_elements_of_params)
{
    EXPECT_EQ(sets(R"(["o","n"])"), 0);
    EXPECT_TRUE(called(nvram_set(GetParam().key, "on")));
}

TEST_P(on_off_setter, writes_nothing_for_any_other_text)
{
    for (const char *params : { R"(["ON"])", R"(["Off"])", R"(["on "])", R"([])", R"([1])", R"([true])",
                                R"("on")", R"({"a":"on"})", "null", R"(["on","off"])", R"(["toggle"])" }) {
        record_clear();
        EXPECT_EQ(sets(params), 0) << params;
        EXPECT_EQ(calls(), expected({ to_cloud(ok) }, {})) << params;
    }
}

TEST_P(on_off_setter, without_params_writes_nothing)
{
    EXPECT_EQ(GetParam().set(kit.otd_sock, R"({"id":7})"), 0);
    EXPECT_EQ(calls(), expected({ to_cloud(ok) }, {}));
}

TEST_P(on_off_setter, leaves_its_flag_to_the_notification)
{
    const kit_state before = kit;
    sets(R"(["off"])");
    sets(R"(["on"])");
    EXPECT_EQ(kit.light, before.light);
    EXPECT_EQ(kit.flip, before.flip);
    EXPECT_EQ(kit.watermark, before.watermark);
    EXPECT_EQ(kit.color, before.color);
}

INSTANTIATE_TEST_SUITE_P(setters, on_off_setter, testing::ValuesIn(setters),
                         [](const auto &row) { return row.param.name; });

struct wdr_setter : daemon_desk {};

TEST_F(wdr_setter, changes_its_flag_at_once)
{
    set_wdr(kit.otd_sock, request(R"(["on"])").c_str());
    EXPECT_EQ(kit.wdr, 1);
    set_wdr(kit.otd_sock, request(R"(["off"])").c_str());
    EXPECT_EQ(kit.wdr, 0);
    EXPECT_FALSE(log_mentions("already"));
}

TEST_F(wdr_setter, says_that_it_is_on_already_and_sets_it_again)
{
    kit.wdr = 2;
    set_wdr(kit.otd_sock, request(R"(["on"])").c_str());
    EXPECT_TRUE(logged("debug: otd_set_wdr_process: WDR current is already enabled\n"));
    EXPECT_TRUE(called(nvram_set("wdr", "on")));
    EXPECT_EQ(kit.wdr, 1);
}

TEST_F(wdr_setter, says_that_it_is_off_already_when_it_is_not_1)
{
    kit.wdr = 2;
    set_wdr(kit.otd_sock, request(R"(["off"])").c_str());
    EXPECT_TRUE(log_mentions(": otd_set_wdr_process: WDR current is already disabled\n"));
    EXPECT_TRUE(called(nvram_set("wdr", "off")));
    EXPECT_EQ(kit.wdr, 0);
}

TEST_F(wdr_setter, keeps_its_flag_for_any_other_text_though_it_stamps_the_time)
{
    kit.wdr = 1;
    set_wdr(kit.otd_sock, request(R"(["ON"])").c_str());
    EXPECT_EQ(kit.wdr, 1);
    EXPECT_EQ(calls(), (texts{ to_cloud(ok), mem_set_number("time_wdr", platform.realtime_ms) }));
}

struct light_setter : daemon_desk {};

TEST_F(light_setter, shows_light_on_at_priority_2_when_the_camera_is_on)
{
    set_light(kit.otd_sock, request(R"(["on"])").c_str());
    EXPECT_EQ(calls(), (texts{ to_cloud(ok), led(1, 0, 1, 0, 0, 2), led(0, 50, 0, 0, 0, 2), led_priority(1),
                               nvram_set("light", "on") }));
}

TEST_F(light_setter, turns_the_leds_off_when_the_camera_is_on)
{
    set_light(kit.otd_sock, request(R"(["off"])").c_str());
    EXPECT_EQ(calls(), (texts{ to_cloud(ok), led(1, 0, 1, 0, 0, 2), led(0, 0, 1, 0, 0, 2),
                               nvram_set("light", "off") }));
}

TEST_F(light_setter, leaves_the_leds_alone_when_the_power_flag_is_not_1)
{
    kit.power = 2;
    set_light(kit.otd_sock, request(R"(["on"])").c_str());
    EXPECT_EQ(calls(), (texts{ to_cloud(ok), nvram_set("light", "on") }));
}

TEST_F(light_setter, leaves_the_leds_alone_for_any_other_text)
{
    set_light(kit.otd_sock, request(R"(["dim"])").c_str());
    EXPECT_EQ(calls(), texts{ to_cloud(ok) });
}

struct improve_program_setter : daemon_desk {};

TEST_F(improve_program_setter, writes_without_acknowledging)
{
    std::string message = request(R"(["on"])");
    EXPECT_EQ(set_improve_program(message.c_str()), 0);
    EXPECT_EQ(story(), (texts{ "debug: msg: " + message + "\n", nvram_set("improve_program", "on") }));
}

TEST_F(improve_program_setter, writes_off)
{
    set_improve_program(request(R"(["off"])").c_str());
    EXPECT_EQ(calls(), texts{ nvram_set("improve_program", "off") });
}

TEST_F(improve_program_setter, writes_also_during_an_update)
{
    kit.ota = 1;
    EXPECT_EQ(set_improve_program(request(R"(["on"])").c_str()), 0);
    EXPECT_EQ(calls(), texts{ nvram_set("improve_program", "on") });
}

TEST_F(improve_program_setter, writes_nothing_for_any_other_text)
{
    EXPECT_EQ(set_improve_program(request(R"(["maybe"])").c_str()), 0);
    EXPECT_EQ(set_improve_program(request("\"on\"").c_str()), 0);
    EXPECT_EQ(calls(), texts{});
}

TEST_F(improve_program_setter, leaves_its_flag_to_the_notification)
{
    set_improve_program(request(R"(["on"])").c_str());
    EXPECT_EQ(kit.improve_program, 0);
}
