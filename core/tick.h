// SPDX-License-Identifier: MIT
// tick.h - what the daemon does by time: once a second, one job after the other. Main thread only.
#pragma once

// fd is the descriptor that became readable. Always 0.
int tick_handler(int fd);

// Ask the cloud client; the result of the send, -1 while there is no link.
int otd_status_check(void);
int time_sync(void);
