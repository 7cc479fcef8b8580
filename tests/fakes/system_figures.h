// SPDX-License-Identifier: MIT
// system_figures.h - what a test turns on the figures of the system: sysinfo, and the list of services that
// were restarted, "/etc/perp/.control/reset-statistics". Other files are left alone. Reading the list leaves
// its opening, its closing and its removal in the record.
#pragma once

#include <optional>
#include <string>

struct system_figure_fakes {
    bool sysinfo_fails = false;
    long uptime = 0;
    unsigned long loads[3] = {}; // in 65536ths
    unsigned long free = 0, shared = 0, buffers = 0;

    std::optional<std::string> restart_list; // what it holds; without a value there is no such file
};

extern system_figure_fakes system_figures;

void system_figures_reset();
