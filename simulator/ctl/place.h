// SPDX-License-Identifier: MIT
// place.h - where a virtual camera lives outside its sandbox.
//
//   run folder    ${XDG_RUNTIME_DIR:-/tmp}/kivo-camera-UID/NAME: /run/camera inside. Besides what the
//   camera's programs
//                 keep there: "lock", locked as long as the camera runs; "about", what runs there; "output",
//                 what its programs print; "report.*", what a sanitizer found. All but the lock stay for a
//                 look afterwards.
//   state folder  --state DIR or ${XDG_STATE_HOME:-~/.local/state}/kivo_camwarden/NAME: /state inside
//   build folder  build/PRESET: /camera inside
#pragma once

#include <string>

struct place {
    std::string name;
    std::string run;
    std::string state;
    std::string build;  // this tool's own
    std::string source; // the checkout that the build folder belongs to
};

// false: reason is one sentence. Makes nothing. state may be empty: the usual folder.
bool place_find(const std::string &name, const std::string &state, place &where, std::string &reason);

// Makes the run folder and its parent, for this user alone. false: reason says what is in the way.
bool place_make_run(const place &where, std::string &reason);
bool place_make_state(const place &where, std::string &reason);

// Takes away what an earlier run left in the run folder; what a --fresh camera must not find in its state
// folder.
void place_clean_run(const place &where);
void place_clean_state(const place &where);

// Locks the run folder for the life of the returned descriptor; -1: the camera runs already.
int place_lock(const place &where);
bool place_is_running(const place &where);

// Waits at most host_ms of host time until the camera does not run any more.
bool place_wait_stopped(const place &where, int host_ms);

// A small file of the run folder, whole.
bool place_write(const place &where, const char *file, const std::string &text);
std::string place_read(const place &where, const char *file);

// The camera that is meant where nobody names one: $CAMERA_NAME, or "camera".
std::string place_default_name();

// " --name NAME", empty for that camera: what a suggested command must have added.
std::string place_name_option(const std::string &name);
