// SPDX-License-Identifier: MIT
#include "cloud/cloud.h"

#include "cloud/property_memory.h"
#include "common/clock.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>

// A part of a message that does not go on for this long is shown as it is.
static constexpr int64_t patience_ns = 1'000'000'000;

static void note(const cloud &self, const char *what, json_ptr fields = nullptr)
{
    self.settings.note(what, fields.release());
}

static void note_sent(void *self, const std::string &text)
{
    note(*static_cast<cloud *>(self), "sent", json_of("text", text));
}

static void forget_daemon(cloud &self)
{
    self.methods.clear();
    self.binding_settled = false;
    self.properties.open.clear();
    property_begin_anew(self);
}

static void leave(cloud &self)
{
    link_close(self.daemon);
    forget_daemon(self);
    note(self, "left");
}

static void flush(cloud &self)
{
    if (!link_flush(self.daemon, note_sent, &self))
        leave(self);
}

bool cloud_send(cloud &self, const std::string &text)
{
    if (!link_send(self.daemon, text))
        return false;
    flush(self);
    return true;
}

// {"id":N,"method":..,"params":..}; id 0 leaves it out. params is taken.
static std::string local_message(int64_t id, const char *method, json_object *params)
{
    const json_ptr message(json_object_new_object());
    if (id != 0)
        json_set_number(message.get(), "id", id);
    json_set_text(message.get(), "method", method);
    json_object_object_add(message.get(), "params", params);
    return json_text(message.get());
}

void cloud_tell_network(cloud &self)
{
    self.binding_settled = false;
    note(self, "network", json_of("status", self.net.status));
    cloud_send(self, local_message(0, "local.status", json_new_text(self.net.status)));
}

bool cloud_bind(cloud &self, const std::string &result)
{
    const json_ptr message = json_of("method", "local.bind");
    json_set_text(message.get(), "result", result);
    return cloud_send(self, json_text(message.get()));
}

// A new camera is bound once it can be: the daemon knows the method and the cloud is reached.
static void settle_binding(cloud &self)
{
    const bool announced =
        std::find(self.methods.begin(), self.methods.end(), "local.bind") != self.methods.end();
    if (self.binding_settled || !announced || !network_is_up(self.net))
        return;
    self.binding_settled = true;
    if (!self.settings.bind)
        return;
    const bool bound_before = self.settings.read_store("nvram", "bind_status") == "ok";
    json_ptr fields(json_object_new_object());
    json_object_object_add(fields.get(), "before", json_object_new_boolean(bound_before));
    // Before what the daemon does about it.
    note(self, "bound", std::move(fields));
    if (!bound_before)
        cloud_bind(self, "ok");
}

static void on_register(cloud &self, json_object *message)
{
    const std::string method = json_get_text(message, "key");
    if (std::find(self.methods.begin(), self.methods.end(), method) == self.methods.end())
        self.methods.push_back(method);
    note(self, "announced", json_of("method", method));
}

static void on_query_status(cloud &self, json_object *message)
{
    const int64_t id = json_get_number(message, "id");
    cloud_send(self, local_message(id, "local.status", json_new_text(self.net.status)));
}

static void on_query_time(cloud &self, json_object *message)
{
    const int64_t seconds = clock_world_ns() / 1'000'000'000;
    const int64_t id = json_get_number(message, "id");
    cloud_send(self, local_message(id, "local.time", json_object_new_int64(seconds)));
}

struct cloud_reaction {
    const char *method;
    void (*react)(cloud &self, json_object *message);
};

// Everything else that the daemon sends, replies and reports, needs no answer.
// clang-format off
static constexpr cloud_reaction reactions[] = {
    { "register",            on_register         },
    { "local.query_status",  on_query_status     },
    { "local.query_time",    on_query_time       },
    { "_sync.spec_get_prop", property_answer_pull },
};
// clang-format on

static void on_piece(cloud &self, const stream_piece &piece)
{
    note(self, "received", json_of("text", piece.text));
    property_hear(self, piece.text);
    const std::string method = json_get_text(piece.object.get(), "method");
    for (const cloud_reaction &row : reactions) {
        if (method == row.method)
            row.react(self, piece.object.get());
    }
}

static void take_pieces(cloud &self, bool the_end)
{
    // A reaction may find the connection gone: nothing is held then.
    while (std::optional<stream_piece> piece = stream_take(self.daemon.in, the_end))
        on_piece(self, *piece);
}

static void on_readable(cloud &self)
{
    const bool alive = link_receive(self.daemon);
    take_pieces(self, !alive);
    if (!alive && self.daemon.fd >= 0)
        leave(self);
}

static void on_connection(cloud &self)
{
    take_pieces(self, true);
    const bool had_one = self.daemon.fd >= 0;
    if (!link_accept(self.daemon, self.listener))
        return;
    forget_daemon(self);
    if (had_one)
        note(self, "left");
    note(self, "connected");
}

static void on_time(cloud &self)
{
    const int64_t now = clock_monotonic_ns();
    while (network_step(self.net, now))
        cloud_tell_network(self);
    if (!self.daemon.in.held.empty() && now - self.daemon.held_since_ns >= patience_ns)
        take_pieces(self, true);
}

static int wait_ms(const cloud &self)
{
    int64_t due = network_due_ns(self.net);
    if (!self.daemon.in.held.empty())
        due = std::min(due, self.daemon.held_since_ns + patience_ns);
    return clock_host_wait_ms(due);
}

static void save(cloud &self)
{
    if (self.properties.changed && self.settings.save != nullptr)
        self.settings.save(property_memory(self));
    self.properties.changed = false;
}

void cloud_wait(cloud &self, int other_fd)
{
    save(self);
    const short wanted = self.daemon.out.empty() ? POLLIN : POLLIN | POLLOUT;
    pollfd entries[] = {
        { self.listener, POLLIN, 0 },
        { self.daemon.fd, wanted, 0 },
        { other_fd, POLLIN, 0 },
    };
    poll(entries, std::size(entries), wait_ms(self));
    if ((entries[1].revents & POLLOUT) != 0)
        flush(self);
    // The flush may have found the connection gone.
    if ((entries[1].revents & ~POLLOUT) != 0 && self.daemon.fd >= 0)
        on_readable(self);
    if ((entries[0].revents & POLLIN) != 0)
        on_connection(self);
    on_time(self);
    settle_binding(self);
}

bool cloud_open(cloud &self, const cloud_settings &settings)
{
    self.settings = settings;
    self.listener = link_listen(settings.port);
    if (self.listener < 0)
        return false;
    network_start(self.net, clock_monotonic_ns());
    return true;
}

void cloud_close(cloud &self)
{
    link_close(self.daemon);
    close(self.listener);
    self.listener = -1;
}
