// SPDX-License-Identifier: MIT
// cloud [--unbound] - the cloud client of a virtual camera; stage starts it.
#include "cloud/cloud.h"

#include "cloud/property_memory.h"
#include "common/control.h"
#include "common/journal.h"
#include "libselvar_share.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

static cloud self;

static json_object *answer(const char *command, json_object *arguments)
{
    return cloud_answer(self, command, arguments);
}

static void note(const char *what, json_object *fields)
{
    journal_write("cloud", what, fields);
}

struct text_free {
    void operator()(char *text) const
    {
        free(text);
    }
};

static std::optional<std::string> read_store(const char *space, const char *key)
{
    const std::unique_ptr<char, text_free> value(libselvar_config_get(0, space, "default", key));
    return value ? std::optional<std::string>(value.get()) : std::nullopt;
}

static constexpr char memory_file[] = "/state/cloud.json";
static constexpr char next_memory_file[] = "/state/cloud.json.new";

// In the place of the old one only once it is whole.
static void save(const std::string &memory)
{
    FILE *file = fopen(next_memory_file, "w");
    if (file == nullptr)
        return;
    const bool written = fwrite(memory.data(), 1, memory.size(), file) == memory.size();
    if (fclose(file) == 0 && written)
        rename(next_memory_file, memory_file);
}

static std::string saved(void)
{
    const std::ifstream file(memory_file);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

int main(int count, char **arguments)
{
    const bool unbound = count == 2 && strcmp(arguments[1], "--unbound") == 0;
    if (count > 1 && !unbound) {
        fprintf(stderr, "cloud: it takes --unbound or nothing, not \"%s\"\n", arguments[1]);
        return 2;
    }
    cloud_settings settings;
    settings.bind = !unbound;
    settings.read_store = read_store;
    settings.note = note;
    settings.save = save;
    if (!cloud_open(self, settings)) {
        fprintf(stderr, "cloud: cannot listen on 127.0.0.1:%d: %s\n", settings.port, strerror(errno));
        return 1;
    }
    property_recall(self, saved());
    // Made known only now: who is told that the cloud serves can connect to it.
    control_service service = {};
    service.name = "cloud";
    service.answer = answer;
    for (;;) {
        control_service_run(service);
        cloud_wait(self, service.link.fd);
    }
}
