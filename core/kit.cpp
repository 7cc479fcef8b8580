// SPDX-License-Identifier: MIT
#include "core/kit.h"

#include <cstddef>
#include <ctime>

// Other tools of the camera know the record by its places, which are the same on 32 and on 64 bits.
static_assert(offsetof(kit_state, nfds) == 80);            // behind ten poll entries,
static_assert(offsetof(kit_state, exiting) == 120);        // ten numbers,
static_assert(offsetof(kit_state, key_press_time) == 136); // fourteen flags,
static_assert(offsetof(kit_state, start_hour) == 172);     // nine times,
static_assert(sizeof(kit_state) == 196);                   // and two times of the day

static_assert(sizeof(time_t) == 8); // the camera outlives 2038

kit_state kit;

char g_did[32];
char language[8];
char motion_alarm_cfg[32];
char motion_region_cfg[80];
int32_t motor_position_h = 50;
int32_t motor_position_v = 50;
alignas(8) int64_t motor_time = 0; // what an atomic needs, also on i386
int32_t av_index = -1;
uint8_t motor_reset_flag = 1;
int32_t lsd_switch, lsd_push, lsd_sensity;
int32_t mini_level = 1;
int32_t last_rpc_id = 0;
int32_t rpc_origin = 0;

void kit_position_read(int numbers, int32_t h, int32_t v)
{
    if (numbers >= 1)
        shared(motor_position_h).store(h);
    if (numbers >= 2)
        shared(motor_position_v).store(v);
}
