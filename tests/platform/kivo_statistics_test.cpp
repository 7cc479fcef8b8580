// SPDX-License-Identifier: MIT
#include "harness.h"

#include "libkivo_statistics.h"

STORY(statistics, a_report_stands_in_the_journal_with_its_name)
{
    desk_page();
    const json_ptr object = json_parse(R"({"type":3,"path":"/mnt/x","list":[1,null,{"a":true}]})");
    EXPECT_EQ(report_stat_object("camwarden.info", object.get()), 0);
    EXPECT_EQ(
        desk_journal_of("statistics"),
        std::vector<std::string>{ R"({"who":"daemon","what":"statistics","name":"camwarden.info",)"
                                  R"("object":{"type":3,"path":"/mnt/x","list":[1,null,{"a":true}]}})" });
}

STORY(statistics, the_caller_keeps_the_object)
{
    desk_page();
    json_object *object = json_of("type", "3").release();
    EXPECT_EQ(report_stat_object("camwarden.info", object), 0);
    EXPECT_EQ(json_text(object), R"({"type":"3"})");
    EXPECT_EQ(json_object_put(object), 1) << "somebody else still holds it, or nobody did";
}

STORY(statistics, a_report_without_name_or_object_is_refused)
{
    desk_page();
    const json_ptr object = json_of("type", "3");
    EXPECT_EQ(report_stat_object(nullptr, object.get()), -1);
    EXPECT_EQ(report_stat_object("camwarden.info", nullptr), -1);
    EXPECT_TRUE(desk_journal_of("statistics").empty());
}

STORY(statistics, without_a_page_nobody_takes_a_report)
{
    const json_ptr object = json_of("type", "3");
    EXPECT_EQ(report_stat_object("camwarden.info", object.get()), -1);
    EXPECT_EQ(desk_file(desk_path("journal")), "");
}
