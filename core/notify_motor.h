// SPDX-License-Identifier: MIT
// notify_motor.h - the store keys that move the head. Main thread only. Texts are read the way sscanf reads
// them: what was read before a mismatch counts.
#pragma once

// "[av_index,operation,number]": a manual step.
void notify_motor_cmd(const char *value);

// "[h,v]", the stored position, or NULL. Moves the head there once after start and whenever motor_reset_flag
// is set.
void notify_motor(const char *value);

// "1": the stored position has been taken up.
void notify_motor_reset(const char *value);

// "stop", or "[h,v,x]" degrees: a tracking move, which the rotation channel's rules guard. Does not wait for
// the head.
void notify_track(const char *value);

// "on": tracking is allowed, and the rotation channel runs.
void notify_track_switch(const char *value);

// "[av_index,12,x,y]": follows a finger on the screen.
void notify_motor_slide_screen(const char *value);
