// SPDX-License-Identifier: MIT
// A daemon that starts before its cloud client and its player, and finds them later.
#include "life_desk.h"

#include <optional>
#include <vector>

// Cloud client and player are absent at the start and there from the first wait on. Each wait but the last
// finds the timer, a second later.
struct late_neighbours : life {
    void runs_from(uint32_t second, int ticks)
    {
        platform.monotonic_s = second;
        libc.on_poll = [this, left = ticks](pollfd *entries, nfds_t count, const timespec *,
                                            const sigset_t *) mutable {
            lives.push_back(kit);
            if (!listener)
                neighbours_come();
            else
                platform.monotonic_s++;
            for (nfds_t i = 0; i < count; i++)
                entries[i].revents = entries[i].fd == kit.timer_fd ? POLLIN : short{ 0 };
            return left-- > 0 ? 1 : -1;
        };
        EXPECT_EQ(camwarden_main(), 0);
        ASSERT_EQ(lives.size(), static_cast<size_t>(ticks) + 1);
    }

    void neighbours_come()
    {
        listener.emplace();
        bus.player_listens = true;
        record_clear();
    }

    // What is polled after so many ticks.
    std::vector<int> polled(size_t ticks) const
    {
        std::vector<int> descriptors;
        for (int i = 0; i < lives.at(ticks).nfds; i++) {
            EXPECT_EQ(lives[ticks].pollfds[i].events, POLLIN);
            descriptors.push_back(lives[ticks].pollfds[i].fd);
        }
        return descriptors;
    }

    std::optional<cloud_listener> listener;
    std::vector<kit_state> lives; // as each wait found it
};

TEST_F(late_neighbours, finds_the_cloud_client_at_the_first_tick_and_the_player_at_the_next)
{
    runs_from(1001, 2);

    const int timer = lives[0].timer_fd;
    const int store_fd = lives[0].mc_fd;
    EXPECT_EQ(lives[0].reconnect_time, 0U);
    EXPECT_EQ(polled(0), (std::vector<int>{ timer, store_fd }));
    EXPECT_GT(lives[1].otd_sock, 0);
    EXPECT_EQ(lives[1].reconnect_time, 1001U);
    EXPECT_EQ(polled(1), (std::vector<int>{ timer, store_fd, lives[1].otd_sock }));
    EXPECT_EQ(lives[2].sound_fd, 60);
    EXPECT_EQ(lives[2].reconnect_time, 1002U);
    EXPECT_EQ(polled(2), (std::vector<int>{ timer, store_fd, lives[1].otd_sock, 60 }));
    EXPECT_TRUE(in_order({ "info: Connected to kivo_client.\n", "info: Connected to sound wrax.\n" }));
}

TEST_F(late_neighbours, right_after_power_on_finds_the_player_first)
{
    runs_from(2, 6);

    EXPECT_EQ(lives[1].sound_fd, 60);
    EXPECT_EQ(lives[1].reconnect_time, 2U);
    EXPECT_LT(lives[5].otd_sock, 1) << "that was second 6";
    EXPECT_GT(lives[6].otd_sock, 0);
    EXPECT_EQ(lives[6].reconnect_time, 7U);
    EXPECT_EQ(polled(6), (std::vector<int>{ lives[0].timer_fd, lives[0].mc_fd, 60, lives[6].otd_sock }));
}
