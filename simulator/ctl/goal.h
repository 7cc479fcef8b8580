// SPDX-License-Identifier: MIT
// goal.h - what can be waited for: one table, a row a kind.
//
// A state holds or not, and can be looked at; an event is a line of the journal and nothing else.
#pragma once

#include "common/json.h"
#include "ctl/place.h"

#include <span>
#include <string>
#include <vector>

struct goal_row;

struct goal {
    const goal_row *row = nullptr;
    std::string text; // the words that it was made of
    // What the row's words stand for, as far as it has them.
    std::string space;
    std::string key;
    std::string value;
    int index = 0;
    std::vector<std::string> members; // "member=text"
};

struct goal_row {
    const char *name;  // the first word
    const char *words; // those after it
    const char *help;  // one line
    // Takes the words after the name. false: they are not like that.
    bool (*take)(goal &goal, const std::string &words);
    // A line of the journal that tells about the same thing, and one with which it has come.
    bool (*is_about)(const goal &goal, json_object *line);
    bool (*is_it)(const goal &goal, json_object *line);
    // Asks the camera, whose socket CAMERA_RUN names, for the present state and describes it; whether it is
    // the one that is waited for. NULL: an event.
    bool (*look)(const goal &goal, std::string &present);
    // "", or a sentence about something that such a camera never has. NULL: it may have anything.
    std::string (*check)(const goal &goal, const place &where) = nullptr;
};

// In the order in which help shows them.
std::span<const goal_row> goal_table();

// false: reason is one sentence that says what is possible.
bool goal_parse(const std::string &text, goal &goal, std::string &reason);

// A goal of lines that have all these members, each as "member=text".
goal goal_of_line(const std::vector<std::string> &members);

std::string goal_help();
