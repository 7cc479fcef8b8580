// SPDX-License-Identifier: MIT
#include "cam_warden_desk.h"

#include <libcam_warden.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

static void send_line(int fd, const std::string &line)
{
    const std::string text = line + "\n";
    send(fd, text.data(), text.size(), MSG_NOSIGNAL);
}

static void serve_line(kit_desk &desk, const kit_peer &peer, const std::string &line)
{
    const json_ptr command = json_parse(line);
    if (json_get_text(command.get(), "do") == "body.events") {
        desk.events_fd = peer.fd;
        send_line(peer.fd, desk.events_answer);
        return;
    }
    desk.commands.push_back(line);
    if (!desk.silent)
        send_line(peer.fd, desk.answer(command.get()));
}

// False: the peer has gone.
static bool serve_peer(kit_desk &desk, kit_peer &peer)
{
    char bytes[4096];
    const ssize_t length = recv(peer.fd, bytes, sizeof bytes, MSG_DONTWAIT);
    if (length <= 0)
        return length < 0 && errno == EAGAIN;
    peer.in.append(bytes, static_cast<size_t>(length));
    for (size_t end = peer.in.find('\n'); end != std::string::npos; end = peer.in.find('\n')) {
        const std::string line = peer.in.substr(0, end);
        peer.in.erase(0, end + 1);
        serve_line(desk, peer, line);
    }
    return true;
}

static void hang_up(kit_desk &desk, const kit_peer &peer)
{
    if (desk.events_fd == peer.fd)
        desk.events_fd = -1;
    close(peer.fd);
}

static void serve_all(kit_desk &desk, bool arrivals)
{
    const std::lock_guard<std::mutex> guard(desk.mutex);
    std::erase_if(desk.peers, [&](kit_peer &peer) {
        if (serve_peer(desk, peer))
            return false;
        hang_up(desk, peer);
        return true;
    });
    if (arrivals)
        desk.peers.push_back({ .fd = accept4(desk.listener, nullptr, nullptr, SOCK_CLOEXEC), .in = "" });
}

static std::vector<pollfd> watched(kit_desk &desk)
{
    std::vector<pollfd> all = { { .fd = desk.wake[0], .events = POLLIN, .revents = 0 },
                                { .fd = desk.listener, .events = POLLIN, .revents = 0 } };
    const std::lock_guard<std::mutex> guard(desk.mutex);
    for (const kit_peer &peer : desk.peers)
        all.push_back({ .fd = peer.fd, .events = POLLIN, .revents = 0 });
    return all;
}

static void *run_desk(void *argument)
{
    auto &desk = *static_cast<kit_desk *>(argument);
    for (;;) {
        std::vector<pollfd> all = watched(desk);
        poll(all.data(), all.size(), -1);
        if (all[0].revents != 0)
            return nullptr;
        serve_all(desk, all[1].revents != 0);
    }
}

void kit_desk_open(kit_desk &desk)
{
    const std::string path = desk_path("control");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.c_str(), path.size());
    unlink(path.c_str());
    desk.listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(desk.listener, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(listen(desk.listener, 8), 0);
    ASSERT_EQ(pipe2(desk.wake, O_CLOEXEC), 0);
    kit_desk_answer(desk, R"({"done":{"result":0}})");
    ASSERT_EQ(pthread_create(&desk.thread, nullptr, run_desk, &desk), 0);
}

void kit_desk_close(kit_desk &desk)
{
    close(desk.wake[1]);
    pthread_join(desk.thread, nullptr);
    for (const kit_peer &peer : desk.peers)
        hang_up(desk, peer);
    desk.peers.clear();
    close(desk.wake[0]);
    close(desk.listener);
}

void kit_desk_answer(kit_desk &desk, const std::string &line)
{
    const std::lock_guard<std::mutex> guard(desk.mutex);
    desk.answer = [line](json_object *) { return line; };
}

void kit_desk_refuse_events(kit_desk &desk)
{
    const std::lock_guard<std::mutex> guard(desk.mutex);
    desk.events_answer = R"({"refused":"no"})";
}

void kit_desk_be_silent(kit_desk &desk, bool silent)
{
    const std::lock_guard<std::mutex> guard(desk.mutex);
    desk.silent = silent;
}

void kit_desk_send_late(kit_desk &desk, const std::string &line)
{
    const std::lock_guard<std::mutex> guard(desk.mutex);
    for (const kit_peer &peer : desk.peers) {
        if (peer.fd != desk.events_fd)
            send_line(peer.fd, line);
    }
}

void kit_desk_event(kit_desk &desk, const std::string &line)
{
    const std::lock_guard<std::mutex> guard(desk.mutex);
    ASSERT_GE(desk.events_fd, 0) << "nobody listens to events";
    send_line(desk.events_fd, line);
}

std::vector<std::string> kit_desk_commands(kit_desk &desk)
{
    const std::lock_guard<std::mutex> guard(desk.mutex);
    return desk.commands;
}

void kit_start(kit_desk &desk)
{
    kit_desk_open(desk);
    ASSERT_EQ(torvu_camwarden_init(kit_note_event), 0);
}

void kit_end(kit_desk &desk)
{
    torvu_camwarden_exit();
    kit_desk_close(desk);
}

static std::mutex heard_mutex;
static std::vector<kit_heard_event> heard;

void kit_note_event(int event, void *param)
{
    const std::lock_guard<std::mutex> guard(heard_mutex);
    const bool is_key = event == 1;
    heard.push_back({ event, is_key ? *static_cast<const int *>(param) : -1,
                      is_key ? "" : static_cast<const char *>(param) });
}

std::vector<kit_heard_event> kit_heard(void)
{
    const std::lock_guard<std::mutex> guard(heard_mutex);
    return heard;
}

bool kit_wait_for_events(size_t count)
{
    return desk_wait([count] { return kit_heard().size() >= count; });
}

void kit_forget_heard(void)
{
    const std::lock_guard<std::mutex> guard(heard_mutex);
    heard.clear();
}

static size_t entries(const char *folder)
{
    const std::filesystem::directory_iterator first(folder);
    return static_cast<size_t>(std::distance(begin(first), end(first)));
}

size_t kit_desk_descriptors(void)
{
    return entries("/proc/self/fd");
}

size_t kit_desk_threads(void)
{
    return entries("/proc/self/task");
}
