// SPDX-License-Identifier: MIT
// store_library.h - what a test turns on the fake of the store libraries, and the answers that it lets come.
#pragma once

#include <libselvar.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>

// A reply of the store, built by a test. The fields that its kind does not need stay as they are.
struct xresponse {
    bool is_told = true;  // false: xresponse_parse writes neither pair nor status
    bool parses = true;   // false: xresponse_parse yields no pair
    bool readable = true; // false: xcontrol_get_response fails
    int status = 0;
    int message_type = 3;
    std::string key;
    uint32_t key_length = 0; // of xcontrol_get_response; 0: that of key
    int type = 0;            // 0: the key has no value
    std::string string;
    uint32_t length = 0; // 0: that of string
    uint64_t u64 = 0;
};

xresponse text_reply(const char *key, const char *value);
xresponse number_reply(const char *key, uint64_t value);
xresponse no_value_reply(const char *key);

struct store_fakes {
    bool open_fails = false;
    int fd = 40;
    bool set_result = true;
    bool get_result = true;
    bool register_result = true;
    bool unregister_result = true;
    bool unset_result = true;
    bool other_result = true;
    bool sync_result = true;
    bool response_result = true;
    bool get_times_out = false;
    int next_notification_id = 101; // counts up with each registration

    std::function<void()> on_response; // what else happens inside libselvar_xhandle_response

    xresponse get_reply;                       // what a get brings, before it returns
    std::map<std::string, std::string> values; // "nvram/power": what libselvar_config_get finds
};

extern store_fakes store;

void store_reset();

int store_open_handles(); // opened and not yet closed
int store_live_pairs();   // parsed and not yet freed
bool store_is_watched(const char *space, const char *key);

// Let the store answer. The answers wait, as on the wire, until libselvar_xhandle_response runs their
// callbacks: a notification of a key that must be registered; the outcome of the last set and of the last
// reset.
void store_notify(const char *space, const xresponse &reply);
void store_notify_text(const char *space, const char *key, const char *value); // value NULL: no value
void store_notification_times_out(const char *space, const xresponse &reply);
void store_answers_set(const xresponse &reply);
void store_set_times_out();
void store_answers_reset();
void store_reset_times_out();
