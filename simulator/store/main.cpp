// SPDX-License-Identifier: MIT
// store - the key-value store service of a virtual camera.
#include "common/control.h"
#include "common/run_folder.h"
#include "store/clients.h"
#include "store/commands.h"
#include "store/database.h"
#include "store/keys.h"
#include "store/printable.h"

#include <csignal>
#include <cstdio>
#include <cstring>

struct arguments {
    std::string database;
    std::string defaults;
};

static volatile sig_atomic_t asked_to_end = 0;

static void on_signal(int)
{
    asked_to_end = 1;
}

// Both signals are open only while the service waits, so that no request is left half done.
static sigset_t catch_signals()
{
    struct sigaction action = {};
    action.sa_handler = on_signal;
    signal(SIGPIPE, SIG_IGN); // whoever reads our standard error may have gone
    sigset_t ends;
    sigset_t before;
    sigemptyset(&ends);
    for (const int number : { SIGTERM, SIGINT }) {
        sigaction(number, &action, nullptr);
        sigaddset(&ends, number);
    }
    sigprocmask(SIG_BLOCK, &ends, &before);
    sigdelset(&before, SIGTERM);
    sigdelset(&before, SIGINT);
    return before;
}

static bool take_arguments(int count, char **texts, arguments &taken)
{
    for (int i = 1; i < count; i += 2) {
        std::string *place = nullptr;
        if (strcmp(texts[i], "--database") == 0)
            place = &taken.database;
        else if (strcmp(texts[i], "--defaults") == 0)
            place = &taken.defaults;
        if (!place || i + 1 == count)
            return false;
        *place = texts[i + 1];
    }
    return !taken.database.empty() && !taken.defaults.empty();
}

static int fail(const std::string &sentence)
{
    fprintf(stderr, "store: %s\n", sentence.c_str());
    return 1;
}

static void report_damage(const std::string &sentence)
{
    fprintf(stderr, "store: %s\n", sentence.c_str());
    json_object *fields = json_object_new_object();
    json_object_object_add(fields, "text", printable_json(sentence));
    keys_journal("damaged", fields);
}

static void serve(const sigset_t &while_waiting)
{
    control_service stage = { .name = "store", .answer = commands_answer };
    std::vector<pollfd> waiting;
    while (!asked_to_end) {
        control_service_run(stage);
        waiting.assign(1, { stage.link.fd, POLLIN, 0 });
        clients_wait_for(waiting);
        const timespec second = { .tv_sec = clients_have_work() ? 0 : 1, .tv_nsec = 0 };
        if (ppoll(waiting.data(), waiting.size(), &second, &while_waiting) >= 0)
            clients_run(&waiting[1]);
    }
    control_close(stage.link);
}

int main(int count, char **texts)
{
    arguments given;
    if (!take_arguments(count, texts, given)) {
        fprintf(stderr, "usage: store --database FILE --defaults FILE\n");
        return 2;
    }
    const sigset_t while_waiting = catch_signals();

    std::string text;
    key_map defaults;
    key_map nvram;
    if (!defaults_read(given.defaults, defaults, text))
        return fail(text);
    const database_start start = database_open(given.database, defaults, nvram, text);
    if (start == database_start::failed)
        return fail(text);
    if (start == database_start::replaced)
        report_damage(text);
    keys_start(std::move(defaults), std::move(nvram));

    const bool listens = clients_listen(run_folder_path("store"), text);
    if (listens)
        serve(while_waiting);
    clients_close();
    database_close();
    return listens ? 0 : fail(text);
}
