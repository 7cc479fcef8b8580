// SPDX-License-Identifier: MIT
// record.h - what the daemon did, in order: every call that it made of the platform and of the system, as
// one readable text each, and every line that it logged. Written from any thread.
//
// A call reads like its source: torvu_led_control(1, 50, 1, 0, 0, 1). Strings are quoted where the content
// matters, callbacks show as yes or none, a NULL as null. Pure questions (clocks, random ids, the accessors
// of replies) leave no trace.
#pragma once

#include <gtest/gtest.h>

#include <cstdarg>
#include <string>
#include <string_view>
#include <vector>

using texts = std::vector<std::string>;

void record_clear();
void record_call(const char *format, ...) __attribute__((format(printf, 1, 2)));
void record_log(const char *level, const char *format, va_list arguments)
    __attribute__((format(printf, 2, 0)));

texts calls();                             // without the log
texts calls_of(std::string_view function); // those that begin with function(
texts log_lines();                         // "debug: kit.power: 1\n", "warning: ...", "info: ...", "err: ..."
texts story();                             // both, in order

// text quoted, or null.
std::string quoted(const char *text);

// A sorry tale is told by the message: the whole record.
testing::AssertionResult logged(std::string_view line);       // "err: Unknown method\n", the whole line
testing::AssertionResult log_mentions(std::string_view part); // some line contains part
testing::AssertionResult called(std::string_view call);
testing::AssertionResult soon(std::string_view line);     // called or logged by now, or within ten seconds
testing::AssertionResult in_order(const texts &expected); // all in story(), each after the one before it
