// SPDX-License-Identifier: MIT
// The exit status with which the daemon ends.
#include "virtual_camera.h"

#include "ctl/place.h"
#include "ctl/processes.h"

#include <sys/syscall.h>

#include <csignal>

class daemon_process : public camera_case {
protected:
    // As this system numbers it.
    pid_t of_the_camera() const
    {
        place where;
        std::string reason;
        EXPECT_TRUE(place_find(camera.name, "", where, reason)) << reason;
        return processes_inside(where, camera_pid(camera, "daemon"));
    }

    // A second one in the camera's sandbox, which sees neither the camera's store nor its journal.
    command_result another(void (*prepare)(void) = nullptr) const
    {
        return run_program({ CAMERA_BUILD "/simulator/ctl", "shell", "--name", camera.name, "--", "env",
                             "LD_LIBRARY_PATH=/camera/lib", "CAMERA_RUN=/tmp/elsewhere",
                             "/camera/kivo_camwarden" },
                           {}, prepare);
    }
};

TEST_F(daemon_process, that_is_interrupted_ends_with_255_and_is_replaced)
{
    camera_start(camera);

    ASSERT_EQ(kill(of_the_camera(), SIGINT), 0);

    EXPECT_TRUE(
        camera_sees(camera, { "who=daemon", "what=log", "level=6", "text=kivo_camwarden says goodbye!\n" }));
    EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=exit", "program=daemon", "status=255" }));
    EXPECT_TRUE(camera_sees(camera, { "who=stage", "what=start", "program=daemon" }));
}

TEST_F(daemon_process, that_finds_no_store_ends_with_0)
{
    camera_start(camera);

    const command_result result = another();

    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.err.find("\nFail to start selvar.\n"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("goodbye"), std::string::npos) << result.err;
}

static void forbid_timers(void)
{
    forbid_system_call(SYS_timerfd_create);
}

TEST_F(daemon_process, that_gets_no_timer_ends_with_255)
{
    camera_start(camera);

    const command_result result = another(forbid_timers);

    EXPECT_EQ(result.status, 255) << result.err;
    EXPECT_NE(result.err.find("\ntimer_setup() fail, quit.\n"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("goodbye"), std::string::npos) << result.err;
}
