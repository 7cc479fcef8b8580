// SPDX-License-Identifier: MIT
// failing_desk.h - does one thing with the daemon again and again, each time with another of its allocations,
// or of its calls of platform and system, failing, until once nothing has failed.
//
// Whatever fails, the daemon must live on, give back what it was lent, and do the same as ever when the thing
// comes up the next time. What fails for want of memory is told in the log.
#pragma once

#include "core/camwarden.h"
#include "core/dispatcher.h"
#include "core/events.h"
#include "core/notify.h"
#include "core/otd_link.h"
#include "core/pollset.h"
#include "sound/sound.h"
#include "spec/service.h"
#include "store/selvar_nvram.h"
#include "util/children.h"

#include "fakes/failing.h"
#include "fakes/fixed_files.h"
#include "fakes/kit_desk.h"
#include "fakes/leftovers.h"
#include "fakes/memory.h"
#include "fakes/system_figures.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <optional>

// The daemon as it is before it starts, with everything around it that it can have.
struct surroundings {
    explicit surroundings(const std::string &prompts)
    {
        fakes_reset();
        kit_restored(kit_at_start);
        feedback_time = 0;
        motor_seq = 0;
        prompt_files.folder = prompts;
        fixed_files.content = { { "/tmp/sdtotal", "100" }, { "/tmp/sdfree", "40" }, { "/tmp/sdused", "60" } };
        fixed_files.content["/etc/os-release"] = "KESTRANO_VERSION=1\nKESTRANO_BUILDNO=2\n";
        store.values = { { "nvram/did", "1234567" },
                         { "nvram/vendor", "a maker" },
                         { "nvram/motion_alarm_interval", "9" },
                         { "mem/focus_area_region", "[1]" } };
        fixed_files.card.emplace();
        system_figures.restart_list = "store 3\n";
        thread_creation_gives(EAGAIN); // a worker would make the order of calls a matter of luck
        bus.player_listens = true;
        listener.emplace();
    }

    ~surroundings()
    {
        otd_close();
        selvar_close();
        sound_close();
        selvar_nvram_exit(); // a link whose descriptor could not be had is down, and yet held
        sound_exit();
        if (kit.timer_fd > 0)
            close(kit.timer_fd);
        child_reap();
    }

    surroundings(const surroundings &) = delete;
    surroundings &operator=(const surroundings &) = delete;

    std::optional<cloud_listener> listener;
};

struct deed {
    std::string name;
    std::function<void()> prepare; // nothing fails yet
    std::function<void()> act;
};

struct failing_way {
    void (*plan)(int nth);
    bool (*happened)();
};

inline constexpr failing_way failing_allocation = { allocation_fails, allocation_failed };
inline constexpr failing_way failing_call = { call_fails, call_failed };

struct failing_desk : testing::TestWithParam<failing_way> {
    failing_desk()
    {
        prompts.has("booting", "a sound");
        prompts.has("alarm1", "a sound");
    }

    void TearDown() override
    {
        if (GetParam().plan == failing_call.plan) {
            EXPECT_GT(failures, 0) << "nothing has been called";
        }
    }

    struct outcome {
        bool failed;
        texts calls;
        texts complaints;
    };

    static texts complaints()
    {
        texts lines = log_lines();
        std::erase_if(lines, [](const std::string &line) {
            return !line.starts_with("err: ") && !line.starts_with("warning: ");
        });
        return lines;
    }

    // Whether a request that found no memory said something that it does not always say.
    static bool is_told(const outcome &failing, const outcome &undisturbed)
    {
        const texts &usual = undisturbed.complaints;
        return std::any_of(failing.complaints.begin(), failing.complaints.end(), [&](const auto &line) {
            return std::find(usual.begin(), usual.end(), line) == usual.end();
        });
    }

    outcome once(const deed &what, int nth) const
    {
        surroundings around(prompts.path);
        what.prepare();
        record_clear();
        GetParam().plan(nth);
        what.act();
        bool failed = GetParam().happened();
        return { failed, calls(), complaints() };
    }

    void tries(const deed &what)
    {
        once(what, 0); // the first time may differ from all later ones
        const outcome undisturbed = once(what, 0);
        const int descriptors = open_descriptors();
        for (int nth = 1; !HasFailure(); nth++) {
            SCOPED_TRACE(what.name + " with failure " + std::to_string(nth));
            const outcome failing = once(what, nth);
            bool silent = GetParam().plan == failing_call.plan || !failing.failed;
            EXPECT_TRUE(silent || is_told(failing, undisturbed)) << "nothing was said";
            EXPECT_EQ(leftovers(), texts{});
            EXPECT_EQ(once(what, 0).calls, undisturbed.calls);
            EXPECT_EQ(open_descriptors(), descriptors);
            if (!failing.failed)
                return;
            failures++;
        }
    }

    prompt_folder prompts;
    int failures = 0;
};
