// SPDX-License-Identifier: MIT
// ctl - the tool behind ./camera.
#include "ctl/commands.h"

int main(int count, char **arguments)
{
    return commands_run({ arguments + 1, arguments + count });
}
