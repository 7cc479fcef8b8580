// SPDX-License-Identifier: MIT
#include "core/kit.h"

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
