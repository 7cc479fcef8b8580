// SPDX-License-Identifier: MIT
#include "cam_warden_camera.h"

#include "stage/stage.h"

#include <atomic>
#include <mutex>
#include <thread>

struct kit_camera {
    stage camera;
    std::mutex mutex; // of the camera and its clock
    std::atomic<bool> over = false;
    std::thread thread;
};

static void turn(kit_camera *camera)
{
    while (!camera->over) {
        {
            const std::lock_guard<std::mutex> guard(camera->mutex);
            stage_turn(camera->camera, -1, 1);
        }
        std::this_thread::yield();
    }
}

kit_camera *kit_camera_start(void)
{
    desk_page();
    auto *camera = new kit_camera;
    camera->camera.phase = stage_phase::running;
    EXPECT_TRUE(server_open(camera->camera.control, desk_path("control")));
    camera->thread = std::thread(turn, camera);
    return camera;
}

void kit_camera_end(kit_camera *camera)
{
    camera->over = true;
    camera->thread.join();
    server_close(camera->camera.control);
    delete camera;
}

void kit_camera_step_to(kit_camera *camera, int64_t ms)
{
    const std::lock_guard<std::mutex> guard(camera->mutex);
    desk_clock_step(ms - desk_clock_ms());
}
