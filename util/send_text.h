// SPDX-License-Identifier: MIT
// send_text.h - the one way out to the cloud client. Main thread only.
#pragma once

// Sends text without its NUL in one piece and returns what send(2) returned; -1 for a socket below 1.
// A text that went out in part, or not at all within the socket's time-out, would spoil the stream: the
// socket is then shut down, and the loop closes it like any dropped link.
int send_text(int sock, const char *text);
