// SPDX-License-Identifier: MIT
// channel_desk.h - the rotation channel with a writer on its other side. The worker is a real thread; its
// pauses are short, and nothing of it outlives a case.
#pragma once

#include "motor/rotation_block.h"
#include "motor/rotation_channel.h"

#include "fakes/daemon_desk.h"

#include <atomic>
#include <chrono>
#include <ctime>
#include <functional>
#include <sched.h>

struct channel_desk : kit_desk {
    channel_desk()
    {
        kit.track_switch = 1;
        libc.on_usleep = [this](unsigned us) {
            (us == 10000 ? polls : other_pauses)++;
            if (pauses_are_told)
                record_call("pause(%u)", us);
            takes_an_instant();
        };
        platform.on_kit_call = takes_an_instant; // a worker that waits for the head does not flood the record
    }
    ~channel_desk() override
    {
        motor_rotate_finish();
        EXPECT_TRUE(ends([] { return threads_alive() == 0; })) << "a worker is left";
    }

    static void takes_an_instant()
    {
        timespec instant = { 0, 20000 };
        nanosleep(&instant, nullptr);
    }

    // False: not within ten seconds.
    static bool ends(const std::function<bool()> &has_come)
    {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!has_come()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            sched_yield();
        }
        return true;
    }

    // Until the worker has looked at the block as it is now, and found nothing. The first pause may end a
    // look that began before.
    bool worker_looks()
    {
        return ends([this, before = polls.load()] { return polls > before + 1; });
    }

    void worker_runs()
    {
        EXPECT_EQ(motor_rotate_init(), 0);
        EXPECT_TRUE(worker_looks());
    }

    static void worker_ends()
    {
        motor_rotate_finish();
        EXPECT_TRUE(ends([] { return threads_alive() == 0; }));
    }

    static rotation_block *block()
    {
        return static_cast<rotation_block *>(segment_memory(rotation_key));
    }

    // As another process does it. bytes may lack a NUL.
    static void posts(const std::string &bytes)
    {
        rotation_block *to = block();
        ASSERT_NE(to, nullptr);
        pthread_mutex_lock(&to->mutex);
        memset(to->cmd, 0, sizeof(to->cmd));
        memcpy(to->cmd, bytes.data(), std::min(bytes.size(), sizeof(to->cmd)));
        std::atomic_ref<int32_t>(to->pending).store(1);
        pthread_mutex_unlock(&to->mutex);
    }

    static int32_t pending()
    {
        return std::atomic_ref<int32_t>(block()->pending).load();
    }

    std::atomic<bool> pauses_are_told = false;
    std::atomic<int> polls = 0;
    std::atomic<int> other_pauses = 0;
};
