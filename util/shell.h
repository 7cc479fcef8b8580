// SPDX-License-Identifier: MIT
// shell.h - a shell command that is waited for. Main thread only.
#pragma once

// What system(3) returned. A SIGINT that waits to be served keeps waiting, which system alone would not see
// to.
int shell_run(const char *command);
