// SPDX-License-Identifier: MIT
// The player's lines in the journal tell what begins and when it is muted; the sound itself it has left in
// the run folder. A prompt that speaks again in its middle goes on from there.
#include "ctl/speaker.h"

#include "common/wav.h"
#include "ctl/execute.h"
#include "ctl/interrupts.h"
#include "ctl/journal_reader.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <vector>

namespace fs = std::filesystem;

static std::string environment(const char *name)
{
    const char *value = getenv(name);
    return value == nullptr ? "" : value;
}

static bool has_program(const char *name)
{
    std::istringstream folders(environment("PATH"));
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (access((folder + "/" + name).c_str(), X_OK) == 0)
            return true;
    }
    return false;
}

static bool has_sound_server()
{
    std::error_code error;
    return !environment("PULSE_SERVER").empty() ||
           fs::exists(environment("XDG_RUNTIME_DIR") + "/pulse/native", error);
}

static bool has_sound_card()
{
    std::error_code error;
    return fs::exists("/proc/asound/card0", error);
}

// A way to be heard: a program that plays a WAV file from its standard input.
struct way_row {
    bool (*is_there)();
    const char *what;
    const char *program;
    const char *option;
    const char *package;
};

// clang-format off
static constexpr way_row ways[] = {
    { has_sound_server, "the sound server", "paplay", "--latency-msec=100", "pulseaudio-utils" },
    { has_sound_card,   "the sound card",   "aplay",  "-q",                 "alsa-utils"       },
};
// clang-format on

static const way_row *chosen; // by speaker_trouble

struct speaker {
    place where;
    std::string bytes; // of the prompt that sounds; empty: none does
    int64_t began_ms = 0;
    pid_t playing = -1;
};

static std::string number(size_t value)
{
    std::string bytes;
    for (int i = 0; i < 4; i++, value >>= 8)
        bytes += static_cast<char>(value & 0xff);
    return bytes;
}

// The WAV file without its first ms; empty: nothing is left to hear.
static std::string rest_of(const std::string &bytes, int64_t ms)
{
    const wav_sound sound = wav_look(bytes);
    size_t gone = static_cast<size_t>(std::max(ms, INT64_C(0)) * sound.rate / 1000);
    gone -= gone % sound.frame;
    if (gone >= sound.size)
        return "";
    std::string rest = bytes.substr(0, sound.at) + bytes.substr(sound.at + gone, sound.size - gone);
    rest.replace(4, 4, number(rest.size() - 8));
    rest.replace(sound.at - 4, 4, number(sound.size - gone));
    return rest;
}

static void end_with_parent()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

// The process that plays; -1: none could be started.
static pid_t start(const way_row &way, const std::string &sound)
{
    const int input = memfd_create("sound", MFD_CLOEXEC);
    const bool ready = input >= 0 &&
                       write(input, sound.data(), sound.size()) == static_cast<ssize_t>(sound.size()) &&
                       lseek(input, 0, SEEK_SET) == 0;
    const pid_t pid = ready ? fork() : -1;
    if (pid == 0) {
        end_with_parent();
        const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(input, STDIN_FILENO);
        dup2(nothing, STDOUT_FILENO);
        dup2(nothing, STDERR_FILENO);
        execute({ way.program, way.option });
        _exit(127);
    }
    if (input >= 0)
        close(input);
    return pid;
}

// Waits until it is over; after longest_ms it is ended. Returns how it ended, as waitpid(2) tells it.
static int end(pid_t &playing, int longest_ms)
{
    constexpr int look_ms = 5;
    int status = -1;
    for (int waited_ms = 0; playing > 0 && waitpid(playing, &status, WNOHANG) == 0; waited_ms += look_ms) {
        if (waited_ms >= longest_ms)
            kill(playing, SIGKILL);
        poll(nullptr, 0, look_ms);
    }
    playing = -1;
    return status;
}

static std::string silence()
{
    constexpr size_t rate = 8000;
    const std::string samples(rate / 10, '\x80'); // of eight bits
    const std::string format =
        std::string("\1\0\1\0", 4) + number(rate) + number(rate) + std::string("\1\0\10\0", 4);
    const std::string chunks =
        "WAVEfmt " + number(format.size()) + format + "data" + number(samples.size()) + samples;
    return "RIFF" + number(chunks.size()) + chunks;
}

static bool can_play(const way_row &way)
{
    constexpr int patience_ms = 3000;
    pid_t playing = start(way, silence());
    return end(playing, patience_ms) == 0;
}

static std::string trouble_of(const way_row &way)
{
    const std::string program = way.program;
    if (!has_program(way.program))
        return program + " is missing to play on " + way.what + "; apt-get install " + way.package +
               " brings it";
    if (!can_play(way))
        return program + " cannot play on " + way.what + " of this machine; " + program +
               " with a WAV file tells why";
    return "";
}

std::string speaker_trouble()
{
    std::string trouble =
        "this machine has no sound card and no sound server to play on; without --speaker the "
        "camera runs, and ./camera prompts tells what would be heard";
    for (const way_row &way : ways) {
        if (!way.is_there())
            continue;
        trouble = trouble_of(way);
        if (!trouble.empty())
            continue;
        chosen = &way;
        break;
    }
    return trouble;
}

static void play(speaker &self, int64_t from_ms)
{
    const std::string rest = rest_of(self.bytes, from_ms);
    if (!rest.empty())
        self.playing = start(*chosen, rest);
}

static void on_playing(speaker &self, json_object *entry)
{
    constexpr int tail_ms = 3000; // what the machine's sound may lag behind
    end(self.playing, tail_ms);
    self.bytes = place_read(self.where, "playing");
    self.began_ms = json_get_number(entry, "at_ms");
    if (!json_get_bool(entry, "muted"))
        play(self, 0);
}

static void on_played(speaker &self, json_object *)
{
    self.bytes.clear();
}

static void on_banned(speaker &self, json_object *)
{
    end(self.playing, 0);
}

static void on_unbanned(speaker &self, json_object *entry)
{
    end(self.playing, 0);
    play(self, json_get_number(entry, "ms") - self.began_ms);
}

struct speaker_row {
    const char *what;
    void (*take)(speaker &self, json_object *entry);
};

// clang-format off
static constexpr speaker_row rows[] = {
    { "playing",  on_playing  },
    { "played",   on_played   },
    { "banned",   on_banned   },
    { "unbanned", on_unbanned },
};
// clang-format on

[[noreturn]] static void run(const place &where)
{
    constexpr int look_ms = 1000;
    speaker self;
    self.where = where;
    journal_reader journal;
    journal_reader_open(journal, where.run, false);
    for (;;) {
        const json_ptr entry = journal_reader_next(journal, look_ms);
        for (const speaker_row &row : rows) {
            if (entry && json_get_text(entry.get(), "who") == "player" &&
                json_get_text(entry.get(), "what") == row.what)
                row.take(self, entry.get());
        }
    }
}

void speaker_start(const place &where)
{
    if (fork() != 0)
        return;
    end_with_parent();
    // Neither the run folder's lock nor a Ctrl-C's handler is the speaker's.
    close_range(STDERR_FILENO + 1, ~0U, 0);
    interrupts_release();
    run(where);
}
