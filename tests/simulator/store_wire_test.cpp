// SPDX-License-Identifier: MIT
// Frames on their way between the store and its clients.
#include "store/wire.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

static wire_message some_message()
{
    return { .kind = wire_kind::set,
             .status = wire_status::no_space,
             .id = 0x1122334455667788,
             .space = "nvram",
             .key = "power",
             .value = { wire_type::text, std::string("o\0n\xff", 4) } };
}

static void expect_same(const wire_message &taken, const wire_message &put)
{
    EXPECT_EQ(taken.kind, put.kind);
    EXPECT_EQ(taken.status, put.status);
    EXPECT_EQ(taken.id, put.id);
    EXPECT_EQ(taken.space, put.space);
    EXPECT_EQ(taken.key, put.key);
    EXPECT_EQ(taken.value.type, put.value.type);
    EXPECT_EQ(taken.value.text, put.value.text);
}

TEST(store_wire, a_message_arrives_as_it_was_sent)
{
    wire_buffer buffer;
    wire_message taken;
    ASSERT_TRUE(wire_put(buffer, some_message()));
    ASSERT_EQ(wire_take(buffer, taken), wire_taken::message);
    expect_same(taken, some_message());
    EXPECT_EQ(wire_waiting(buffer), 0U);
}

TEST(store_wire, a_message_arrives_byte_by_byte)
{
    wire_buffer whole;
    wire_buffer arriving;
    wire_message taken;
    ASSERT_TRUE(wire_put(whole, some_message()));
    for (const char byte : whole.bytes) {
        EXPECT_EQ(wire_take(arriving, taken), wire_taken::nothing);
        arriving.bytes += byte;
    }
    ASSERT_EQ(wire_take(arriving, taken), wire_taken::message);
    expect_same(taken, some_message());
}

TEST(store_wire, many_messages_keep_their_order)
{
    wire_buffer buffer;
    wire_message message = some_message();
    for (uint64_t id = 0; id < 20000; ++id) {
        message.id = id;
        ASSERT_TRUE(wire_put(buffer, message));
    }
    for (uint64_t id = 0; id < 20000; ++id) {
        ASSERT_EQ(wire_take(buffer, message), wire_taken::message);
        ASSERT_EQ(message.id, id);
    }
    EXPECT_EQ(wire_take(buffer, message), wire_taken::nothing);
}

TEST(store_wire, what_is_at_its_bounds_passes_and_one_byte_more_is_refused)
{
    wire_buffer buffer;
    wire_message message = some_message();
    message.key.assign(wire_key_max, 'k');
    message.value.text.assign(wire_value_max, 'v');
    ASSERT_TRUE(wire_put(buffer, message));
    wire_message taken;
    ASSERT_EQ(wire_take(buffer, taken), wire_taken::message);
    expect_same(taken, message);

    message.key += 'k';
    EXPECT_FALSE(wire_put(buffer, message));
    message.key = "k";
    message.value.text += 'v';
    EXPECT_FALSE(wire_put(buffer, message));
    message.value.text = "v";
    message.space.assign(256, 's');
    EXPECT_FALSE(wire_put(buffer, message));
    EXPECT_EQ(wire_waiting(buffer), 0U);
}

// The head of a frame, damaged at one place: length (4 bytes), length of the key (2), of the space (1), kind
// (1).
static wire_taken take_damaged(size_t place, const std::vector<unsigned char> &bytes)
{
    wire_buffer buffer;
    wire_message taken;
    wire_put(buffer, some_message());
    memcpy(&buffer.bytes[place], bytes.data(), bytes.size());
    return wire_take(buffer, taken);
}

TEST(store_wire, a_length_below_that_of_a_head_is_malformed)
{
    EXPECT_EQ(take_damaged(0, { 0, 0, 0, 0 }), wire_taken::malformed);
    EXPECT_EQ(take_damaged(0, { 5, 0, 0, 0 }), wire_taken::malformed);
}

TEST(store_wire, a_length_beyond_all_bounds_is_malformed_before_the_rest_has_come)
{
    EXPECT_EQ(take_damaged(0, { 0xff, 0xff, 0xff, 0xff }), wire_taken::malformed);
}

TEST(store_wire, texts_that_are_longer_than_their_frame_are_malformed)
{
    EXPECT_EQ(take_damaged(4, { 0xff, 3 }), wire_taken::malformed);
    EXPECT_EQ(take_damaged(6, { 0xff }), wire_taken::malformed);
}

TEST(store_wire, an_unknown_kind_is_malformed)
{
    EXPECT_EQ(take_damaged(7, { 0 }), wire_taken::malformed);
    EXPECT_EQ(take_damaged(7, { 10 }), wire_taken::malformed);
}

TEST(store_wire, a_number_is_its_shortest_decimal_form)
{
    for (const char *good : { "0", "7", "18446744073709551615" })
        EXPECT_TRUE(wire_value_is_sound({ wire_type::number, good })) << good;
    for (const char *bad : { "", "07", "+7", "-7", " 7", "7 ", "0x7", "7.0", "18446744073709551616" })
        EXPECT_FALSE(wire_value_is_sound({ wire_type::number, bad })) << bad;
}

TEST(store_wire, values_of_no_known_type_are_not_sound)
{
    EXPECT_FALSE(wire_value_is_sound({ wire_type::none, "" }));
    EXPECT_FALSE(wire_value_is_sound({ static_cast<wire_type>(2), "7" }));
}
