// SPDX-License-Identifier: MIT
#include "kit_link.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#define EXPORTED extern "C" __attribute__((visibility("default")))

static json_ptr numbers(std::initializer_list<std::pair<const char *, int>> members)
{
    json_ptr object(json_object_new_object());
    for (const auto &[key, number] : members)
        json_set_number(object.get(), key, number);
    return object;
}

static int result_of(const json_ptr &answer)
{
    return static_cast<int>(json_get_number(answer.get(), "result", -1));
}

EXPORTED int torvu_camwarden_init(torvu_event_callback callback)
{
    return kit_open(callback) ? 0 : -1;
}

EXPORTED void torvu_camwarden_exit(void)
{
    kit_close();
}

EXPORTED int torvu_led_control(int index, int brightness, int mode, int on_ms, int off_ms, int priority)
{
    return result_of(kit_ask("body.led", numbers({ { "index", index },
                                                   { "brightness", brightness },
                                                   { "mode", mode },
                                                   { "on_ms", on_ms },
                                                   { "off_ms", off_ms },
                                                   { "priority", priority } })));
}

EXPORTED int torvu_led_setpriority(int priority)
{
    return result_of(kit_ask("body.led_priority", numbers({ { "priority", priority } })));
}

// How an operation uses param.
enum class operand { none, receives, text, degrees };

static constexpr operand operands[] = {
    operand::none,                                                              // there is no operation 0
    operand::receives, operand::receives, operand::receives, operand::receives, // 1..4 step
    operand::text,                                                              // 5 reset
    operand::none,                                                              // 6
    operand::degrees,  operand::degrees,  operand::degrees,  operand::degrees,  // 7..10 turn
    operand::text,     operand::text,                                           // 11 go to, 12 slide
};

static operand operand_of(int operation)
{
    bool known = operation >= 0 && operation < static_cast<int>(std::size(operands));
    return known ? operands[operation] : operand::none;
}

static void add_value(json_object *message, operand kind, const void *param, int length)
{
    size_t room = static_cast<size_t>(std::max(length, 0));
    if (kind == operand::text) {
        const char *text = static_cast<const char *>(param);
        json_set_text(message, "value", std::string(text, strnlen(text, room)));
    } else if (kind == operand::degrees) {
        json_set_number(message, "value", *static_cast<const int *>(param));
    }
}

EXPORTED int torvu_motor_control(int operation, void *param, int length)
{
    if (param == nullptr)
        return -1;
    operand kind = operand_of(operation);
    json_ptr message = numbers({ { "operation", operation }, { "length", length } });
    add_value(message.get(), kind, param, length);
    json_ptr answer = kit_ask("body.motor", std::move(message));
    std::string position = json_get_text(answer.get(), "position");
    if (kind == operand::receives && length > 0 && !position.empty())
        snprintf(static_cast<char *>(param), static_cast<size_t>(length), "%s", position.c_str());
    return result_of(answer);
}

EXPORTED int motor_running_dectect(void)
{
    json_ptr answer = kit_ask("body.motor_running", json_ptr(json_object_new_object()));
    return static_cast<int>(json_get_number(answer.get(), "running", 0));
}
