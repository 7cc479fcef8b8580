// SPDX-License-Identifier: MIT
// desk.h - where a benchmark runs: a sandbox of its own, one core, a store, and the cloud client's port.
// What cannot be had ends the process with status 2.
#pragma once

#include <ctime>
#include <sys/types.h>

constexpr int port = 54320;

// Starts this program again inside a sandbox; returns there.
void desk_enter();

void desk_stay_on_one_core(); // everything that is measured shares it, so that a ratio says what a request
                              // costs
int desk_listen();            // on the cloud client's port
int desk_accept(int listener);

pid_t desk_start(void (*run)());
void desk_stop(pid_t pid);
pid_t desk_start_store(); // up and with the factory defaults
void desk_run_daemon();   // for desk_start; does not return

double desk_seconds(clockid_t clock);
clockid_t desk_clock_of(pid_t pid); // processor time
void desk_send(int sock, const char *text, size_t length);
