// SPDX-License-Identifier: MIT
// cam_warden_desk.h - stage's end of the device kit: takes the kit's connections, notes every command and
// answers it, and sends events. Runs on a thread of its own. For use inside a STORY.
#pragma once

#include "harness.h"

#include <pthread.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

struct kit_peer {
    int fd = -1;
    std::string in;
};

struct kit_desk {
    int listener = -1;
    int wake[2] = { -1, -1 }; // closed to end the thread
    pthread_t thread = {};

    std::mutex mutex; // guards all below
    std::vector<kit_peer> peers;
    int events_fd = -1;                // where events go; -1: nobody listens
    std::vector<std::string> commands; // all but "body.events", as text
    bool silent = false;               // commands are noted and not answered
    std::string events_answer = R"({"done":{}})";
    std::function<std::string(json_object *command)> answer;
};

// Every command is answered {"done":{"result":0}} until told otherwise.
void kit_desk_open(kit_desk &desk);
void kit_desk_close(kit_desk &desk); // stage goes away

void kit_desk_answer(kit_desk &desk, const std::string &line); // what every command is answered
void kit_desk_refuse_events(kit_desk &desk);
void kit_desk_be_silent(kit_desk &desk, bool silent);
void kit_desk_send_late(kit_desk &desk,
                        const std::string &line); // an answer, unasked, on every call connection
void kit_desk_event(kit_desk &desk, const std::string &line);

std::vector<std::string> kit_desk_commands(kit_desk &desk); // so far

// Starts and exits the kit, with a stage of the case's own.
void kit_start(kit_desk &desk);
void kit_end(kit_desk &desk);

// What the callback was told, when that is kit_note_event.
struct kit_heard_event {
    int event;
    int key;          // of event 1
    std::string text; // of the others
};

void kit_note_event(int event, void *param); // on the kit's thread
std::vector<kit_heard_event> kit_heard(void);
bool kit_wait_for_events(size_t count); // at least so many
void kit_forget_heard(void);

// How many descriptors and threads the process has.
size_t kit_desk_descriptors(void);
size_t kit_desk_threads(void);
