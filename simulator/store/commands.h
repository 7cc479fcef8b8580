// SPDX-License-Identifier: MIT
// commands.h - what the store answers on the control socket:
//
//   {"do":"store.get","space":"nvram","key":"power"}                {"done":{"type":1,"value":"on"}}
//   {"do":"store.set","space":"nvram","key":"power","value":"off"}  {"done":{}}       "type":5 for a number
//   {"do":"store.unset","space":"nvram","key":"power"}              {"done":{}}
//   {"do":"store.list"} {"done":{"keys":[{"space","key","type","value"}, ...]}}
//   {"do":"store.reset"}                                            {"done":{}}
//
// Values are texts, numbers in decimal digits. store.list takes a "space" to leave the other out. In the
// journal these changes are by "control".
#pragma once

#include <json-c/json.h>

// command: the name after the point.
json_object *commands_answer(const char *command, json_object *arguments);
