// SPDX-License-Identifier: MIT
// prompts.h - the catalogue of prompts. A prompt's id is its place; its name is its file's name, without an
// extension. Others on the camera play them by id.
#pragma once

#include <iterator>

struct sound_prompt {
    int id;
    const char *name;
};

// clang-format off
inline constexpr sound_prompt sound_prompts[] = {
    {  0, "binding_fail" },
    {  1, "binding_success" },
    {  2, "booting" },
    {  3, "connecting_pease_wait" },
    {  4, "ding" },
    {  5, "error" },
    {  6, "qrcode_success" },
    {  7, "qrcode_supported" },
    {  8, "reset_success" },
    {  9, "waiting_connection" },
    { 10, "wifi_connected" },
    { 11, "5GHz_wifi_supported" },
    { 12, "no_internet" },
    { 13, "wlan_passwd_err" },
    { 14, "alarm1" },
    { 15, "alarm2" },
    { 16, "alarm3" },
    { 17, "numb_zero" },
    { 18, "numb_one" },
    { 19, "numb_two" },
    { 20, "numb_three" },
    { 21, "numb_four" },
    { 22, "numb_five" },
    { 23, "numb_six" },
    { 24, "numb_seven" },
    { 25, "numb_eight" },
    { 26, "numb_nine" },
    { 27, "pincode_input" },
    { 28, "pincode_supported1" },
    { 29, "pincode_supported2" },
    { 30, "wifi_connection_failed" },
    { 31, "binding_fail_repeat" },
    { 32, "binding_fail_timeout" },
    { 33, "connect_cloud_fail" },
    { 34, "device_ready" },
    { 35, "wait_device_online" },
    { 36, "dingding" },
    { 37, "work_sound1" },
    { 38, "rest_sound1" },
    { 39, "work_sound2" },
    { 40, "rest_sound2" },
    { 41, "exam_start" },
    { 42, "30_min_before_the_end_of_exam" },
    { 43, "15_min_before_the_end_of_exam" },
    { 44, "exam_end" },
    { 45, "time_for_break" },
    { 46, "time_for_study" },
    { 47, "sit_well_please" },
    { 48, "answer_connect_ring" },
    { 49, "no_one_answer_try_again" },
    { 50, "sound_alarm_tarnek" },
};
// clang-format on

// Those that the daemon plays of its own accord.
enum sound_prompt_id {
    sound_booting = 2,
    sound_reset_success = 8,
    sound_alarm1 = 14,
    sound_alarm2 = 15,
    sound_alarm3 = 16
};

constexpr bool sound_prompts_are_at_their_ids()
{
    for (int i = 0; i < static_cast<int>(std::size(sound_prompts)); i++)
        if (sound_prompts[i].id != i)
            return false;
    return true;
}
static_assert(sound_prompts_are_at_their_ids());

// NULL for an id that is not in the catalogue.
constexpr const char *sound_prompt_name(int id)
{
    return id >= 0 && id < static_cast<int>(std::size(sound_prompts)) ? sound_prompts[id].name : nullptr;
}
