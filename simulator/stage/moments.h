// SPDX-License-Identifier: MIT
// moments.h - clients of the control socket that wait for a moment of the virtual clock. stage's thread only.
#pragma once

#include "stage/stage.h"

// Answers those whose moment has come.
void moments_run(stage &stage);

// Nobody waits any more who was that connection.
void moments_forget(stage &stage, uint64_t client);

// They come no more: the camera stops.
void moments_refuse(stage &stage, const char *sentence);
