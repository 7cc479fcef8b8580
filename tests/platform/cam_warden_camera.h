// SPDX-License-Identifier: MIT
// cam_warden_camera.h - the body that the device kit moves: stage's own, on a thread, with a clock that the
// case steps. For use inside a STORY.
#pragma once

#include "harness.h"

struct kit_camera;

kit_camera *kit_camera_start(void);
void kit_camera_end(kit_camera *camera);

void kit_camera_step_to(kit_camera *camera, int64_t ms); // of virtual time
