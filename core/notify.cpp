// SPDX-License-Identifier: MIT
#include "core/notify.h"

#include "core/kit.h"
#include "core/notify_actions.h"
#include "core/watched_keys.h"
#include "libkivo_util.h"
#include "modules/module.h"
#include "sound/sound.h"
#include "spec/changes.h"
#include "store/selvar_nvram.h"
#include "util/text.h"

typedef int (*key_operation)(const char *space, const char *key);

// First every module's mem keys, then every module's nvram keys.
static void for_module_keys(key_operation operate)
{
    for (int i = 0; i < module_count; i++)
        for (int k = 0; module_table[i].mem_keys && k < module_table[i].mem_key_count; k++)
            operate("mem", module_table[i].mem_keys[k]);
    for (int i = 0; i < module_count; i++)
        for (int k = 0; module_table[i].nvram_keys && k < module_table[i].nvram_key_count; k++)
            operate("nvram", module_table[i].nvram_keys[k]);
}

// Registering brings the present value: a prompt that was asked for earlier is not to be played now.
void notify_prepare_sound_play(void)
{
    if (sound_is_ready() == 1)
        selvar_mem_set_string("sound_play", "ready", 1);
    else
        selvar_nvram_unset("mem", "sound_play");
}

void selvar_register_keys(void)
{
    for (const watched_key &watched : watched_keys) {
        if (watched.prepare)
            watched.prepare();
        selvar_nvram_register_notify(watched.space, watched.key);
    }
    for_module_keys(selvar_nvram_register_notify);
}

void selvar_unregister_keys(void)
{
    for (const watched_key &watched : watched_keys)
        selvar_nvram_unregister_notify(watched.space, watched.key);
    selvar_nvram_unregister_notify(watched_when_bound.space, watched_when_bound.key);
    for_module_keys(selvar_nvram_unregister_notify);
}

// Whoever writes a key chooses the type: a number where a text belongs, or a text where the number does, ends
// here.
static bool has_wrong_type(const notify_action *action, const void *value)
{
    if (!value || selvar_delivered_type == selvar_delivers_nothing)
        return false;
    bool is_number = selvar_delivered_type == selvar_delivers_u64;
    bool wants_number = action && action->run_number;
    return is_number != wants_number;
}

static void offer_to_modules(const char *key, const void *value)
{
    for (int i = 0; i < module_count; i++)
        if (module_table[i].selvar_callback)
            module_table[i].selvar_callback(key, value);
}

static void run_action(const notify_action *action, const char *key, const void *value)
{
    if (!action) {
        log_warning("unknown key: %s, msg: %s\n", key, static_cast<const char *>(value));
        return;
    }
    if (action->run_number) {
        uint64_t number = 0;
        memcpy(&number, value, sizeof number);
        action->run_number(number);
        return;
    }
    action->run(static_cast<const char *>(value));
}

void selvar_notify_handler(const char *key, const void *value)
{
    if (!key) {
        log_err("key ptr is null\n");
        return;
    }
    const notify_action *action = notify_action_find(key);
    if (has_wrong_type(action, value))
        return;
    if (!value) {
        log_warning("key: %s, msg: null\n", key);
        if (!action || !action->accepts_null)
            return;
        log_info("%s default process\n", key);
    } else {
        // No property has the one key that comes with a number.
        nubo_spec_handle_properties_changed(last_rpc_id, key, static_cast<const char *>(value));
    }
    offer_to_modules(key, value);
    run_action(action, key, value);
}
