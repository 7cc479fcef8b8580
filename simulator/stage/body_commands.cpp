// SPDX-License-Identifier: MIT
#include "stage/commands.h"

#include "common/clock.h"
#include "common/control.h"
#include "common/journal.h"
#include "common/json.h"

constexpr int no_value = -1;
constexpr int event_motor_stop = 2; // as the device kit numbers its events
constexpr int event_motor_update = 3;

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

static void add_point(json_object *object, head_point point)
{
    json_set_number(object, "h", point.h);
    json_set_number(object, "v", point.v);
}

json_object *command_head(stage &stage, connection &, json_object *)
{
    const int64_t now_ns = clock_monotonic_ns();
    json_object *answer = json_object_new_object();
    add_point(answer, head_at(stage.body.head, now_ns));
    json_object_object_add(answer, "moves", json_object_new_boolean(head_moves(stage.body.head, now_ns)));
    return control_done(answer);
}

static void tell_news(stage &stage, const head_news &news)
{
    if (news.rests) {
        json_object *fields = json_object_new_object();
        add_point(fields, news.at);
        journal_write("stage", "head", fields);
    }
    if (!news.told)
        return;
    json_object *event = number_of("event", news.rests ? event_motor_stop : event_motor_update);
    json_set_text(event, "text", news.rests ? head_text(news.at) : "[1," + head_text(news.at).substr(1));
    stage_tell_kits(stage, event);
}

static void tell_all_news(stage &stage, int64_t now_ns)
{
    while (const std::optional<head_news> news = head_take_news(stage.body.head, now_ns))
        tell_news(stage, *news);
}

void body_run(stage &stage)
{
    tell_all_news(stage, clock_monotonic_ns());
}

constexpr int first_step = 1; // these operations bring the position that the head will have
constexpr int last_step = 4;

json_object *command_motor(stage &stage, connection &, json_object *arguments)
{
    const int64_t now_ns = clock_monotonic_ns();
    // What was done before is told before.
    tell_all_news(stage, now_ns);
    const head_request request = { .operation = command_number(arguments, "operation", no_value),
                                   .text = json_get_text(arguments, "value"),
                                   .degrees = command_number(arguments, "value", 0) };
    const int result = head_move(stage.body.head, request, now_ns) ? 0 : -1;

    json_object *fields = number_of("operation", request.operation);
    json_object_object_add(fields, "value", json_object_get(json_object_object_get(arguments, "value")));
    json_set_number(fields, "length", command_number(arguments, "length", 0));
    json_set_number(fields, "result", result);
    journal_write("daemon", "motor", fields);

    json_object *answer = number_of("result", result);
    if (request.operation >= first_step && request.operation <= last_step)
        json_set_text(answer, "position", head_text(head_target(stage.body.head)));
    return control_done(answer);
}

json_object *command_motor_running(stage &stage, connection &, json_object *)
{
    return control_done(number_of("running", head_moves(stage.body.head, clock_monotonic_ns()) ? 1 : 0));
}

json_object *command_events(stage &stage, connection &client, json_object *)
{
    stage.kits.insert(client.id);
    return control_done(nullptr);
}
