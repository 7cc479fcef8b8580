// SPDX-License-Identifier: MIT
// commands.h - what a line on the control socket does. A command is one row of the table in commands.cpp and
// one function.
#pragma once

#include "stage/stage.h"

#include <json-c/json.h>

#include <string>

// Answers the command, or passes it on to the neighbour that its name begins with; bad input is refused.
void commands_take_line(stage &stage, connection &client, const std::string &line);

// A command's function: the answer, or NULL when it was sent already or comes later (client.awaiting is then
// set).
using command_function = json_object *(*)(stage &stage, connection &client, json_object *arguments);

// Passes a command on as if it had come by this name, which begins with a neighbour's.
json_object *commands_pass_on(stage &stage, connection &client, const std::string &name,
                              json_object *command);

// camera_commands.cpp
json_object *command_status(stage &stage, connection &client, json_object *arguments);
json_object *command_kill(stage &stage, connection &client, json_object *arguments);
json_object *command_restart(stage &stage, connection &client, json_object *arguments);
json_object *command_stop(stage &stage, connection &client, json_object *arguments);
json_object *command_reboot(stage &stage, connection &client, json_object *arguments);
json_object *command_bind(stage &stage, connection &client, json_object *arguments);
json_object *command_unbind(stage &stage, connection &client, json_object *arguments);
json_object *command_serve(stage &stage, connection &client, json_object *arguments);

// clock_commands.cpp; clock_run goes on with a step, clock_forget ends one that nobody waits for any more
json_object *command_clock(stage &stage, connection &client, json_object *arguments);
json_object *command_clock_step(stage &stage, connection &client, json_object *arguments);
json_object *command_timer(stage &stage, connection &client, json_object *arguments);
void clock_run(stage &stage);
void clock_forget(stage &stage, uint64_t client);

// moments.cpp
json_object *command_clock_wait(stage &stage, connection &client, json_object *arguments);

// body_commands.cpp; body_run tells what has become of the head
json_object *command_leds(stage &stage, connection &client, json_object *arguments);
json_object *command_head(stage &stage, connection &client, json_object *arguments);
json_object *command_led(stage &stage, connection &client, json_object *arguments);
json_object *command_led_priority(stage &stage, connection &client, json_object *arguments);
json_object *command_motor(stage &stage, connection &client, json_object *arguments);
json_object *command_motor_running(stage &stage, connection &client, json_object *arguments);
json_object *command_events(stage &stage, connection &client, json_object *arguments);
void body_run(stage &stage);

// key_commands.cpp; key_run lets go of a key that was held long enough
json_object *command_key_press(stage &stage, connection &client, json_object *arguments);
json_object *command_key_release(stage &stage, connection &client, json_object *arguments);
json_object *command_key_hold(stage &stage, connection &client, json_object *arguments);
void key_run(stage &stage);

// card_commands.cpp; card_tell writes what the store has to say of the card
json_object *command_card(stage &stage, connection &client, json_object *arguments);
void card_tell(stage &stage);

// rotation_commands.cpp; rotation_run goes on with what is being posted, and returns the host ms until it
// wants to again
json_object *command_rotate(stage &stage, connection &client, json_object *arguments);
int rotation_run(stage &stage);

// The member as a number of int's range.
int command_number(json_object *arguments, const char *key, int otherwise);
