// SPDX-License-Identifier: MIT
// What a changed store key reports.
#include "spec/cells.h"

#include "spec/changes.h"
#include "util/file_start.h"
#include "util/json_verify.h"
#include "util/reply.h"
#include "util/shell.h"
#include "util/text.h"

constexpr size_t figure_size = 20 + 1;

static void report(const spec_change &change, spec_type type, const char *value)
{
    spec_selvar_changed(change.id, change.local.siid, change.local.piid, type, value);
}

static void report_ready_json(const spec_change &change, const char *json)
{
    spec_selvar_changed_pair(change.id, change.local.siid, change.local.piid, spec_string, json);
}

static void report_when(const spec_change &change, const char *true_word)
{
    report(change, spec_boolean, text_equal(change.value, true_word) ? "1" : "0");
}

void report_on_off(const spec_change &change)
{
    report_when(change, "on");
}

void report_in(const spec_change &change)
{
    report_when(change, "in");
}

void report_number(const spec_change &change)
{
    report(change, spec_integer, change.value);
}

void report_text(const spec_change &change)
{
    report(change, spec_string, change.value);
}

void report_json(const spec_change &change)
{
    report_ready_json(change, change.value);
}

void report_flip(const spec_change &change)
{
    report(change, spec_integer, text_equal(change.value, "on") ? "180" : "0");
}

void report_region(const spec_change &change)
{
    report(change, spec_integer, strchr(change.value, '3') ? "1" : "0");
}

// A stored word and the number that goes out for it.
struct word_number {
    const char *word;
    const char *number;
};

static constexpr word_number night_modes[] = { { "2", "0" }, { "0", "2" }, { "1", "1" } };
static constexpr word_number record_modes[] = { { "off", "0" }, { "on", "1" }, { "stop", "2" } };

template <size_t count> static const char *number_for(const word_number (&table)[count], const char *word)
{
    for (const word_number &row : table)
        if (text_equal(row.word, word))
            return row.number;
    return nullptr;
}

void report_night(const spec_change &change)
{
    const char *number = number_for(night_modes, change.value);
    report(change, spec_integer, number ? number : "");
}

void report_record_mode(const spec_change &change)
{
    const char *number = number_for(record_modes, change.value);
    if (number)
        report(change, spec_integer, number);
}

// A card that comes out of state 4 is not reported as 0 the first time.
void report_card_status(const spec_change &change)
{
    int32_t status = atoi(change.value);
    bool silent = last_card_status == 4 && status == 0;
    if (!silent)
        report(change, spec_integer, change.value);
    last_card_status = status;
}

// One column of what df prints of the card; the header's line comes first, so it is mostly a title that is
// converted.
static void report_df(const spec_change &change, const char *pick_column, const char *picked)
{
    shell_run("df /mnt/sdcard > /tmp/sdcardinfo");
    shell_run(pick_column);
    char figure[figure_size];
    file_start(picked, figure, sizeof figure);
    report(change, spec_integer, figure);
}

void report_sd_total(const spec_change &change)
{
    report_df(change, "awk '{print $2}' /tmp/sdcardinfo > /tmp/sdtotal", "/tmp/sdtotal");
}

void report_sd_free(const spec_change &change)
{
    report_df(change, "awk '{print $4}' /tmp/sdcardinfo > /tmp/sdfree", "/tmp/sdfree");
}

void report_sd_used(const spec_change &change)
{
    report_df(change, "awk '{print $3}' /tmp/sdcardinfo > /tmp/sdused", "/tmp/sdused");
}

void report_json_string(const spec_change &change)
{
    spec_json_string json = spec_make_json_string(change.value);
    if (json.text)
        report_ready_json(change, json.text);
}

// A string has no members, so the asked one is never found and no scene is reported.
void report_scene(const spec_change &change)
{
    spec_json_string json = spec_make_json_string(change.value);
    int32_t repeat = 0;
    if (json.text && json_verify_get_int(json_text(json.text, json.object.get()), "repeat", &repeat) == 0 &&
        repeat != 0)
        report_ready_json(change, json.text);
}
