// SPDX-License-Identifier: MIT
// player - the audio player of a virtual camera; stage starts it. With --speaker it leaves each prompt that
// begins in the run folder, in the file "playing", for those who really play it.
#include "player/player.h"

#include "common/control.h"
#include "common/journal.h"
#include "common/run_folder.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

static player self;

static json_object *answer(const char *command, json_object *arguments)
{
    return player_answer(self, command, arguments);
}

static void note(const char *what, json_object *fields)
{
    journal_write("player", what, fields);
}

// Whoever opens it has a whole one.
static void leave_for_the_speaker(const prompt &begun)
{
    const std::string path = run_folder_path("playing");
    std::ofstream(path + ".new", std::ios::binary) << begun.bytes;
    rename((path + ".new").c_str(), path.c_str());
}

static bool take_arguments(int count, char **texts, player_settings &settings)
{
    for (int i = 1; i < count; i++) {
        std::string *place = nullptr;
        if (strcmp(texts[i], "--bus") == 0)
            place = &settings.bus;
        else if (strcmp(texts[i], "--sounds") == 0)
            place = &settings.sounds;
        else if (strcmp(texts[i], "--speaker") == 0)
            settings.begin = leave_for_the_speaker;
        else
            return false;
        if (place != nullptr && i + 1 < count)
            *place = texts[++i];
    }
    return !settings.bus.empty() && !settings.sounds.empty();
}

int main(int count, char **texts)
{
    player_settings settings;
    settings.note = note;
    if (!take_arguments(count, texts, settings)) {
        fprintf(stderr, "usage: player --bus PATH --sounds FOLDER [--speaker]\n");
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
