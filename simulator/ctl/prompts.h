// SPDX-License-Identifier: MIT
// prompts.h - the voice prompts: asking for one, and what was heard.
#pragma once

#include "ctl/commands.h"

int play_prompt(const ctl_request &request);
int show_prompts(const ctl_request &request);

// "", or a sentence: there is no prompt of that name.
std::string prompts_check(const place &where, const std::string &name);
