// SPDX-License-Identifier: MIT
// inside.h - looking into a camera's sandbox: a debugger, a shell.
#pragma once

#include "ctl/commands.h"

int attach_gdb(const ctl_request &request); // the arguments are gdb's own
int open_shell(const ctl_request &request); // or a command in its place, whose exit status it is
