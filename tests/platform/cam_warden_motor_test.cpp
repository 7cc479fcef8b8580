// SPDX-License-Identifier: MIT
// What the device kit makes of a motor operation and of its answer.
#include "cam_warden_desk.h"

#include <libcam_warden.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <thread>

STORY(motor_step, brings_the_new_position)
{
    kit_desk desk;
    kit_start(desk);
    kit_desk_answer(desk, R"({"done":{"result":0,"position":"[45,50]"}})");
    for (int operation = 1; operation <= 4; operation++) {
        char position[16] = {};
        EXPECT_EQ(torvu_motor_control(operation, position, 16), 0);
        EXPECT_STREQ(position, "[45,50]");
        EXPECT_EQ(kit_desk_commands(desk).back(),
                  R"({"operation":)" + std::to_string(operation) + R"(,"length":16,"do":"body.motor"})");
    }
    kit_end(desk);
}

STORY(motor_step, fails_at_the_end_of_travel_and_brings_the_position_nevertheless)
{
    kit_desk desk;
    kit_start(desk);
    kit_desk_answer(desk, R"({"done":{"result":-1,"position":"[0,50]"}})");
    char position[16] = {};
    EXPECT_EQ(torvu_motor_control(1, position, 16), -1);
    EXPECT_STREQ(position, "[0,50]");
    kit_end(desk);
}

STORY(motor_step, never_writes_beyond_the_buffer)
{
    kit_desk desk;
    kit_start(desk);
    kit_desk_answer(desk, R"({"done":{"result":0,"position":"[100,100]"}})");
    char position[16];
    memset(position, 'x', sizeof position);
    EXPECT_EQ(torvu_motor_control(2, position, 4), 0);
    EXPECT_EQ(memcmp(position, "[10\0xxxxxxxxxxxx", sizeof position), 0);
    memset(position, 'x', sizeof position);
    EXPECT_EQ(torvu_motor_control(2, position, -1), 0);
    EXPECT_EQ(position[0], 'x');
    kit_end(desk);
}

STORY(motor_go, hands_over_the_text)
{
    kit_desk desk;
    kit_start(desk);
    char text[128] = "[30,60]";
    EXPECT_EQ(torvu_motor_control(5, text, 16), 0);
    EXPECT_EQ(kit_desk_commands(desk).back(),
              R"({"operation":5,"length":16,"value":"[30,60]","do":"body.motor"})");
    EXPECT_EQ(torvu_motor_control(12, text, 128), 0);
    EXPECT_EQ(kit_desk_commands(desk).back(),
              R"({"operation":12,"length":128,"value":"[30,60]","do":"body.motor"})");
    EXPECT_STREQ(text, "[30,60]") << "and leaves it as it is";
    kit_end(desk);
}

STORY(motor_go, reads_no_more_than_the_length)
{
    kit_desk desk;
    kit_start(desk);
    char text[8] = { '[', '3', '0', ',', '6', '0', ']', '9' };
    EXPECT_EQ(torvu_motor_control(11, text, 7), 0);
    EXPECT_EQ(kit_desk_commands(desk).back(),
              R"({"operation":11,"length":7,"value":"[30,60]","do":"body.motor"})");
    EXPECT_EQ(torvu_motor_control(11, text, -1), 0);
    EXPECT_EQ(kit_desk_commands(desk).back(), R"({"operation":11,"length":-1,"value":"","do":"body.motor"})");
    kit_end(desk);
}

STORY(motor_turn, hands_over_the_degrees)
{
    kit_desk desk;
    kit_start(desk);
    for (int operation = 7; operation <= 10; operation++) {
        int degrees = 30;
        EXPECT_EQ(torvu_motor_control(operation, &degrees, -1), 0);
        EXPECT_EQ(kit_desk_commands(desk).back(), R"({"operation":)" + std::to_string(operation) +
                                                      R"(,"length":-1,"value":30,"do":"body.motor"})");
    }
    kit_end(desk);
}

STORY(motor_stop, hands_over_nothing_and_leaves_the_buffer)
{
    kit_desk desk;
    kit_start(desk);
    kit_desk_answer(desk, R"({"done":{"result":0,"position":"[1,1]"}})");
    char text[16] = {};
    EXPECT_EQ(torvu_motor_control(6, text, 16), 0);
    EXPECT_EQ(kit_desk_commands(desk).back(), R"({"operation":6,"length":16,"do":"body.motor"})");
    EXPECT_STREQ(text, "");
    kit_end(desk);
}

STORY(motor, refuses_a_call_without_parameter)
{
    kit_desk desk;
    kit_start(desk);
    for (int operation = 1; operation <= 12; operation++)
        EXPECT_EQ(torvu_motor_control(operation, nullptr, 16), -1);
    EXPECT_TRUE(kit_desk_commands(desk).empty());
    kit_end(desk);
}

STORY(motor, takes_a_refusal_as_failure)
{
    kit_desk desk;
    kit_start(desk);
    kit_desk_answer(desk, R"({"refused":"no"})");
    char position[16] = {};
    EXPECT_EQ(torvu_motor_control(1, position, 16), -1);
    EXPECT_EQ(motor_running_dectect(), 0);
    kit_end(desk);
}

STORY(motor, tells_whether_the_head_moves)
{
    kit_desk desk;
    kit_start(desk);
    kit_desk_answer(desk, R"({"done":{"running":1}})");
    EXPECT_EQ(motor_running_dectect(), 1);
    EXPECT_EQ(kit_desk_commands(desk).back(), R"({"do":"body.motor_running"})");
    kit_desk_answer(desk, R"({"done":{"running":0}})");
    EXPECT_EQ(motor_running_dectect(), 0);
    kit_end(desk);
}

STORY(motor, may_be_called_from_any_thread)
{
    kit_desk desk;
    kit_start(desk);
    {
        const std::lock_guard<std::mutex> guard(desk.mutex);
        desk.answer = [](json_object *command) {
            const std::string number = std::to_string(json_get_number(command, "value", 1));
            return R"({"done":{"result":)" + number + R"(,"running":)" + number + "}}";
        };
    }
    std::atomic<int> wrong = 0;
    std::vector<std::thread> callers;
    for (int i = 1; i <= 8; i++) {
        callers.emplace_back([i, &wrong] {
            for (int n = 0; n < 50; n++) {
                int degrees = i * 1000 + n;
                wrong += torvu_motor_control(7, &degrees, -1) == degrees ? 0 : 1;
                wrong += motor_running_dectect() == 1 ? 0 : 1;
            }
        });
    }
    for (std::thread &caller : callers)
        caller.join();
    EXPECT_EQ(wrong, 0) << "everybody got the own answer";
    EXPECT_EQ(kit_desk_commands(desk).size(), 800U);
    kit_end(desk);
}
