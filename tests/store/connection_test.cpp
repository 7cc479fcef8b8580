// SPDX-License-Identifier: MIT
// Opening, serving and closing the one connection; what a closed one answers.
#include "store_desk.h"

TEST_F(closed_store, opening_yields_the_descriptor_to_poll)
{
    store.fd = 40;
    EXPECT_EQ(selvar_nvram_init(note_delivery), 40);
    EXPECT_EQ(calls(),
              (texts{ "libselvar_config_open(0)", "libselvar_handle_other()", "libselvar_client_fd()" }));
    EXPECT_EQ(log_lines(), texts{ "debug: selvar fd is 40\n" });
}

TEST_F(closed_store, a_store_that_is_absent_is_a_failure_with_its_line)
{
    store.open_fails = true;
    EXPECT_EQ(selvar_nvram_init(note_delivery), -1);
    EXPECT_EQ(calls(), texts{ "libselvar_config_open(0)" });
    EXPECT_EQ(log_lines(), texts{ "err: libselvar_open faild.\n" });
}

TEST_F(closed_store, a_store_that_was_absent_can_be_opened_later)
{
    store.open_fails = true;
    selvar_nvram_init(note_delivery);
    store.open_fails = false;
    EXPECT_EQ(selvar_nvram_init(note_delivery), 40);
}

struct store_without_a_descriptor : closed_store, testing::WithParamInterface<int> {};

TEST_P(store_without_a_descriptor, is_closed_before_it_is_opened_again)
{
    store.fd = GetParam();
    EXPECT_EQ(selvar_nvram_init(note_delivery), GetParam());
    EXPECT_EQ(calls_of("libselvar_close"), texts{});
    record_clear();
    store.fd = 40;
    EXPECT_EQ(selvar_nvram_init(note_delivery), 40);
    EXPECT_EQ(calls(), (texts{ "libselvar_close()", "libselvar_config_open(0)", "libselvar_handle_other()",
                               "libselvar_client_fd()" }));
    EXPECT_EQ(store_open_handles(), 1);
}

INSTANTIATE_TEST_SUITE_P(descriptors, store_without_a_descriptor, testing::Values(0, -1));

TEST_F(open_store, closing_twice_closes_once)
{
    EXPECT_EQ(selvar_nvram_exit(), 0);
    EXPECT_EQ(selvar_nvram_exit(), 0);
    EXPECT_EQ(calls(), texts{ "libselvar_close()" });
    EXPECT_EQ(log_lines(), texts{});
}

TEST_F(closed_store, closing_what_never_opened_does_nothing)
{
    EXPECT_EQ(selvar_nvram_exit(), 0);
    EXPECT_EQ(story(), texts{});
}

TEST_F(open_store, a_served_response_is_success)
{
    EXPECT_EQ(selvar_nvram_response(), 0);
    EXPECT_EQ(story(), texts{ "libselvar_xhandle_response()" });
}

TEST_F(open_store, a_connection_that_is_gone_is_minus_two)
{
    store.response_result = false;
    EXPECT_EQ(selvar_nvram_response(), -2);
    EXPECT_EQ(log_lines(), texts{ "err: selvar response failed.\n" });
}

struct closed_operation {
    const char *name;
    int (*run)();
};

struct on_a_closed_store : closed_store, testing::WithParamInterface<closed_operation> {};

TEST_P(on_a_closed_store, every_operation_logs_and_refuses)
{
    EXPECT_EQ(GetParam().run(), -1);
    EXPECT_EQ(story(), texts{ "err: selvar uninit.\n" });
}

TEST_P(on_a_closed_store, also_after_a_close)
{
    selvar_nvram_init(note_delivery);
    selvar_nvram_exit();
    record_clear();
    EXPECT_EQ(GetParam().run(), -1);
    EXPECT_EQ(story(), texts{ "err: selvar uninit.\n" });
}

static char buffer[16];

static const closed_operation operations[] = {
    { "response", [] { return selvar_nvram_response(); } },
    { "nvram_set_string", [] { return selvar_nvram_set_string("power", "on", 0); } },
    { "mem_set_string", [] { return selvar_mem_set_string("dev_status", "normal", 0); } },
    { "mem_set_uint64", [] { return selvar_mem_set_uint64("time_flip", 1); } },
    { "mem_get_string", [] { return selvar_mem_get_string("dev_status", buffer, sizeof(buffer)); } },
    { "register_notify", [] { return selvar_nvram_register_notify("mem", "led_cmd"); } },
    { "unregister_notify", [] { return selvar_nvram_unregister_notify("mem", "led_cmd"); } },
    { "unset", [] { return selvar_nvram_unset("mem", "sound_play"); } },
    { "restore", [] { return selvar_nvram_restore(); } },
    { "sync", [] { return selvar_nvram_sync(); } },
};

INSTANTIATE_TEST_SUITE_P(operations, on_a_closed_store, testing::ValuesIn(operations),
                         [](const auto &row) { return row.param.name; });

TEST_F(closed_store, the_unlimited_write_passes_a_closed_handle_to_the_library)
{
    EXPECT_EQ(selvar_mem_set_unlimit_len("focus_time", 1, "text"), 0);
    EXPECT_EQ(
        story(),
        texts{ R"(libselvar_set_value(no handle, mem, default, focus_time, 1, "text", none, none, 0, 0))" });
}
