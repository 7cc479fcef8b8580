// SPDX-License-Identifier: MIT
// The camera's seed on its way to the programs, of which each life has numbers of its own.
#include "stage_desk.h"

#include <csignal>

// Each life adds a line to the file with its name.
static std::string noting(const char *name)
{
    return std::string("echo \"$CAMERA_SEED\" >> $CAMERA_RUN/") + name + "; " + obedient;
}

static bool has_noted(stage_desk &desk, const char *name, const std::string &lines)
{
    return stage_desk_until(desk, [&] { return desk_file(desk_path(name)) == lines; });
}

static void boot(stage_desk &desk, const std::string &seed)
{
    stage_desk_open(desk);
    stage_desk_add(desk, "cloud", noting("cloud"));
    stage_desk_add(desk, "daemon", noting("daemon"), stage_role::waits);
    for (program &program : desk.camera.programs)
        program.seed = seed;
    stage_boot(desk.camera);
    ASSERT_TRUE(stage_desk_until_phase(desk, stage_phase::running));
}

STORY(a_seed, is_another_one_for_each_program)
{
    stage_desk desk;
    boot(desk, "42");

    EXPECT_TRUE(has_noted(desk, "cloud", "42/cloud/1\n"));
    EXPECT_TRUE(has_noted(desk, "daemon", "42/daemon/1\n"));
    stage_desk_close(desk);
}

STORY(a_seed, is_another_one_for_each_life_of_a_program_also_over_a_reboot)
{
    stage_desk desk;
    boot(desk, "42");
    const program &daemon = stage_desk_program(desk, "daemon");
    ASSERT_TRUE(has_noted(desk, "daemon", "42/daemon/1\n"));

    kill(daemon.pid, SIGKILL);
    ASSERT_TRUE(stage_desk_until(desk, [&] { return daemon.state == program_state::waiting; }));
    desk_clock_step(daemon.last_pause_ms);
    EXPECT_TRUE(has_noted(desk, "daemon", "42/daemon/1\n42/daemon/2\n"));
    stage_reboot(desk.camera);

    EXPECT_TRUE(has_noted(desk, "daemon", "42/daemon/1\n42/daemon/2\n42/daemon/3\n"));
    stage_desk_close(desk);
}

STORY(a_seed, that_nobody_gave_is_not_there)
{
    stage_desk desk;
    boot(desk, "");

    EXPECT_TRUE(has_noted(desk, "daemon", "\n"));
    stage_desk_close(desk);
}
