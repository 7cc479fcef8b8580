// SPDX-License-Identifier: MIT
// The region lock: what it keeps from the store and serves to the cloud.
#include "modules/lock_region.h"

#include "fakes/daemon_desk.h"

struct lock_region : daemon_desk {
    lock_region()
    {
        dev_lock = {};
    }
    ~lock_region() override
    {
        dev_lock = {};
    }

    void sets(const char *message, const char *method = "set_lock_region_status")
    {
        ozu_lock_region_set_properties(message, 7, reply, method, &flag, kit.otd_sock);
    }

    char reply[1024] = "";
    int32_t flag = 5;
};

static const char set_ok[] = R"({"id":7,"result":["OK"]})";

TEST_F(lock_region, brings_two_nvram_keys_one_empty_mem_slot_and_two_methods)
{
    EXPECT_STREQ(ozu_lock_region_nvram_key[0], "lock_region");
    EXPECT_STREQ(ozu_lock_region_nvram_key[1], "legal_status");
    EXPECT_EQ(ozu_lock_region_mem_key[0], nullptr);
    EXPECT_STREQ(ozu_lock_region_method[0].name, "set_lock_region_status");
    EXPECT_STREQ(ozu_lock_region_method[1].name, "get_lock_region_status");
    EXPECT_EQ(ozu_lock_region_method[0].handler, &ozu_lock_region_set_properties);
    EXPECT_EQ(ozu_lock_region_method[1].handler, &ozu_lock_region_get_properties);
}

TEST_F(lock_region, has_hooks_that_do_nothing)
{
    EXPECT_EQ(ozu_lock_region_init(nullptr), 0);
    ozu_lock_region_msg_handler(nullptr, nullptr, nullptr);
    ozu_lock_region_exit(nullptr);
    EXPECT_EQ(story(), texts{});
}

TEST_F(lock_region, starts_with_both_values_at_zero)
{
    EXPECT_EQ(dev_lock.lock_region, 0);
    EXPECT_EQ(dev_lock.legal_status, 0);
}

struct stored_lock {
    const char *name;
    const char *value;
    int number;
};

struct lock_notification : lock_region, testing::WithParamInterface<stored_lock> {};

TEST_P(lock_notification, sets_the_region)
{
    dev_lock = { 11, 12 };
    ozu_lock_region_selvar_callback("lock_region", GetParam().value);
    EXPECT_EQ(dev_lock.lock_region, GetParam().number);
    EXPECT_EQ(dev_lock.legal_status, 12);
    EXPECT_EQ(story(), texts{ "debug: dev_lock.lock_region: " + std::to_string(GetParam().number) + "\n" });
}

TEST_P(lock_notification, sets_the_legal_status)
{
    dev_lock = { 11, 12 };
    ozu_lock_region_selvar_callback("legal_status", GetParam().value);
    EXPECT_EQ(dev_lock.legal_status, GetParam().number);
    EXPECT_EQ(dev_lock.lock_region, 11);
    EXPECT_EQ(story(), texts{ "debug: dev_lock.legal_status: " + std::to_string(GetParam().number) + "\n" });
}

INSTANTIATE_TEST_SUITE_P(values, lock_notification,
                         testing::Values(stored_lock{ "number", "3", 3 }, stored_lock{ "negative", "-4", -4 },
                                         stored_lock{ "mixed", "5x", 5 }, stored_lock{ "text", "error", 0 },
                                         stored_lock{ "empty", "", 0 }, stored_lock{ "removed", nullptr, 0 }),
                         [](const auto &row) { return row.param.name; });

TEST_F(lock_region, ignores_other_keys)
{
    dev_lock = { 11, 12 };
    ozu_lock_region_selvar_callback("power", "3");
    ozu_lock_region_selvar_callback("lock_region_x", "3");
    EXPECT_EQ(dev_lock.lock_region, 11);
    EXPECT_EQ(dev_lock.legal_status, 12);
    EXPECT_EQ(story(), texts{});
}

struct legal_status_request {
    const char *name;
    const char *params;
    const char *stored; // "": nothing
};

struct setting_the_lock : lock_region, testing::WithParamInterface<legal_status_request> {};

TEST_P(setting_the_lock, stores_what_it_is_given_and_replies_ok)
{
    std::string message = R"({"id":7,"params":)" + std::string(GetParam().params) + "}";
    std::string stored = GetParam().stored;
    sets(message.c_str());
    EXPECT_EQ(calls(), stored.empty() ? texts{} : texts{ nvram_set("legal_status", stored) });
    EXPECT_STREQ(reply, set_ok);
    EXPECT_EQ(flag, 1);
    EXPECT_EQ(log_lines(), texts{ "info: ozu_lock_region_set_properties , msg:" + message + " ... \n" });
    EXPECT_EQ(dev_lock.legal_status, 0) << "it waits for the notification";
}

INSTANTIATE_TEST_SUITE_P(
    params, setting_the_lock,
    testing::Values(legal_status_request{ "number", R"([{"legal_status":1}])", "1" },
                    legal_status_request{ "four_digits", R"([{"legal_status":1234}])", "1234" },
                    legal_status_request{ "five_digits", R"([{"legal_status":12345}])", "1234" },
                    legal_status_request{ "negative", R"([{"legal_status":-12345}])", "-123" },
                    legal_status_request{ "text", R"([{"legal_status":"17"}])", "17" },
                    legal_status_request{ "null_value", R"([{"legal_status":null}])", "" },
                    legal_status_request{ "empty_object", "[{}]", "" },
                    legal_status_request{ "empty", "[]", "" },
                    legal_status_request{ "region", R"([{"lock_region":1}])", "" },
                    legal_status_request{ "second_element", R"([{},{"legal_status":1}])", "" },
                    legal_status_request{ "no_object", "[1]", "" },
                    legal_status_request{ "no_array", "5", "" }),
    [](const auto &row) { return row.param.name; });

TEST_F(lock_region, what_is_no_json_is_refused_and_not_answered)
{
    sets("nonsense");
    EXPECT_EQ(flag, 0);
    EXPECT_STREQ(reply, "");
    EXPECT_TRUE(log_mentions(": ozu_lock_region_set_properties: Not in json format: nonsense\n"));
}

TEST_F(lock_region, a_request_without_params_is_refused_and_not_answered)
{
    sets(R"({"id":7})");
    EXPECT_EQ(flag, 0);
    EXPECT_STREQ(reply, "");
    EXPECT_TRUE(log_mentions(": ozu_lock_region_set_properties: set_props error\n"));
}

TEST_F(lock_region, another_method_leaves_flag_and_reply_alone)
{
    sets(R"({"id":7,"params":[{"legal_status":1}]})", "set_something");
    EXPECT_EQ(flag, 5);
    EXPECT_STREQ(reply, "");
    EXPECT_EQ(calls(), texts{});
}

TEST_F(lock_region, is_read_by_the_cloud)
{
    dev_lock = { 3, -1 };
    ozu_lock_region_get_properties(R"({"id":7})", 7, reply, "get_lock_region_status", &flag, kit.otd_sock);
    const std::string expected = R"({"code":0,"id":7,"result":[{"lock_region":3,"legal_status":-1}]})";
    EXPECT_EQ(reply, expected);
    EXPECT_EQ(flag, 1);
    EXPECT_EQ(story(), texts{ "info: >>>>ackbuf=" + expected + "\n" });
}
