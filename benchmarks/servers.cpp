// SPDX-License-Identifier: MIT
#include "round_trip.h"

#include <arpa/inet.h>
#include <json-c/json.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

constexpr size_t window_size = 4096;

static int connect_to_client()
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int sock = socket(AF_INET, SOCK_STREAM, 0);
    int on = 1;
    setsockopt(sock, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (connect(sock, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        perror("round_trip: connect");
        exit(2);
    }
    return sock;
}

static void ping_pong()
{
    int sock = connect_to_client();
    char window[window_size];
    char reply[window_size];
    memset(reply, 'x', sizeof reply);
    char request[128];
    int request_size = snprintf(request, sizeof request, request_format, first_id);
    for (ssize_t got = 0; (got = recv(sock, window, sizeof window, 0)) > 0;)
        for (ssize_t left = got; left > 0; left -= request_size)
            send(sock, reply, reply_size, 0);
}

static const char *value_of(const char *name)
{
    static constexpr const char *names[][2] = {
        { "light", "on" },      { "power", "on" }, { "watermark", "on" }, { "motion_detection_enable", "on" },
        { "full_color", "on" }, { "wdr", "off" },  { "flip", "off" },     { "sdcard_status", "0" },
        { "night_mode", "0" },
    };
    for (auto &row : names)
        if (strcmp(row[0], name) == 0)
            return row[1];
    return "unknow";
}

static void answer(int sock, json_object *request)
{
    json_object *params = json_object_object_get(request, "params");
    json_object *values = json_object_new_array();
    for (size_t i = 0; i < json_object_array_length(params); i++)
        json_object_array_add(values, json_object_new_string(value_of(
                                          json_object_get_string(json_object_array_get_idx(params, i)))));
    json_object *reply = json_object_new_object();
    json_object_object_add(reply, "id",
                           json_object_new_int(json_object_get_int(json_object_object_get(request, "id"))));
    json_object_object_add(reply, "result", values);
    const char *text = json_object_to_json_string(reply);
    send(sock, text, strlen(text), 0);
    json_object_put(reply);
}

static void bare_json()
{
    int sock = connect_to_client();
    char window[window_size];
    for (ssize_t got = 0; (got = recv(sock, window, sizeof window, 0)) > 0;) {
        json_tokener *tokener = json_tokener_new();
        for (ssize_t used = 0; used < got;) {
            json_object *request =
                json_tokener_parse_ex(tokener, window + used, static_cast<int>(got - used));
            if (!request)
                break;
            used += static_cast<ssize_t>(json_tokener_get_parse_end(tokener));
            answer(sock, request);
            json_object_put(request);
        }
        json_tokener_free(tokener);
    }
}

// clang-format off
const server servers[3] = {
    { "bare ping-pong", ping_pong },
    { "bare json-c",    bare_json },
    { "kivo_camwarden", desk_run_daemon },
};
// clang-format on
