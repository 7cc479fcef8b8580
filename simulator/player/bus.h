// SPDX-License-Identifier: MIT
// bus.h - the player's end of the message bus, see wire.h. Nothing here waits.
#pragma once

#include <string>

// Listens at path in the place of whoever did before. -1 and errno.
int bus_listen(const std::string &path);

// Takes a connection that waits at the listener; -1: none does. The receiver knows of it with bus_greet.
int bus_accept(int listener);
bool bus_greet(int fd);

enum class bus_event { nothing, message, left };

// Takes the next message. After left nothing comes any more; the caller closes fd.
bus_event bus_receive(int fd, std::string &message);

// Sends a text to the receiver under a name of at most 11 characters; longer ones are cut. False: it has
// left, or has long not read, or the text is longer than the bus takes.
bool bus_say(int fd, const std::string &name, const std::string &text);
