// SPDX-License-Identifier: MIT
#include "cloud/property_memory.h"

#include "cloud/cloud.h"

static constexpr const char *ways[] = { "reported", "read", "written", "kept" };

std::string property_memory(cloud &self)
{
    const json_ptr all(json_object_new_object());
    for (const property &row : properties_table()) {
        const property_copy &copy = *property_copy_of(self, { row.siid, row.piid });
        if (!copy.value)
            continue;
        json_ptr one = json_of("from", copy.from);
        json_object_object_add(one.get(), "value", json_object_get(copy.value.get()));
        json_object_object_add(all.get(), row.name, one.release());
    }
    return json_text(all.get());
}

void property_recall(cloud &self, const std::string &memory)
{
    const json_ptr all = json_parse(memory);
    for (const property &row : properties_table()) {
        json_object *one = nullptr;
        json_object *value = nullptr;
        if (!json_object_object_get_ex(all.get(), row.name, &one) ||
            !json_object_object_get_ex(one, "value", &value))
            continue;
        const std::string from = json_get_text(one, "from");
        for (const char *way : ways) {
            if (from == way)
                property_take(self, { row.siid, row.piid }, value, way);
        }
    }
}
