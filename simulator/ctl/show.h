// SPDX-License-Identifier: MIT
// show.h - what a camera is doing, and what it did.
#pragma once

#include "ctl/commands.h"

int show_status(const ctl_request &request);
int show_leds(const ctl_request &request);
int show_head(const ctl_request &request);
int show_log(const ctl_request &request);
int show_statistics(const ctl_request &request);

// Files of the run folder in which a sanitizer reported what it found in this run.
std::vector<std::string> show_report_files(const place &where);

// Their paths as one text; empty: none.
std::string show_reports(const place &where);
