/* SPDX-License-Identifier: MIT */
/*
 * libkivo_util: logging, clocks and small services of the camera's system software.
 * Every function may be called from any thread.
 */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * printf formats. Most texts carry their own line end; a sink that shows lines ends one that was
 * left open. A text below the level of log_set_syslog_level is dropped.
 */
void log_debug(const char *format, ...) __attribute__((format(printf, 1, 2)));
void log_info(const char *format, ...) __attribute__((format(printf, 1, 2)));
void log_warning(const char *format, ...) __attribute__((format(printf, 1, 2)));
void log_err(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* priority: 0..7 as in syslog(3); what is less urgent is dropped. */
void log_set_syslog_level(int priority);

/* Whole seconds of CLOCK_MONOTONIC. */
uint32_t time_monotonic(void);

/* Wall-clock milliseconds since the epoch. */
uint64_t time_realtime_ms(void);

/*
 * Arms the timerfd fd: readable first_ms from now, then every interval_ms.
 * 0, or -1 and errno. The caller keeps fd.
 */
int timer_start(int fd, int first_ms, int interval_ms);

/* A random number, low <= result <= high. */
int rand_range(int low, int high);

/* A fresh request id, above 0. */
int generate_random_id(void);

#ifdef __cplusplus
}
#endif
