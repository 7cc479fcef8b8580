// SPDX-License-Identifier: MIT
#include "stage/commands.h"

#include "common/control.h"
#include "common/journal.h"
#include "common/json.h"

constexpr int no_value = -1;
constexpr int event_key = 1; // as the device kit numbers its events
constexpr int event_motor_stop = 2;

static json_object *number_of(const char *key, int64_t number)
{
    json_object *object = json_object_new_object();
    json_set_number(object, key, number);
    return object;
}

static json_object *describe_led(const led_state &led, int index)
{
    json_object *about = json_object_new_object();
    json_set_number(about, "index", index);
    json_set_text(about, "state", led_mode_name(led.mode));
    json_set_number(about, "brightness", led.brightness);
    json_set_number(about, "on_ms", led.on_ms);
    json_set_number(about, "off_ms", led.off_ms);
    json_set_number(about, "priority", led.priority);
    return about;
}

json_object *command_leds(stage &stage, connection &, json_object *)
{
    json_object *leds = json_object_new_array();
    for (int i = 0; i < led_count; i++)
        json_object_array_add(leds, describe_led(stage.body.leds[i], i));
    json_object *answer = number_of("priority", stage.body.led_priority);
    json_object_object_add(answer, "leds", leds);
    return control_done(answer);
}

json_object *command_head(stage &stage, connection &, json_object *)
{
    json_object *answer = number_of("h", stage.body.h);
    json_set_number(answer, "v", stage.body.v);
    return control_done(answer);
}

struct led_member {
    const char *key;
    int led_request::*number;
};

static constexpr led_member led_members[] = {
    { "index", &led_request::index },   { "brightness", &led_request::brightness },
    { "mode", &led_request::mode },     { "on_ms", &led_request::on_ms },
    { "off_ms", &led_request::off_ms }, { "priority", &led_request::priority },
};

json_object *command_led(stage &stage, connection &, json_object *arguments)
{
    led_request request;
    json_object *fields = json_object_new_object();
    for (const led_member &member : led_members) {
        request.*member.number = command_number(arguments, member.key, no_value);
        json_set_number(fields, member.key, request.*member.number);
    }
    led_outcome outcome = body_led(stage.body, request);
    json_object_object_add(fields, "applied", json_object_new_boolean(outcome == led_outcome::applied));
    journal_write("daemon", "led", fields);
    return control_done(number_of("result", outcome == led_outcome::refused ? -1 : 0));
}

json_object *command_led_priority(stage &stage, connection &, json_object *arguments)
{
    stage.body.led_priority = command_number(arguments, "priority", 0);
    journal_write("daemon", "led_priority", number_of("priority", stage.body.led_priority));
    return control_done(number_of("result", 0));
}

static void tell_stop(stage &stage)
{
    json_object *event = number_of("event", event_motor_stop);
    json_set_text(event, "text", body_position(stage.body));
    stage_tell_kits(stage, event);
}

json_object *command_motor(stage &stage, connection &client, json_object *arguments)
{
    motor_request request = { .operation = command_number(arguments, "operation", no_value),
                              .text = json_get_text(arguments, "value"),
                              .degrees = command_number(arguments, "value", 0) };
    motor_outcome outcome = body_motor(stage.body, request);

    json_object *fields = number_of("operation", request.operation);
    json_object_object_add(fields, "value", json_object_get(json_object_object_get(arguments, "value")));
    json_set_number(fields, "length", command_number(arguments, "length", 0));
    json_set_number(fields, "result", outcome.result);
    journal_write("daemon", "motor", fields);

    json_object *answer = number_of("result", outcome.result);
    if (outcome.position)
        json_set_text(answer, "position", body_position(stage.body));
    // The caller first, then the event of what it did.
    server_send(client, control_done(answer));
    if (outcome.reports)
        tell_stop(stage);
    return nullptr;
}

json_object *command_motor_running(stage &, connection &, json_object *)
{
    return control_done(number_of("running", 0));
}

json_object *command_events(stage &stage, connection &client, json_object *)
{
    stage.kits.insert(client.id);
    return control_done(nullptr);
}

static json_object *turn_key(stage &stage, int state)
{
    json_object *event = number_of("event", event_key);
    json_set_number(event, "key", state);
    if (!stage_tell_kits(stage, event))
        return control_refused("nobody heard the key, the daemon is not running; ./camera status shows why");
    journal_write("stage", "key", number_of("state", state));
    return control_done(nullptr);
}

json_object *command_key_press(stage &stage, connection &, json_object *)
{
    return turn_key(stage, 1);
}

json_object *command_key_release(stage &stage, connection &, json_object *)
{
    return turn_key(stage, 0);
}
