// SPDX-License-Identifier: MIT
// virtual_camera.h - a camera for one test case: "with" starts it and takes it away, the real tool asks it,
// and what happens in it is waited for as "wait" does. It has a name and a state folder of its own.
#pragma once

#include "common/json.h"
#include "ctl/journal_reader.h"

#include <gtest/gtest.h>

#include <sys/types.h>

#include <string>
#include <vector>

struct command_result {
    int status = -1; // exit status; 128 + the signal's number
    std::string out;
    std::string err;
};

// Members that a line of the journal has, each as "member=text".
using line_like = std::vector<std::string>;

struct virtual_camera {
    std::string name;
    std::string folder;     // of this case; removed with it
    std::string run;        // run folder
    std::string state;      // what outlives a stop
    pid_t with = -1;        // the tool that has started it; it takes everything away
    int hold = -1;          // its command ends when this is closed
    journal_reader journal; // where camera_sees has come to
};

// Any program, with what it says. prepare: is called in its process first.
command_result run_program(const std::vector<std::string> &line,
                           const std::vector<std::string> &environment = {}, void (*prepare)(void) = nullptr);

// For prepare: from now on this call of the system fails with EPERM, also in every program that follows.
void forbid_system_call(unsigned number);

// Reads until the text comes; ends before that when there is no more, or nothing comes for 20 s. What was
// read.
std::string read_until(int fd, const std::string &wanted);

// The tool, with the camera's name.
command_result camera_do(const virtual_camera &camera, std::vector<std::string> words);

// The "done" of a command's --json; fails the case when it was refused.
json_ptr camera_ask(const virtual_camera &camera, std::vector<std::string> words);

// Starts it with these options and waits until it is up; once more after a stop, with the settings as they
// were.
void camera_start(virtual_camera &camera, const std::vector<std::string> &options = {});
void camera_stop(virtual_camera &camera);

// The next line of the journal that has these members, in the order of the journal: what was seen is not seen
// again. NULL after deadline_ms: the case has then failed and says what was waited for.
json_ptr camera_sees(virtual_camera &camera, const line_like &like, int deadline_ms = 20'000);

// A request without waiting for what follows; its id.
int64_t camera_call(const virtual_camera &camera, const std::string &method, const std::string &params);

std::string camera_value(const virtual_camera &camera, const std::string &space, const std::string &key);
int64_t camera_pid(const virtual_camera &camera, const std::string &program);
bool camera_is_dark(const virtual_camera &camera); // both LEDs are off

// The lines of the journal so far that have these members.
std::vector<json_ptr> camera_journal(const virtual_camera &camera, const line_like &like);

// A fixture that has a camera, and sees to it that nothing of it stays and that no sanitizer has found
// anything.
class camera_case : public testing::Test {
protected:
    virtual_camera camera;

    void SetUp() override;
    void TearDown() override;
};

void camera_make(virtual_camera &camera, const std::string &name);
void camera_unmake(virtual_camera &camera);
