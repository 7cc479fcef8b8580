// SPDX-License-Identifier: MIT
#include "cloud/property_exchange.h"

#include "cloud/cloud.h"

#include <algorithm>
#include <cstring>

// More than anybody waits for: a daemon that does not answer must not cost memory.
static constexpr size_t most_open = 64;

property_copy *property_copy_of(cloud &self, property_number number)
{
    const property *row = properties_find(number);
    if (row == nullptr)
        return nullptr;
    return &self.properties.copies[static_cast<size_t>(row - properties_table().data())];
}

void property_take(cloud &self, property_number number, json_object *value, const char *from)
{
    property_copy *copy = property_copy_of(self, number);
    if (copy == nullptr || value == nullptr)
        return;
    copy->value.reset(json_object_get(value));
    copy->from = from;
    self.properties.changed = true;
}

void property_expect(cloud &self, property_request request)
{
    std::deque<property_request> &open = self.properties.open;
    if (open.size() == most_open)
        open.pop_front();
    open.push_back(std::move(request));
}

json_ptr property_named(property_number number, json_object *value)
{
    const property *row = properties_find(number);
    json_ptr named = json_of("property", property_number_text(number));
    if (row != nullptr)
        json_set_text(named.get(), "name", row->name);
    if (value != nullptr)
        json_object_object_add(named.get(), "value", json_object_get(value));
    return named;
}

// The same with what else is to be said of an answer.
static json_ptr told(property_number number, const property_entry &entry)
{
    json_ptr named = property_named(number, entry.value.get());
    if (entry.empty)
        json_object_object_add(named.get(), "answered", json_object_new_boolean(false));
    if (entry.code != 0)
        json_set_number(named.get(), "code", entry.code);
    if (!entry.tidy)
        json_object_object_add(named.get(), "json", json_object_new_boolean(false));
    return named;
}

// The answer to the i-th property of a request. Where the daemon has left one out, the number tells.
static const property_entry *entry_for(const property_request &request, size_t i,
                                       const std::vector<property_entry> &entries)
{
    const property_number number = request.numbers[i];
    if (entries.size() == request.numbers.size() && (entries[i].empty || entries[i].number == number))
        return &entries[i];
    for (const property_entry &entry : entries) {
        if (!entry.empty && entry.number == number)
            return &entry;
    }
    return nullptr;
}

static void take_answer(cloud &self, const property_request &request, size_t i, const property_entry &entry)
{
    const property_number number = request.numbers[i];
    property_copy *copy = property_copy_of(self, number);
    if (copy == nullptr)
        return;
    if (request.writes) {
        if (!entry.empty && entry.code == 0)
            property_take(self, number, request.values[i].get(), "written");
        return;
    }
    copy->was_read = true;
    copy->read.empty = entry.empty;
    copy->read.code = entry.code;
    copy->read.tidy = entry.tidy;
    copy->read.value.reset(json_object_get(entry.value.get()));
    if (strcmp(copy->from, "kept") != 0)
        property_take(self, number, entry.value.get(), "read");
}

static void hear_answer(cloud &self, const property_message &message)
{
    std::deque<property_request> &open = self.properties.open;
    const auto found =
        std::find_if(open.begin(), open.end(), [&](const auto &row) { return row.id == message.id; });
    if (found == open.end())
        return;
    const property_request request = std::move(*found);
    open.erase(found);
    static const property_entry nothing;
    json_object *list = json_object_new_array();
    for (size_t i = 0; i < request.numbers.size(); i++) {
        const property_entry *entry = entry_for(request, i, message.entries);
        const property_entry &answer = entry == nullptr ? nothing : *entry;
        take_answer(self, request, i, answer);
        json_object_array_add(list, told(request.numbers[i], answer).release());
    }
    json_object *fields = json_object_new_object();
    json_set_number(fields, "id", message.id);
    json_set_number(fields, "count", static_cast<int64_t>(request.numbers.size()));
    json_object_object_add(fields, "properties", list);
    self.settings.note(request.writes ? "written" : "read", fields);
}

static void hear_report(cloud &self, const property_entry &entry)
{
    property_copy *copy = property_copy_of(self, entry.number);
    if (copy != nullptr)
        copy->reported.reset(json_object_get(entry.value.get()));
    property_take(self, entry.number, entry.value.get(), "reported");
    self.settings.note("reported", told(entry.number, entry).release());
}

void property_hear(cloud &self, const std::string &text)
{
    const property_message message = property_read(text);
    if (message.kind == property_message_kind::answer)
        hear_answer(self, message);
    if (message.kind != property_message_kind::report)
        return;
    for (const property_entry &entry : message.entries)
        hear_report(self, entry);
}

// The daemon reads a value that it has asked for as a text, of whatever type the property is.
static json_object *pulled_value(const property_copy &copy)
{
    return json_new_text(json_object_is_type(copy.value.get(), json_type_string)
                             ? json_object_get_string(copy.value.get())
                             : json_text(copy.value.get()));
}

static json_ptr pull_answer(json_object *message, json_object *elements)
{
    json_ptr answer(json_object_new_object());
    json_object *result = json_object_new_object();
    // Also when it is 0: without an id the daemon would take it for that of the message before.
    json_set_number(answer.get(), "id", json_get_number(message, "id"));
    json_object_object_add(answer.get(), "result", result);
    json_object_object_add(result, "properties", elements);
    return answer;
}

// The daemon loses an answer that it cannot take at once.
static bool fits(json_object *elements, json_object *element)
{
    constexpr size_t room_for_head = 64;
    return json_text(elements).size() + json_text(element).size() + room_for_head <= daemon_window;
}

// One element of the answer. false: the cloud has no value, or none that fits.
static bool answer_element(cloud &self, json_object *asked, json_object *elements, json_object *answered)
{
    const property_number number = { static_cast<int>(json_get_number(asked, "siid")),
                                     static_cast<int>(json_get_number(asked, "piid")) };
    const property_copy *copy = property_copy_of(self, number);
    if (copy == nullptr || !copy->value)
        return false;
    json_ptr element = json_of("did", json_get_text(asked, "did"));
    json_set_number(element.get(), "siid", number.siid);
    json_set_number(element.get(), "piid", number.piid);
    json_object_object_add(element.get(), "value", pulled_value(*copy));
    if (!fits(elements, element.get()))
        return false;
    json_object_array_add(elements, element.release());
    json_object_array_add(answered, property_named(number, copy->value.get()).release());
    return true;
}

void property_answer_pull(cloud &self, json_object *message)
{
    json_object *params = nullptr;
    json_object *asked = nullptr;
    json_object_object_get_ex(message, "params", &params);
    json_object_object_get_ex(params, "properties", &asked);
    json_object *elements = json_object_new_array();
    json_object *answered = json_object_new_array();
    const size_t count = json_object_is_type(asked, json_type_array) ? json_object_array_length(asked) : 0;
    int64_t unknown = 0;
    for (size_t i = 0; i < count; i++)
        unknown += answer_element(self, json_object_array_get_idx(asked, i), elements, answered) ? 0 : 1;
    json_object *fields = json_object_new_object();
    json_set_number(fields, "id", json_get_number(message, "id"));
    json_set_number(fields, "count", static_cast<int64_t>(json_object_array_length(answered)));
    json_set_number(fields, "unknown", unknown);
    json_object_object_add(fields, "properties", answered);
    // Before what the daemon does about it.
    self.settings.note("pulled", fields);
    cloud_send(self, json_text(pull_answer(message, elements).get()));
}

void property_begin_anew(cloud &self)
{
    for (property_copy &copy : self.properties.copies) {
        copy.reported.reset();
        copy.was_read = false;
    }
}
