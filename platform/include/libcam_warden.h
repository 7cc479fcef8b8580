/* SPDX-License-Identifier: MIT */
/*
 * libcam_warden, the device kit: two status LEDs, the pan/tilt motor, the reset key.
 * torvu_motor_control and motor_running_dectect may be called from any thread, the rest from the
 * main thread only.
 */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Called for every device event, possibly on a thread of the kit's own and while the kit holds
 * locks of its own. param is valid during the call and depends on the event:
 *   1  reset key      const int *: 1 pressed, 0 released
 *   2  motor stopped  text "[h,v]"
 *   3  motor moved    text "[state,h,v]"
 */
typedef void (*torvu_event_callback)(int event, void *param);

/* 0 or -1. The callback may come at once. */
int torvu_camwarden_init(torvu_event_callback callback);

/* After it motor calls return -1 and motor_running_dectect 0; no callback runs any more. */
void torvu_camwarden_exit(void);

/*
 * index: LED 0 or 1. brightness: 0..100. mode: 0 steady, 1 off, 2 blinking with on_ms lit and
 * off_ms dark. A request below the priority in force is without effect.
 */
int torvu_led_control(int index, int brightness, int mode, int on_ms, int off_ms, int priority);

/* Sets the priority in force, so that requests of this priority and above have effect. */
int torvu_led_setpriority(int priority);

/*
 * operation      param                                      length
 *   1..4  step   char[16], receives the new "[h,v]"         16     left, right, up, down
 *   5     reset  text "[h,v]" to go to                      16
 *   6            empty char[16]                             16
 *   7..10 turn   const int *, degrees above 0               -1     two horizontal, two vertical
 *   11    go to  text "[h,v]"                               room or length of the text
 *   12    slide  text "[x,y]"                               128
 * Negative: end of travel, or busy.
 */
int torvu_motor_control(int operation, void *param, int length);

/* 0 when the head is at rest. */
int motor_running_dectect(void);

#ifdef __cplusplus
}
#endif
