// SPDX-License-Identifier: MIT
// prompts.h - the voice prompts: asking for one, and what was heard.
#pragma once

#include "ctl/commands.h"

int play_prompt(const ctl_request &request);
int show_prompts(const ctl_request &request);
