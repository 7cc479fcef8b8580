// SPDX-License-Identifier: MIT
#include "sound/sound.h"

#include "libkivo_util.h"
#include "libwrax.h"
#include "sound/sound_queue.h"
#include "store/selvar_nvram.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

constexpr char player_path[] = "/run/audio_play";
constexpr int event_connected = 0;
constexpr int event_left = 1;
constexpr int event_message = 3;
constexpr size_t header_size = 12; // before a message's text
constexpr uint32_t piece_size = 65536;

static sound_message_handler message_handler;
static wrax_rcv *receiver;
static int32_t ready;
static sound_entry *queue;

// The numbers in the log tell a piece (79) from the last of a file (69).
static int send_failed(const sound_entry &entry, int line)
{
    log_err("[%s %d]sound: %s fail to send audio data. rcvr:%x\n", "_play", line, entry.name,
            static_cast<unsigned>(reinterpret_cast<uintptr_t>(receiver)));
    return -1;
}

static int play(const sound_entry &entry)
{
    if (!receiver) {
        log_warning("sound: %s receiver has not created.\n", entry.name);
        return -1;
    }
    log_info("sound: sending %s in addr %p size %lu", entry.name, static_cast<const void *>(entry.data),
             static_cast<unsigned long>(entry.size));
    const char *next = entry.data;
    uint32_t left = entry.size;
    for (; left > piece_size; left -= piece_size, next += piece_size)
        if (wrax_rcv_send_message(receiver, next, piece_size) < 0)
            return send_failed(entry, 79);
    if (left > 0 && wrax_rcv_send_message(receiver, next, static_cast<int>(left)) < 0)
        return send_failed(entry, 69);
    return 0;
}

static void drop_head(void)
{
    sound_entry *entry = queue;
    sound_queue_unlink(queue, entry);
    sound_entry_free(entry);
}

static void sound_flush_queue(void)
{
    while (queue) {
        if (play(*queue) < 0)
            return;
        log_debug("sound: Removed %s\n", queue->name);
        drop_head();
    }
}

static int on_wrax_ready(wrax_rcv *, const void *, void *)
{
    ready = 1;
    selvar_mem_set_string("sound_play", "ready", 0);
    log_debug("%s", __func__);
    sound_flush_queue();
    return 0;
}

static int on_wrax_closed(wrax_rcv *, const void *, void *)
{
    log_debug("%s", __func__);
    ready = 0;
    return 0;
}

static int on_wrax_message(wrax_rcv *, const void *message, void *)
{
    log_debug("%s", __func__);
    const char *bytes = static_cast<const char *>(message);
    return message_handler ? message_handler(bytes, bytes + header_size) : 0;
}

static void destroy_receiver(void)
{
    if (receiver)
        wrax_rcv_destroy(receiver);
    receiver = nullptr;
}

int sound_init(sound_message_handler handler)
{
    message_handler = handler;
    destroy_receiver(); // there is one when the start before brought no descriptor
    receiver = wrax_rcv_create(player_path);
    if (!receiver) {
        log_err("wrax_rcv_create AO_CONTROLLER fialed!\n");
        return -1;
    }
    wrax_rcv_event(receiver, event_connected, on_wrax_ready, nullptr);
    wrax_rcv_event(receiver, event_left, on_wrax_closed, nullptr);
    wrax_rcv_event(receiver, event_message, on_wrax_message, nullptr);
    if (wrax_rcv_start(receiver) < 0) {
        log_err("wrax_rcv_start fialed!\n");
        destroy_receiver();
        return -1;
    }
    return wrax_rcv_fd(receiver);
}

void sound_exit(void)
{
    destroy_receiver();
    while (queue)
        drop_head();
}

int sound_recv(void)
{
    errno = 0; // only what the library says of this call counts
    if (wrax_rcv_poll(receiver) >= 0 || errno == 0)
        return 0;
    log_err("sound recv error no: %d\n", errno);
    return -1;
}

int sound_is_ready(void)
{
    log_debug("sound_is_ready: %d\n", ready);
    return ready;
}

int sound_play(const char *name, int flags, const char *language)
{
    sound_entry *entry = sound_entry_load(name, language);
    if (!entry)
        return -1;
    if (flags & sound_queued) {
        sound_queue_append(queue, entry);
        sound_flush_queue();
        return 0;
    }
    int result = play(*entry);
    sound_entry_free(entry);
    return result;
}

static int send_command(const char *text)
{
    return wrax_rcv_send_message(receiver, text, static_cast<int>(strlen(text)));
}

int sound_ban(void)
{
    if (!receiver) {
        log_err("sound ban wrax msg handle have not been created!\n");
        return -1;
    }
    log_debug("sound ban\n");
    return send_command("SOUND_BAN");
}

int sound_unban(void)
{
    if (!receiver) {
        log_err("sound unban wrax msg handle have not been created!\n");
        return -1;
    }
    log_debug("sound unban\n");
    return send_command("SOUND_UNBAN");
}
