/* SPDX-License-Identifier: MIT */
/* libkivo_statistics: hands statistics objects to the camera's collector. Main thread only. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

struct json_object;

/* Reports object under name. The caller keeps object. 0 or -1. */
int report_stat_object(const char *name, struct json_object *object);

#ifdef __cplusplus
}
#endif
