// SPDX-License-Identifier: MIT
#include "cloud/network.h"

#include <iterator>
#include <limits>

struct network_way {
    int64_t after_ms;
    const char *status;
};

// clang-format off
static constexpr network_way way_up[] = {
    { 0,   "wifi_connecting" },
    { 250, "wifi_connected"  },
    { 500, "cloud_trying"    },
    { 750, "cloud_connected" },
};
// clang-format on

void network_start(network &net, int64_t now_ns)
{
    net = network{};
    net.start_ns = now_ns;
}

int64_t network_due_ns(const network &net)
{
    if (net.next_step >= std::size(way_up))
        return std::numeric_limits<int64_t>::max();
    return net.start_ns + way_up[net.next_step].after_ms * 1'000'000;
}

bool network_step(network &net, int64_t now_ns)
{
    if (now_ns < network_due_ns(net))
        return false;
    net.status = way_up[net.next_step].status;
    net.next_step++;
    return true;
}

bool network_set(network &net, const std::string &status)
{
    net.next_step = std::size(way_up);
    if (status == net.status)
        return false;
    net.status = status;
    return true;
}

bool network_is_up(const network &net)
{
    return net.status == "cloud_connected";
}
