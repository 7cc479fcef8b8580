// SPDX-License-Identifier: MIT
#include "store/clients.h"

#include "store/keys.h"
#include "store/printable.h"
#include "store/requests.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <list>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

constexpr size_t clients_max = 200;
constexpr size_t read_max = 256 * 1024;      // read from one client before the others have their turn
constexpr size_t out_busy = 4 * 1024 * 1024; // on its way to a client: it is not listened to
constexpr size_t out_max = 16 * 1024 * 1024; // on its way to a client: it is dropped

static struct {
    int listener = -1;
    std::string path;
    std::list<client> all;
} clients;

static bool somebody_listens(const sockaddr_un &address)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const bool refused = connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 &&
                         (errno == ECONNREFUSED || errno == ENOENT);
    close(fd);
    return !refused;
}

bool clients_listen(const std::string &path, std::string &problem)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        problem = "the socket's path " + path + " is longer than 107 bytes, choose a shorter run folder";
        return false;
    }
    memcpy(address.sun_path, path.c_str(), path.size() + 1);
    if (somebody_listens(address)) {
        problem = "another store listens at " + path + ", stop that one first";
        return false;
    }
    unlink(path.c_str());
    clients.path = path;
    clients.listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (clients.listener >= 0 &&
        bind(clients.listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
        listen(clients.listener, SOMAXCONN) == 0)
        return true;
    problem = "cannot listen at " + path + " (" + strerror(errno) +
              "), see that the run folder exists and is yours";
    return false;
}

static void journal_client(const char *what, const client &who)
{
    json_object *fields = json_object_new_object();
    json_object_object_add(fields, "by", printable_json(who.who));
    if (who.dropped)
        json_object_object_add(fields, "text", json_object_new_string(who.dropped));
    keys_journal(what, fields);
}

static void end_client(const client &gone)
{
    if (gone.dropped)
        fprintf(stderr, "store: the client %s is dropped: %s\n",
                gone.who.empty() ? "without a name" : gone.who.c_str(), gone.dropped);
    if (!gone.who.empty())
        journal_client("left", gone);
    close(gone.fd);
}

void clients_close()
{
    for (client &each : clients.all) {
        if (!each.deaf)
            wire_write(each.fd, each.out);
        end_client(each);
    }
    clients.all.clear();
    if (clients.listener >= 0) {
        close(clients.listener);
        unlink(clients.path.c_str());
    }
    clients.listener = -1;
}

void clients_wait_for(std::vector<pollfd> &waiting)
{
    waiting.push_back({ clients.listener, POLLIN, 0 });
    for (const client &each : clients.all) {
        const bool busy = each.stalled || wire_waiting(each.out) > out_busy;
        const short in = busy ? 0 : POLLIN;
        const short out = wire_waiting(each.out) > 0 ? POLLOUT : 0;
        waiting.push_back({ each.fd, static_cast<short>(in | out), 0 });
    }
}

static void serve(client &sender)
{
    wire_message request;
    sender.stalled = false;
    while (!sender.dropped) {
        if (wire_waiting(sender.out) > out_busy) {
            sender.stalled = true;
            return;
        }
        const wire_taken taken = wire_take(sender.in, request);
        if (taken == wire_taken::nothing)
            return;
        if (taken == wire_taken::malformed || !requests_serve(sender, request))
            sender.dropped = "it does not keep to the protocol";
    }
}

static void become_deaf(client &gone)
{
    gone.deaf = true;
    gone.out = {};
}

// A client that hung up without reading all may still have sent requests: they are served before it is
// closed.
static void hear(client &sender, short events)
{
    if (events & (POLLIN | POLLHUP | POLLERR) && !sender.ended && !sender.stalled)
        sender.ended = !wire_read(sender.fd, sender.in, read_max);
    if (sender.ended)
        become_deaf(sender);
    serve(sender);
}

static void flush(client &receiver)
{
    if (!receiver.deaf && wire_waiting(receiver.out) > 0 && !wire_write(receiver.fd, receiver.out))
        become_deaf(receiver);
}

static void welcome()
{
    for (;;) {
        const int fd = accept4(clients.listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0)
            return;
        if (clients.all.size() < clients_max) {
            clients.all.emplace_back().fd = fd;
            continue;
        }
        fprintf(stderr, "store: a client is turned away: %zu are connected\n", clients.all.size());
        close(fd);
    }
}

void clients_run(const pollfd *ready)
{
    const bool arrivals = ready->revents != 0;
    for (client &each : clients.all)
        hear(each, (++ready)->revents);
    for (client &each : clients.all)
        flush(each);

    const auto is_over = [](const client &each) {
        const bool over = each.dropped || (each.ended && !each.stalled);
        if (over)
            end_client(each);
        return over;
    };
    clients.all.remove_if(is_over);
    if (arrivals)
        welcome();
}

bool clients_have_work()
{
    for (const client &each : clients.all)
        if (each.stalled && wire_waiting(each.out) <= out_busy)
            return true;
    return false;
}

void clients_send(client &receiver, const wire_message &message)
{
    if (receiver.deaf || receiver.dropped)
        return;
    wire_put(receiver.out, message);
    if (wire_waiting(receiver.out) > out_max)
        receiver.dropped = "it does not read what it is sent";
}

void clients_notify_one(client &receiver, const watch &watched)
{
    const wire_value *value = keys_get(watched.space, watched.key);
    clients_send(receiver, { .kind = wire_kind::notification,
                             .status = wire_status::done,
                             .id = watched.id,
                             .space = watched.space,
                             .key = watched.key,
                             .value = value ? *value : wire_value{} });
}

void clients_notify(const std::string &space, const std::string &key)
{
    for (client &each : clients.all)
        for (const watch &watched : each.watches)
            if (watched.key == key && watched.space == space)
                clients_notify_one(each, watched);
}

void clients_notify_all(const std::string &space)
{
    for (client &each : clients.all)
        for (const watch &watched : each.watches)
            if (watched.space == space)
                clients_notify_one(each, watched);
}
