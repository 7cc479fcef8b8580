// SPDX-License-Identifier: MIT
// What "get_properties" answers for a property.
#include "spec/cells.h"

#include "libkivo_util.h"
#include "libselvar_share.h"
#include "spec/service.h"
#include "util/file_start.h"
#include "util/reply.h"
#include "util/text.h"

#include <sys/vfs.h>

constexpr int32_t flipped_degrees = 180;
constexpr size_t release_read_size = 1000 + 1;
constexpr size_t version_size = 40;
constexpr int block_shift = 10;

static const char version_marker[] = "KESTRANO_VERSION=";
static const char build_marker[] = "KESTRANO_BUILDNO";

// Of every entry: the device id, which may lack its NUL, and the pair as it was received.
void spec_entry_text(spec_get &get, const char *value)
{
    snprintf(get.entry, sizeof get.entry,
             "{\"did\" : \"%.20s\",\"siid\" : %d,\"piid\" : %d,\"value\" : \"%s\",\"code\" : 0}", spec_did,
             get.numbers.siid, get.numbers.piid, value);
}

void spec_entry_number(spec_get &get, int32_t value)
{
    snprintf(get.entry, sizeof get.entry,
             "{\"did\" : \"%.20s\",\"siid\" : %d,\"piid\" : %d,\"value\" : %d,\"code\" : 0}", spec_did,
             get.numbers.siid, get.numbers.piid, value);
}

void spec_entry_json(spec_get &get, const char *value)
{
    snprintf(get.entry, sizeof get.entry,
             "{\"did\" : \"%.20s\",\"siid\" : %d,\"piid\" : %d,\"value\" : %s,\"code\" : 0}", spec_did,
             get.numbers.siid, get.numbers.piid, value);
}

void spec_entry_no_such(spec_get &get)
{
    log_err("siid %d have no piid %d !", get.numbers.siid, get.numbers.piid);
    snprintf(get.entry, sizeof get.entry,
             "{\"did\" : \"%.20s\",\"siid\" : %d,\"piid\" : %d,\"code\" : -4003}", spec_did, get.numbers.siid,
             get.numbers.piid);
}

static void entry_unreadable(spec_get &get)
{
    snprintf(get.entry, sizeof get.entry,
             "{\"did\" : \"%.20s\",\"siid\" : %d,\"piid\" : %d,\"code\" : -4004}", spec_did, get.numbers.siid,
             get.numbers.piid);
}

static void entry_bool(spec_get &get, bool value)
{
    spec_entry_json(get, value ? "true" : "false");
}

void get_did(const spec_property &, spec_get &get)
{
    char did[sizeof spec_did + 1] = {};
    memcpy(did, spec_did, sizeof spec_did);
    spec_entry_text(get, did);
}

// What stands between the two markers, the line's end included.
void get_version(const spec_property &, spec_get &get)
{
    char release[release_read_size];
    if (!file_start("/etc/os-release", release, sizeof release)) {
        entry_unreadable(get);
        return;
    }
    const char *from = strstr(release, version_marker);
    const char *to = strstr(release, build_marker);
    if (!from || !to)
        return;
    from += strlen(version_marker);
    if (to < from)
        return;
    char version[version_size];
    snprintf(version, sizeof version, "%.*s", static_cast<int>(to - from), from);
    spec_entry_text(get, version);
}

void get_flip(const spec_property &, spec_get &get)
{
    spec_entry_number(get, get.snapshot.flip ? flipped_degrees : 0);
}

void get_night_and_swap(const spec_property &, spec_get &get)
{
    get.snapshot.night = spec_night_swapped(get.snapshot.night);
    spec_entry_number(get, get.snapshot.night);
}

// In KiB for the usual block sizes. 32 bits wide, whatever the system's record is; 0 without a card.
struct card_figures {
    uint32_t total;
    uint32_t free;
};

static card_figures read_card()
{
    struct statfs status = {};
    if (statfs("/mnt/sdcard", &status) != 0) {
        log_err("[nubo_spec]get sdcard status error");
        return {};
    }
    auto size = static_cast<uint32_t>(status.f_bsize);
    return { (static_cast<uint32_t>(status.f_blocks) >> block_shift) * size,
             (static_cast<uint32_t>(status.f_bavail) >> block_shift) * size };
}

void get_sd_total(const spec_property &, spec_get &get)
{
    spec_entry_number(get, static_cast<int32_t>(read_card().total));
}

void get_sd_free(const spec_property &, spec_get &get)
{
    spec_entry_number(get, static_cast<int32_t>(read_card().free));
}

void get_sd_used(const spec_property &, spec_get &get)
{
    card_figures card = read_card();
    spec_entry_number(get, static_cast<int32_t>(card.total - card.free));
}

// The text under the row's key; value is what to read: that, or the row's text for an absent one, or NULL.
struct stored_text {
    text_ptr stored;
    const char *value;
};

static stored_text read_store(const spec_property &row)
{
    const char *space = row.place == spec_place::nvram ? "nvram" : "mem";
    text_ptr stored(libselvar_config_get(0, space, "default", row.key));
    const char *value = stored ? stored.get() : row.absent;
    return { std::move(stored), value };
}

void get_text(const spec_property &row, spec_get &get)
{
    stored_text text = read_store(row);
    if (text.value)
        spec_entry_text(get, text.value);
}

void get_on_off(const spec_property &row, spec_get &get)
{
    entry_bool(get, text_equal(read_store(row).value, "on"));
}

void get_in(const spec_property &row, spec_get &get)
{
    entry_bool(get, text_equal(read_store(row).value, "in"));
}

void get_decimal(const spec_property &row, spec_get &get)
{
    spec_entry_number(get, atoi(read_store(row).value));
}

void get_region(const spec_property &row, spec_get &get)
{
    spec_entry_number(get, strchr(read_store(row).value, '3') ? 1 : 0);
}

void get_json_string(const spec_property &row, spec_get &get)
{
    stored_text text = read_store(row);
    if (!text.stored) {
        if (text.value)
            spec_entry_json(get, text.value);
        return;
    }
    spec_json_string json = spec_make_json_string(text.value);
    if (json.text)
        spec_entry_json(get, json.text);
}
