// SPDX-License-Identifier: MIT
#include "common/clock_owner.h"
#include "common/page.h"
#include "common/run_folder.h"
#include "stage/stage.h"

#include <fcntl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>

static const char *const store_command[] = { "/camera/simulator/store",  "--database",
                                             "/state/nvram.db",          "--defaults",
                                             "/camera/factory/defaults", nullptr };
static const char *const daemon_command[] = { "/camera/kivo_camwarden", nullptr };
static const char *const cloud_command[] = { "/camera/simulator/cloud", nullptr };
static const char *const player_command[] = { "/camera/simulator/player", "--bus",
                                              "/run/audio_play",          "--sounds",
                                              "/mnt/data/sound",          nullptr };

static const char *const store_environment[] = { "CAMERA_WHO=store", nullptr };
static const char *const daemon_environment[] = { "CAMERA_WHO=daemon", "LD_LIBRARY_PATH=/camera/lib",
                                                  nullptr };
static const char *const cloud_environment[] = { "CAMERA_WHO=cloud", "LD_LIBRARY_PATH=/camera/lib", nullptr };
static const char *const player_environment[] = { "CAMERA_WHO=player", nullptr };

// The neighbours, in the order in which they are started.
// clang-format off
static constexpr program_row program_rows[] = {
    { "store",  store_command,  store_environment,  SIGTERM, 1000, false, true  },
    { "cloud",  cloud_command,  cloud_environment,  SIGTERM, 1000, false, true  },
    { "player", player_command, player_environment, SIGTERM, 1000, false, true  },
    { "daemon", daemon_command, daemon_environment, SIGINT,  2000, true,  false },
};
// clang-format on

struct option_row {
    const char *name;
    const char *program; // it is handed on to
};
static constexpr option_row option_rows[] = { { "--unbound", "cloud" }, { "--speaker", "player" } };

static bool take_option(stage &stage, const std::string &text)
{
    const std::string seed = "--seed=";
    if (text.starts_with(seed)) {
        for (program &program : stage.programs)
            program.seed = text.substr(seed.size());
        return true;
    }
    for (const option_row &row : option_rows) {
        if (text != row.name)
            continue;
        stage_find_program(stage, row.program)->options.push_back(row.name);
        return true;
    }
    fprintf(stderr, "stage: \"%s\" is unknown; it takes --seed=TEXT, --unbound and --speaker\n",
            text.c_str());
    return false;
}

// How long a camera has been on when its programs are started. Not 0: the daemon takes a moment in second 0
// for none.
constexpr int64_t came_up_ns = 10'000'000'000;

static bool open_run_folder(stage &stage)
{
    int journal = open(run_folder_path("journal").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (journal >= 0)
        close(journal);
    if (journal >= 0 && page_create() != nullptr && server_open(stage.control, run_folder_path("control"))) {
        clock_owner_begin_at_ns(came_up_ns);
        return true;
    }
    fprintf(stderr, "stage: the run folder %s cannot be used: %s\n", run_folder_path("").c_str(),
            strerror(errno));
    return false;
}

static int open_signals(void)
{
    sigset_t taken;
    sigemptyset(&taken);
    for (int signal : { SIGCHLD, SIGTERM, SIGINT })
        sigaddset(&taken, signal);
    sigprocmask(SIG_BLOCK, &taken, nullptr);
    signal(SIGPIPE, SIG_IGN);
    return signalfd(-1, &taken, SFD_NONBLOCK | SFD_CLOEXEC);
}

int main(int count, char **arguments)
{
    stage stage;
    stage.card = { .medium = "/run/card", .place = "/mnt/sdcard" };
    stage.restart_counts = "/etc/perp/.control/reset-statistics";
    for (const program_row &row : program_rows)
        stage.programs.push_back({ .row = &row });
    for (int i = 1; i < count; i++) {
        if (!take_option(stage, arguments[i]))
            return 2;
    }
    // It ends every process that it can see when the camera reboots.
    if (getpid() != 1) {
        fprintf(stderr, "stage: this is process 1 of a camera's sandbox; start a camera with ./camera run\n");
        return 2;
    }
    int signal_fd = open_signals();
    if (signal_fd < 0 || !open_run_folder(stage))
        return 2;

    stage_boot(stage);
    constexpr int longest_turn_ms = 1000;
    while (stage.phase != stage_phase::ended)
        stage_turn(stage, signal_fd, longest_turn_ms);
    constexpr int longest_flush_ms = 500;
    server_flush(stage.control, longest_flush_ms);
    return 0;
}
