// SPDX-License-Identifier: MIT
// The card, and the store values of the program that looks after it in a camera.
#include "stage/commands.h"

#include "common/control.h"
#include "common/json.h"

#include <cerrno>
#include <cstring>

// As the store has it.
static const char status_good[] = "0";
static const char status_none[] = "1";

static void store_set(stage &stage, const char *space, const char *key, const std::string &value)
{
    const json_ptr command = json_of("do", "store.set");
    json_set_text(command.get(), "space", space);
    json_set_text(command.get(), "key", key);
    json_set_text(command.get(), "value", value);
    routing_tell(stage.control, stage.routes, "store", json_object_get(command.get()));
}

static void store_unset(stage &stage, const char *space, const char *key)
{
    const json_ptr command = json_of("do", "store.unset");
    json_set_text(command.get(), "space", space);
    json_set_text(command.get(), "key", key);
    routing_tell(stage.control, stage.routes, "store", json_object_get(command.get()));
}

struct figure_row {
    const char *key;
    int64_t card_figures::*kib;
};

static constexpr figure_row figure_rows[] = {
    { "sd_total", &card_figures::total_kib },
    { "sd_free", &card_figures::free_kib },
    { "sd_used", &card_figures::used_kib },
};

void card_tell(stage &stage)
{
    if (stage.card.medium.empty())
        return;
    const bool in = card_is_in(stage.card);
    const card_figures figures = card_look(stage.card);
    for (const figure_row &row : figure_rows) {
        if (in)
            store_set(stage, "nvram", row.key, std::to_string(figures.*row.kib));
        else
            store_unset(stage, "nvram", row.key);
    }
    store_set(stage, "mem", "sdcard_status", in ? status_good : status_none);
}

json_object *command_card(stage &stage, connection &, json_object *arguments)
{
    const std::string state = json_get_text(arguments, "state");
    if (state != "in" && state != "out")
        return control_refused("the card's \"state\" is \"in\" or \"out\"");
    if (stage.card.medium.empty())
        return control_refused("this camera has no place for a card");
    const bool done = state == "in" ? card_put_in(stage.card) : card_take_out(stage.card);
    if (!done)
        return control_refused(stage.card.place + " cannot be changed: " + strerror(errno));
    card_tell(stage);
    return control_done(nullptr);
}
