// SPDX-License-Identifier: MIT
// The player's lines in the journal tell what begins and when it is muted; the sound itself it has left in
// the run folder. A prompt that speaks again in its middle goes on from there.
#include "ctl/speaker.h"

#include "common/wav.h"
#include "ctl/execute.h"
#include "ctl/interrupts.h"
#include "ctl/journal_reader.h"

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

// The program that plays a WAV file from its standard input; empty: there is none that could.
static std::vector<std::string> program()
{
    if (has_sound_server() && has_program("paplay"))
        return { "paplay" };
    if (has_sound_card() && has_program("aplay"))
        return { "aplay", "-q" };
    return {};
}

std::string speaker_trouble()
{
    if (!program().empty())
        return "";
    if (has_sound_server())
        return "paplay is missing to play on the sound server; apt-get install pulseaudio-utils brings it";
    if (has_sound_card())
        return "aplay is missing to play on the sound card; apt-get install alsa-utils brings it";
    return "this machine has no sound card and no sound server to play on; without --speaker the camera "
           "runs, and ./camera prompts tells what would be heard";
}

struct speaker {
    std::vector<std::string> program;
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

static void play(speaker &self, int64_t from_ms)
{
    const std::string rest = rest_of(self.bytes, from_ms);
    const int input = rest.empty() ? -1 : memfd_create("sound", MFD_CLOEXEC);
    if (input < 0)
        return;
    const bool ready = write(input, rest.data(), rest.size()) == static_cast<ssize_t>(rest.size()) &&
                       lseek(input, 0, SEEK_SET) == 0;
    self.playing = ready ? fork() : -1;
    if (self.playing == 0) {
        end_with_parent();
        dup2(input, STDIN_FILENO);
        execute(self.program);
        _exit(127);
    }
    close(input);
}

// Waits until it is over; after longest_ms it is ended.
static void end(speaker &self, int longest_ms)
{
    constexpr int look_ms = 5;
    int waited_ms = 0;
    while (self.playing > 0 && waitpid(self.playing, nullptr, WNOHANG) == 0) {
        if (waited_ms >= longest_ms)
            kill(self.playing, SIGKILL);
        poll(nullptr, 0, look_ms);
        waited_ms += look_ms;
    }
    self.playing = -1;
}

static void on_playing(speaker &self, json_object *entry)
{
    constexpr int tail_ms = 1000; // what the machine's sound lags behind
    end(self, tail_ms);
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
    end(self, 0);
}

static void on_unbanned(speaker &self, json_object *entry)
{
    end(self, 0);
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
    self.program = program();
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
