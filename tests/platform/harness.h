// SPDX-License-Identifier: MIT
// harness.h - what stands around a stand-in library while it is tested: a run folder, the virtual clock, the
// journal, and stage's end of the control socket.
//
// Write a case as STORY(suite, what_happens) { ... } instead of TEST. It runs in a process of its own, forked
// from a test program that never touches the library: so the library starts fresh, and settles in each case
// anew whether there is a page. The case has 60 s; then it is ended and has failed. $CAMERA_RUN is an empty
// folder, $CAMERA_WHO is "daemon", $CAMERA_SEED is not set. What a case starts (threads, processes), it ends.
#pragma once

#include "common/json.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

#define STORY(suite, story)                                                                                  \
    static void suite##_##story(void);                                                                       \
    TEST(suite, story)                                                                                       \
    {                                                                                                        \
        desk_run(suite##_##story);                                                                           \
    }                                                                                                        \
    static void suite##_##story(void)

// Runs the story in a process and a run folder of its own, for STORY.
void desk_run(void (*story)(void));

// Runs the body in a further process of the same run folder, for stories about several; how it ended, as
// waitpid tells it: 0 when it came to its end and no expectation failed.
int desk_in_process(const std::function<void()> &body);

// The same in two halves, for what happens meanwhile. Begin it while the case has no other thread: a fork
// among threads may leave locks held in the child.
pid_t desk_begin_process(const std::function<void()> &body);
int desk_end_process(pid_t process);

std::string desk_path(const char *file); // in the run folder

// Makes the page, so that there is a virtual clock and a journal; at 0 and, until told otherwise, standing
// still.
void desk_page(void);

int64_t desk_clock_ms(void);         // virtual time that has passed
void desk_clock_step(int64_t ms);    // moves it on
void desk_clock_run(uint32_t speed); // lets it run so many times as fast as the host; 0: stand still

// Every line of the journal, first to last. One that is no JSON object fails the case.
std::vector<json_ptr> desk_journal(void);

// The lines of one kind, as texts, without n and ms, which are checked to count from 1 without a gap and
// never to run back.
std::vector<std::string> desk_journal_of(const char *what);

// Waits until the condition holds; false when it does not within 20 s.
bool desk_wait(const std::function<bool()> &condition);

// Lets a program's loop turn until the condition holds; the case fails when it does not within 10 s. turn is
// given a descriptor that is readable at once, so that it never waits for more than there is.
void desk_turn_until(const std::function<void(int ready_fd)> &turn, const std::function<bool()> &condition);

// From now on standard error goes into a file; what it holds so far.
void desk_catch_stderr(void);
std::string desk_stderr(void);

// A whole file; empty when there is none.
std::string desk_file(const std::string &path);

// stage's end of the control socket. One connection at a time; a new one is taken when the present one has
// ended.
struct desk_stage {
    int listener = -1;
    int connection = -1;
    std::string in;
    int passed_fd = -1;  // came with the line that was received last; -1: none
    int connections = 0; // accepted so far
};

void desk_stage_listen(desk_stage &stage);
void desk_stage_close(desk_stage &stage);

// The next line as an object, within 20 s; NULL: none came.
json_ptr desk_stage_receive(desk_stage &stage);

void desk_stage_send(desk_stage &stage, const std::string &line); // adds the line end
void desk_stage_hang_up(desk_stage &stage);                       // ends the connection, goes on listening
