// SPDX-License-Identifier: MIT
// player - the audio player of a virtual camera; stage starts it.
#include "player/player.h"

#include "common/control.h"
#include "common/journal.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

static player self;

static json_object *answer(const char *command, json_object *arguments)
{
    return player_answer(self, command, arguments);
}

static void note(const char *what, json_object *fields)
{
    journal_write("player", what, fields);
}

static bool take_arguments(int count, char **texts, player_settings &settings)
{
    for (int i = 1; i < count; i += 2) {
        std::string *place = nullptr;
        if (strcmp(texts[i], "--bus") == 0)
            place = &settings.bus;
        else if (strcmp(texts[i], "--sounds") == 0)
            place = &settings.sounds;
        if (place == nullptr || i + 1 == count)
            return false;
        *place = texts[i + 1];
    }
    return !settings.bus.empty() && !settings.sounds.empty();
}

int main(int count, char **texts)
{
    player_settings settings;
    settings.note = note;
    if (!take_arguments(count, texts, settings)) {
        fprintf(stderr, "usage: player --bus PATH --sounds FOLDER\n");
        return 2;
    }
    if (!player_open(self, settings)) {
        fprintf(stderr, "player: cannot listen at %s: %s\n", settings.bus.c_str(), strerror(errno));
        return 1;
    }
    // Made known only now: who is told that the player serves can connect to it.
    control_service service = {};
    service.name = "player";
    service.answer = answer;
    for (;;) {
        control_service_run(service);
        player_wait(self, service.link.fd);
    }
}
