// SPDX-License-Identifier: MIT
#include "cloud_property_desk.h"

void property_desk_open(cloud_desk &desk)
{
    cloud_desk_open(desk);
    daemon_connects(desk);
    network_comes_up(desk);
    daemon_announces(desk, { "get_properties", "set_properties" });
}

std::string refusal(cloud_desk &desk, const char *name, const std::string &arguments)
{
    return json_get_text(json_parse(command(desk, name, arguments)).get(), "refused");
}

std::vector<std::string> believed(cloud_desk &desk)
{
    std::vector<std::string> all;
    for (const property &row : properties_table()) {
        const property_copy &copy = *property_copy_of(desk.self, { row.siid, row.piid });
        if (copy.value)
            all.push_back(row.name + ("=" + json_text(copy.value.get())) + " " + copy.from);
    }
    return all;
}

void daemon_answers(cloud_desk &desk, const std::string &text)
{
    const size_t before = journal_texts("received").size();
    daemon_says(desk, text);
    cloud_works_until(desk, [&] { return journal_texts("received").size() > before; });
}

std::string property_report(const std::string &number, const std::string &value)
{
    const size_t point = number.find('.');
    return R"({"id" : 0,"method" : "properties_changed","params" : [{"did" : "123","siid" : )" +
           number.substr(0, point) + R"(,"piid" : )" + number.substr(point + 1) + R"(,"value" : )" + value +
           "}]}";
}
