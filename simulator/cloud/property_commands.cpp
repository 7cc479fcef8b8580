// SPDX-License-Identifier: MIT
#include "cloud/property_commands.h"

#include "cloud/property_check.h"
#include "common/control.h"

#include <algorithm>

// What a request names, and the list of "params" that says so to the daemon.
struct wanted {
    property_request request;
    json_ptr params = json_ptr(json_object_new_array());
};

static void want(wanted &all, const std::string &did, property_number number, json_object *value)
{
    json_ptr element = json_of("did", did);
    json_set_number(element.get(), "siid", number.siid);
    json_set_number(element.get(), "piid", number.piid);
    if (value != nullptr)
        json_object_object_add(element.get(), "value", json_object_get(value));
    json_object_array_add(all.params.get(), element.release());
    all.request.numbers.push_back(number);
    all.request.values.emplace_back(json_object_get(value));
}

// The daemon loses what it cannot take at once, and looks for the device id in the first bytes of "params".
static std::string too_long(json_object *params)
{
    constexpr size_t room_for_head = 64;
    constexpr size_t daemon_looks_at = 1023;
    if (json_text(params).size() > daemon_window - room_for_head)
        return "that is too much for one request, which has " + std::to_string(daemon_window) +
               " bytes; take fewer properties or shorter values";
    const char *first = json_object_get_string(json_object_array_get_idx(params, 0));
    if (std::string(first).size() > daemon_looks_at)
        return "the first value is too long: the daemon looks for the device id in the first " +
               std::to_string(daemon_looks_at) + " bytes, and these must hold it whole";
    return "";
}

// The cloud knows the camera by its device id.
static std::string device_id(const cloud &self, std::string &reason)
{
    const std::optional<std::string> did = self.settings.read_store("nvram", "did");
    if (!did || did->empty())
        reason = "the camera has no device id; ./camera store set did ID gives it one";
    return did.value_or("");
}

static json_object *send(cloud &self, wanted &all)
{
    const std::string trouble = too_long(all.params.get());
    if (!trouble.empty())
        return control_refused(trouble);
    const char *method = all.request.writes ? "set_properties" : "get_properties";
    json_ptr answer(cloud_request(self, method, all.params.release()));
    json_object *done = nullptr;
    if (json_object_object_get_ex(answer.get(), "done", &done)) {
        all.request.id = json_get_number(done, "id");
        property_expect(self, std::move(all.request));
    }
    return answer.release();
}

static std::string text_at(json_object *list, size_t i)
{
    const char *text = json_object_get_string(json_object_array_get_idx(list, i));
    return text == nullptr ? "" : text;
}

// The names of a "get", each once: the daemon turns some values over at every mention.
static bool read_names(json_object *names, const std::string &did, wanted &all, std::string &reason)
{
    for (size_t i = 0; i < json_object_array_length(names); i++) {
        const property *row = nullptr;
        property_number number = {};
        if (!properties_resolve(text_at(names, i), number, row, reason))
            return false;
        const std::vector<property_number> &before = all.request.numbers;
        if (std::find(before.begin(), before.end(), number) == before.end())
            want(all, did, number, nullptr);
    }
    return true;
}

json_object *property_get(cloud &self, json_object *arguments)
{
    wanted all;
    std::string reason;
    json_object *names = nullptr;
    const std::string did = device_id(self, reason);
    json_object_object_get_ex(arguments, "properties", &names);
    if (json_object_is_type(names, json_type_array))
        read_names(names, did, all, reason);
    if (!reason.empty())
        return control_refused(reason);
    if (all.request.numbers.empty()) {
        for (const property &row : properties_table())
            want(all, did, { row.siid, row.piid }, nullptr);
    }
    return send(self, all);
}

// One ["name","text"] as number and value.
static bool read_value(json_object *pair, property_number &number, json_ptr &value, std::string &reason)
{
    const property *row = nullptr;
    if (!json_object_is_type(pair, json_type_array) || json_object_array_length(pair) != 2) {
        reason = "each property wants one value";
        return false;
    }
    const std::string name = text_at(pair, 0);
    if (!properties_resolve(name, number, row, reason))
        return false;
    if (row == nullptr)
        reason = "there is no property " + name + "; ./camera prop list shows all";
    else if (!row->settable)
        reason = property_number_text(number) + " " + row->name + " cannot be set by the cloud";
    else
        value = property_value_of(*row, text_at(pair, 1), reason);
    return value != nullptr;
}

// The "values" of a "set" or "keep".
static bool read_values(json_object *arguments, const std::string &did, wanted &all, std::string &reason)
{
    json_object *values = nullptr;
    json_object_object_get_ex(arguments, "values", &values);
    const bool list = json_object_is_type(values, json_type_array) && json_object_array_length(values) > 0;
    if (!list)
        reason = "there is nothing to set; give a property and a value";
    for (size_t i = 0; list && i < json_object_array_length(values); i++) {
        property_number number = {};
        json_ptr value;
        if (!read_value(json_object_array_get_idx(values, i), number, value, reason))
            return false;
        want(all, did, number, value.get());
    }
    return list;
}

json_object *property_set(cloud &self, json_object *arguments)
{
    wanted all;
    std::string reason;
    all.request.writes = true;
    const std::string did = device_id(self, reason);
    if (!reason.empty() || !read_values(arguments, did, all, reason))
        return control_refused(reason);
    return send(self, all);
}

json_object *property_keep(cloud &self, json_object *arguments)
{
    wanted all;
    std::string reason;
    if (!read_values(arguments, "", all, reason) || !(reason = too_long(all.params.get())).empty())
        return control_refused(reason);
    json_object *kept = json_object_new_array();
    for (size_t i = 0; i < all.request.numbers.size(); i++) {
        const property_number number = all.request.numbers[i];
        property_take(self, number, all.request.values[i].get(), "kept");
        json_ptr named = property_named(number, all.request.values[i].get());
        json_object_object_add(named.get(), "pulled",
                               json_object_new_boolean(properties_find(number)->pulled));
        self.settings.note("kept", json_object_get(named.get()));
        json_object_array_add(kept, named.release());
    }
    json_object *done = json_object_new_object();
    json_object_object_add(done, "properties", kept);
    return control_done(done);
}

static json_object *describe(const property &row, const property_copy &copy)
{
    json_object *entry = property_named({ row.siid, row.piid }, copy.value.get()).release();
    json_set_text(entry, "type", property_type_text(row.type));
    json_set_text(entry, "lives", property_lives(row));
    json_set_text(entry, "space", row.space == nullptr ? "" : row.space);
    json_set_text(entry, "key", row.key == nullptr ? "" : row.key);
    json_set_text(entry, "watched", property_watch_text(row.watched));
    json_object_object_add(entry, "settable", json_object_new_boolean(row.settable));
    json_object_object_add(entry, "pulled", json_object_new_boolean(row.pulled));
    json_set_text(entry, "from", copy.from);
    return entry;
}

json_object *property_list(cloud &self, json_object *)
{
    json_object *list = json_object_new_array();
    for (const property &row : properties_table())
        json_object_array_add(list, describe(row, *property_copy_of(self, { row.siid, row.piid })));
    json_object *done = json_object_new_object();
    json_object_object_add(done, "properties", list);
    return control_done(done);
}

json_object *property_check_begin(cloud &self, json_object *)
{
    property_begin_anew(self);
    return control_done(nullptr);
}

static json_object *describe(const property &row, const property_finding &finding)
{
    json_object *entry = property_named({ row.siid, row.piid }, nullptr).release();
    json_set_text(entry, "verdict", property_verdict_text(finding.verdict));
    json_set_text(entry, "reason", finding.reason);
    return entry;
}

json_object *property_check(cloud &self, json_object *)
{
    const bool bound = self.settings.read_store("nvram", "bind_status") == "ok";
    json_object *list = json_object_new_array();
    int64_t differing = 0;
    for (const property &row : properties_table()) {
        property_facts facts;
        facts.copy = property_copy_of(self, { row.siid, row.piid });
        facts.watched =
            row.watched == property_watch::yes || (row.watched == property_watch::if_bound && bound);
        if (row.key != nullptr)
            facts.stored = self.settings.read_store(row.space, row.key);
        const property_finding finding = property_compare(row, facts);
        differing += finding.verdict == property_verdict::differs ? 1 : 0;
        json_object_array_add(list, describe(row, finding));
    }
    json_object *done = json_object_new_object();
    json_set_number(done, "differing", differing);
    json_object_object_add(done, "properties", list);
    json_object_object_add(done, "by_design", property_differences().release());
    return control_done(done);
}
