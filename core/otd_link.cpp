// SPDX-License-Identifier: MIT
#include "core/otd_link.h"

#include "core/otd_route.h"
#include "core/pollset.h"
#include "libkivo_util.h"
#include "modules/module.h"
#include "spec/service.h"
#include "util/send_text.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

static const char otd_address[] = "127.0.0.1";

constexpr uint16_t otd_port = 54320;
constexpr timeval send_timeout = { 1, 0 };
constexpr size_t announcement_size = 128;
constexpr size_t window_size = 4096;

static void announce(int sock, const char *method)
{
    char text[announcement_size];
    snprintf(text, sizeof text, "{\"method\":\"register\",\"key\":\"%s\"}", method);
    send_text(sock, text);
}

void register_key(int sock)
{
    log_info("%s(),keys_num is %d\n", __func__, static_cast<int>(register_keys.size()));
    for (const char *method : register_keys)
        announce(sock, method);

    for (int i = 0; i < module_count; i++) {
        const module &feature = module_table[i];
        for (int m = 0; feature.methods && m < feature.method_count; m++) {
            const char *method = feature.methods[m].name;
            log_info("%s() %d,module %s methon is %s\n", __func__, __LINE__, feature.name, method);
            announce(sock, method);
        }
    }
}

// Two small sends in a row would wait for a delayed acknowledgement without TCP_NODELAY; a client that does
// not accept or read must not hold the loop.
static void tune_socket(int sock)
{
    int on = 1;
    setsockopt(sock, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(sock, SOL_SOCKET, SO_SNDTIMEO, &send_timeout, sizeof send_timeout);
}

int32_t otd_connect(void)
{
    int sock = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (sock < 0) {
        log_err("Create socket error: %s\n", strerror(errno));
        return -1;
    }
    tune_socket(sock);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(otd_port);
    inet_pton(AF_INET, otd_address, &address.sin_addr);
    if (connect(sock, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        log_err("Connect to otd error: %s:%d\n", otd_address, otd_port);
        close(sock);
        return -1;
    }
    register_key(sock);
    return sock;
}

void otd_connect_retry(void)
{
    log_warning("Retry connecting to kivo_client...\n");
    kit.reconnect_time = time_monotonic();
    kit.otd_sock = otd_connect();
    if (kit.otd_sock < 1)
        return;
    log_info("Connected to kivo_client.\n");
    pollset_write(kit.otd_sock);
    log_info("OTD sockfd: %d\n", kit.otd_sock);
    pollset_count();
    pollset_check_limit(__FILE__, __LINE__);
}

void otd_close(void)
{
    if (kit.otd_sock <= 0)
        return;
    if (!pollset_remove(kit.otd_sock))
        log_warning("kit.otd_sock (%d) not in pollfds.\n", kit.otd_sock);
    close(kit.otd_sock);
    kit.otd_sock = 0;
    nubo_spec_socket_closed();
}

int otd_recv_handler(int sock)
{
    char window[window_size + 1]; // always ended with a NUL, so that stale bytes never complete a cut message
    size_t held = 0;
    bool nothing_read = true;
    for (;;) {
        ssize_t got = recv(sock, window + held, window_size - held, MSG_DONTWAIT);
        if (got < 0)
            return -1;
        if (got == 0)
            break;
        nothing_read = false;
        held += static_cast<size_t>(got);
        window[held] = '\0';
        int consumed = otd_recv_handler_block(sock, window, static_cast<int>(held));
        if (consumed < 0) {
            log_warning("%s_one() return -1\n", __func__);
            return -1;
        }
        held -= static_cast<size_t>(consumed);
        memmove(window, window + consumed, held);
        window[held] = '\0';
    }
    if (nothing_read)
        otd_close();
    if (held > 0)
        log_warning("%s() remain str: %s\n", __func__, window);
    return 0;
}
