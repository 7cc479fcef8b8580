// SPDX-License-Identifier: MIT
// rotation_channel.h - the worker thread that watches the shared block and carries out what is posted there.
// It runs while tracking is switched on. Both functions belong to the main thread and never wait.
#pragma once

int motor_rotate_init(void);   // 0 when the worker runs; -1 when it could not be started
int motor_rotate_finish(void); // the worker ends by itself; always 0
