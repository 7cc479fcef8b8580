// SPDX-License-Identifier: MIT
// kit_desk.h - the fixture of every test that touches the daemon's state: before each case the fakes are
// fresh, the records empty, and kit, the globals beside it and the spec service as a daemon finds them that
// has just started.
#pragma once

#include "core/kit.h"
#include "sound/sound.h"
#include "spec/changes.h"
#include "spec/pull.h"
#include "spec/service.h"

#include "fakes/files.h"
#include "fakes/fixed_files.h"
#include "fakes/message_bus.h"
#include "fakes/platform.h"
#include "fakes/record.h"
#include "fakes/shared_memory.h"
#include "fakes/sockets.h"
#include "fakes/store_library.h"
#include "fakes/system_calls.h"
#include "fakes/system_figures.h"
#include "fakes/threads.h"

#include <cstring>

struct kit_globals {
    kit_state record;
    char did[32];
    char prompts[8];
    char alarm[32];
    char region[80];
    int32_t position_h, position_v;
    int64_t motor_ms;
    int32_t stream;
    uint8_t reset_flag;
    int32_t lsd[3];
    int32_t level;
    int32_t rpc_id, origin;
};

inline kit_globals kit_saved()
{
    kit_globals now = {};
    now.record = kit;
    memcpy(now.did, g_did, sizeof(g_did));
    memcpy(now.prompts, language, sizeof(language));
    memcpy(now.alarm, motion_alarm_cfg, sizeof(motion_alarm_cfg));
    memcpy(now.region, motion_region_cfg, sizeof(motion_region_cfg));
    now.position_h = motor_position_h;
    now.position_v = motor_position_v;
    now.motor_ms = motor_time;
    now.stream = av_index;
    now.reset_flag = motor_reset_flag;
    now.lsd[0] = lsd_switch;
    now.lsd[1] = lsd_push;
    now.lsd[2] = lsd_sensity;
    now.level = mini_level;
    now.rpc_id = last_rpc_id;
    now.origin = rpc_origin;
    return now;
}

inline void kit_restored(const kit_globals &then)
{
    kit = then.record;
    memcpy(g_did, then.did, sizeof(g_did));
    memcpy(language, then.prompts, sizeof(language));
    memcpy(motion_alarm_cfg, then.alarm, sizeof(motion_alarm_cfg));
    memcpy(motion_region_cfg, then.region, sizeof(motion_region_cfg));
    motor_position_h = then.position_h;
    motor_position_v = then.position_v;
    motor_time = then.motor_ms;
    av_index = then.stream;
    motor_reset_flag = then.reset_flag;
    lsd_switch = then.lsd[0];
    lsd_push = then.lsd[1];
    lsd_sensity = then.lsd[2];
    mini_level = then.level;
    last_rpc_id = then.rpc_id;
    rpc_origin = then.origin;
}

// Taken before main, so before anything of the daemon has run.
inline const kit_globals kit_at_start = kit_saved();

// A player that comes and goes leaves the link as it was before the first.
inline void sound_reset()
{
    bus_reset();
    bus.player_listens = true;
    sound_init(nullptr);
    bus_player_leaves();
    sound_recv();
    sound_exit();
    bus_reset();
}

inline void fakes_reset()
{
    sound_reset();
    prompt_files_reset();
    platform_reset();
    store_reset();
    system_reset();
    shared_memory_reset();
    threads_reset();
    fixed_files_reset();
    system_figures_reset();
    sends_reset();
    record_clear();
}

struct kit_desk : testing::Test {
    kit_desk()
    {
        fakes_reset();
        kit_restored(kit_at_start);
        nubo_spec_init("", 0, nullptr);
        g_get_spec_id = -1;
        last_card_status = -1;
    }

    // More of them in the poll set.
    static void has_entries(std::initializer_list<int> descriptors)
    {
        for (int fd : descriptors) {
            kit.pollfds[kit.nfds].fd = fd;
            kit.pollfds[kit.nfds].events = POLLIN;
            kit.nfds++;
        }
    }
};
