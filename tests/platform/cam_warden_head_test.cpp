// SPDX-License-Identifier: MIT
// The head as the library's user finds it: the library, stage's own body, and a clock that the case steps.
#include "cam_warden_camera.h"
#include "cam_warden_desk.h"

#include <libcam_warden.h>

// Waits for the event that ends a move; its text.
static std::string wait_for_stop(void)
{
    constexpr int motor_stop = 2;
    std::string text;
    EXPECT_TRUE(desk_wait([&text] {
        for (const kit_heard_event &entry : kit_heard()) {
            if (entry.event == motor_stop)
                text = entry.text;
        }
        return !text.empty();
    })) << "no stop was told";
    return text;
}

struct move_row {
    int operation;
    const char *text; // NULL: a step
    const char *ends;
    int64_t takes_ms;
};

// One after the other. Pan goes 20 positions in a second, tilt 16; the slower axis counts.
// clang-format off
static const move_row ten_moves[] = {
    { 11, "[80,50]",   "[80,50]",  1500 },
    { 1,  nullptr,     "[75,50]",  250  },
    { 2,  nullptr,     "[80,50]",  250  },
    { 3,  nullptr,     "[80,55]",  312  },
    { 4,  nullptr,     "[80,50]",  312  },
    { 12, "[-30,16]",  "[50,66]",  1500 },
    { 5,  "[50,50]",   "[50,50]",  1000 },
    { 11, "[0,0]",     "[0,0]",    3125 },
    { 11, "[100,100]", "[100,100]", 6250 },
    { 12, "[-20,-64]", "[80,36]",  4000 },
};
// clang-format on

static void expect_move(kit_camera *camera, const move_row &row)
{
    const int64_t start_ms = desk_clock_ms();
    char param[128] = {};
    snprintf(param, sizeof param, "%s", row.text == nullptr ? "" : row.text);
    kit_forget_heard();
    ASSERT_EQ(torvu_motor_control(row.operation, param, row.text == nullptr ? 16 : 128), 0);
    if (row.text == nullptr) {
        EXPECT_STREQ(param, row.ends) << "a step brings the place that it leads to";
    }
    kit_camera_step_to(camera, start_ms + row.takes_ms - row.takes_ms / 100);
    EXPECT_EQ(motor_running_dectect(), 1) << row.operation << " has ended too early";
    kit_camera_step_to(camera, start_ms + row.takes_ms + row.takes_ms / 100 + 1);
    EXPECT_EQ(motor_running_dectect(), 0) << row.operation << " takes too long";
    EXPECT_EQ(wait_for_stop(), row.ends);
}

STORY(the_head, ends_ten_moves_in_time_and_where_it_should)
{
    kit_camera *camera = kit_camera_start();
    ASSERT_EQ(torvu_camwarden_init(kit_note_event), 0);
    for (const move_row &row : ten_moves)
        expect_move(camera, row);
    torvu_camwarden_exit();
    kit_camera_end(camera);
}

STORY(the_head, tells_of_its_way_while_it_moves)
{
    constexpr int motor_update = 3;
    kit_camera *camera = kit_camera_start();
    ASSERT_EQ(torvu_camwarden_init(kit_note_event), 0);
    char target[16] = "[58,50]";
    ASSERT_EQ(torvu_motor_control(11, target, 16), 0);
    kit_camera_step_to(camera, 200);
    ASSERT_TRUE(desk_wait([] { return !kit_heard().empty(); }));
    EXPECT_EQ(kit_heard()[0].event, motor_update);
    EXPECT_EQ(kit_heard()[0].text, "[1,54,50]");
    kit_camera_step_to(camera, 400);
    EXPECT_EQ(wait_for_stop(), "[58,50]");
    torvu_camwarden_exit();
    kit_camera_end(camera);
}

STORY(the_head, turns_by_degrees_and_tells_nobody)
{
    kit_camera *camera = kit_camera_start();
    ASSERT_EQ(torvu_camwarden_init(kit_note_event), 0);
    int degrees = 36;
    ASSERT_EQ(torvu_motor_control(7, &degrees, -1), 0);
    EXPECT_EQ(motor_running_dectect(), 1);
    kit_camera_step_to(camera, 500);
    EXPECT_EQ(motor_running_dectect(), 0);
    char position[16] = {};
    ASSERT_EQ(torvu_motor_control(3, position, 16), 0);
    EXPECT_STREQ(position, "[60,55]") << "it did turn";
    kit_camera_step_to(camera, 2000);
    EXPECT_EQ(wait_for_stop(), "[60,55]");
    EXPECT_EQ(kit_heard().size(), 2U) << "the step's way and its end, nothing of the turn";
    torvu_camwarden_exit();
    kit_camera_end(camera);
}

STORY(the_head, answers_that_it_is_busy)
{
    kit_camera *camera = kit_camera_start();
    ASSERT_EQ(torvu_camwarden_init(kit_note_event), 0);
    char position[16] = {};
    ASSERT_EQ(torvu_motor_control(1, position, 16), 0);
    char centre[16] = "[50,50]";
    EXPECT_LT(torvu_motor_control(1, position, 16), 0);
    EXPECT_LT(torvu_motor_control(5, centre, 16), 0);
    kit_camera_step_to(camera, 250);
    EXPECT_EQ(torvu_motor_control(5, centre, 16), 0);
    torvu_camwarden_exit();
    kit_camera_end(camera);
}

STORY(the_head, answers_that_it_is_at_the_end_of_its_travel)
{
    kit_camera *camera = kit_camera_start();
    ASSERT_EQ(torvu_camwarden_init(kit_note_event), 0);
    char corner[16] = "[0,100]";
    ASSERT_EQ(torvu_motor_control(11, corner, 16), 0);
    kit_camera_step_to(camera, 10'000);
    char position[16] = {};
    EXPECT_LT(torvu_motor_control(1, position, 16), 0);
    EXPECT_STREQ(position, "[0,100]");
    EXPECT_LT(torvu_motor_control(3, position, 16), 0);
    EXPECT_EQ(torvu_motor_control(4, position, 16), 0);
    torvu_camwarden_exit();
    kit_camera_end(camera);
}

STORY(the_head, is_heard_of_no_more_after_an_exit_although_it_moves)
{
    kit_camera *camera = kit_camera_start();
    ASSERT_EQ(torvu_camwarden_init(kit_note_event), 0);
    char target[16] = "[100,50]";
    ASSERT_EQ(torvu_motor_control(11, target, 16), 0);
    ASSERT_EQ(motor_running_dectect(), 1);
    torvu_camwarden_exit();
    EXPECT_EQ(motor_running_dectect(), 0);
    EXPECT_EQ(torvu_motor_control(6, target, 16), -1);
    kit_camera_step_to(camera, 10'000);
    EXPECT_TRUE(desk_wait([] { return !desk_journal_of("head").empty(); })) << "it goes where it was sent";
    EXPECT_TRUE(kit_heard().empty());
    kit_camera_end(camera);
}
