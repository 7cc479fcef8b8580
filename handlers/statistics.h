// SPDX-License-Identifier: MIT
// statistics.h - the objects that the daemon reports to the statistics of the camera. Main thread only. Each
// stamps kit.stat_report_time. 0, or -1 with a log line when nothing was reported.
#pragma once

// "camwarden.info": what has happened to the camera.
constexpr int stat_key_reset = 0;   // factory reset by the reset key
constexpr int stat_cloud_reset = 1; // factory reset by the cloud
constexpr int stat_restart = 2;     // restart by the cloud
int report_stat(int type);

// "ircut.info": the night mode, and the day/night switches counted since the last report.
int report_ircut(void);

// "system.info": how long the system is up, its load and memory, and the restarts of its services since the
// last report.
int report_system(void);
