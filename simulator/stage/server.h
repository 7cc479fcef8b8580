// SPDX-License-Identifier: MIT
// server.h - the listening side of the control socket: connections, lines, descriptors that come with them.
// Never blocks: what a peer does not read is kept. From a first bound on its commands wait, at a second one
// its connection is dropped. stage's thread only.
#pragma once

#include <json-c/json.h>
#include <poll.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct connection {
    uint64_t id = 0;         // never used twice
    int fd = -1;             // -1: dropped, goes with the next sweep
    std::string in;          // arrived, not yet taken
    std::string out;         // not yet sent
    std::vector<int> passed; // descriptors that have arrived, oldest first; owned
    bool awaiting = false;   // its last command is not answered yet, so its next line waits
    bool ended = false;      // the peer sends no more
    bool deaf = false;       // the peer reads no more; what it has sent still counts
    bool hung_up = false;    // the peer is gone, and all that it has sent is in
};

struct server {
    int listener = -1;
    uint64_t last_id = 0;
    std::map<uint64_t, connection> connections;
};

// False: the socket cannot be made, errno says why.
bool server_open(server &server, const std::string &path);
void server_close(server &server);

// Adds what the server waits for, and afterwards serves what poll(2) found there: accepts, reads, sends on.
void server_watch(const server &server, std::vector<pollfd> &watched);
void server_serve(server &server, const std::vector<pollfd> &watched);

// The next whole line. False: none, or the command before it is not answered yet, or the peer does not read.
bool server_take_line(connection &connection, std::string &line);

// A descriptor that came with a command, now the caller's; -1: none.
int server_take_descriptor(connection &connection);

// Sends message as a line, now or as soon as the peer reads. Takes message.
void server_send(connection &connection, json_object *message);

// Sends the answer to the connection's last command, if the connection still stands. Takes message.
void server_answer(server &server, uint64_t connection_id, json_object *message);

connection *server_find(server &server, uint64_t connection_id); // NULL: gone

// Closes what has ended and gives the ids of what was closed.
std::vector<uint64_t> server_sweep(server &server);

// Waits at most host_ms until everything has been sent.
void server_flush(server &server, int host_ms);
