// SPDX-License-Identifier: MIT
// libcam_warden.
#include "fakes/failing.h"
#include "fakes/platform.h"
#include "fakes/record.h"

#include <atomic>
#include <cstring>

static void happens_in_kit()
{
    if (platform.on_kit_call)
        platform.on_kit_call();
}

int torvu_camwarden_init(torvu_event_callback callback)
{
    record_call("torvu_camwarden_init(%s)", callback == nullptr ? "none" : "yes");
    if (call_is_to_fail())
        return -1;
    platform.device_event = callback;
    return platform.camwarden_init_result;
}

void torvu_camwarden_exit(void)
{
    record_call("torvu_camwarden_exit()");
}

int torvu_led_control(int index, int brightness, int mode, int on_ms, int off_ms, int priority)
{
    happens_in_kit();
    record_call("torvu_led_control(%d, %d, %d, %d, %d, %d)", index, brightness, mode, on_ms, off_ms,
                priority);
    return call_is_to_fail() ? -1 : 0;
}

int torvu_led_setpriority(int priority)
{
    happens_in_kit();
    record_call("torvu_led_setpriority(%d)", priority);
    return call_is_to_fail() ? -1 : 0;
}

// The turns by an angle take a number, everything else a text that need not be terminated.
static std::string parameter(int operation, const void *param, int length)
{
    if (param == nullptr)
        return "null";
    if (operation >= 7 && operation <= 10)
        return std::to_string(*static_cast<const int *>(param));
    const char *text = static_cast<const char *>(param);
    return '"' + std::string(text, strnlen(text, static_cast<size_t>(length))) + '"';
}

int torvu_motor_control(int operation, void *param, int length)
{
    happens_in_kit();
    record_call("torvu_motor_control(%d, %s, %d)", operation, parameter(operation, param, length).c_str(),
                length);
    if (call_is_to_fail())
        return -1;
    if (!platform.motor_text.empty() && operation <= 6)
        strncpy(static_cast<char *>(param), platform.motor_text.c_str(),
                static_cast<size_t>(length)); // without a NUL when full
    return platform.motor_result;
}

int motor_running_dectect(void)
{
    happens_in_kit();
    record_call("motor_running_dectect()");
    if (platform.motor_moves_for > 0)
        return platform.motor_moves_for--;
    return std::atomic_ref<int>(platform.motor_running).load();
}
