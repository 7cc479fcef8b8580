// SPDX-License-Identifier: MIT
// The fixed tables and the alias.
#include "spec/maps.h"

#include "spec/properties.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>

static spec_pair local(uint32_t siid, uint32_t piid)
{
    spec_pair found = {};
    spec_map_lookup(siid, piid, &found.siid, &found.piid);
    return found;
}

static spec_pair cloud(uint32_t siid, uint32_t piid)
{
    spec_pair found = {};
    spec_map_reverse_lookup(siid, piid, &found.siid, &found.piid);
    return found;
}

TEST(alias, leads_the_clouds_service_7_to_service_9)
{
    EXPECT_EQ(local(7, 3), (spec_pair{ 9, 3 }));
    EXPECT_EQ(local(7, 0), (spec_pair{ 9, 0 }));
    EXPECT_EQ(local(7, 12), (spec_pair{ 9, 12 }));
    EXPECT_EQ(local(7, 0xffffffff), (spec_pair{ 9, 0xffffffff }));
}

TEST(alias, leads_service_9_back_to_7)
{
    EXPECT_EQ(cloud(9, 2), (spec_pair{ 7, 2 }));
    EXPECT_EQ(cloud(9, 0), (spec_pair{ 7, 0 }));
}

TEST(alias, leaves_every_other_pair_as_it_is)
{
    EXPECT_EQ(local(9, 3), (spec_pair{ 9, 3 }));
    EXPECT_EQ(cloud(7, 12), (spec_pair{ 7, 12 }));
    for (uint32_t siid : { 0U, 1U, 2U, 6U, 8U, 10U, 12U, 0xffffffffU }) {
        EXPECT_EQ(local(siid, 5), (spec_pair{ siid, 5 }));
        EXPECT_EQ(cloud(siid, 5), (spec_pair{ siid, 5 }));
    }
}

TEST(alias, is_one_row_for_a_whole_service)
{
    ASSERT_EQ(std::size(spec_map), 1U);
    EXPECT_EQ(spec_map[0].cloud, (spec_pair{ 7, 0 }));
    EXPECT_EQ(spec_map[0].local, (spec_pair{ 9, 0 }));
}

TEST(reported_keys, are_33_in_their_order)
{
    std::string all;
    for (const selvar_spec_row &row : selvar_spec_map)
        all += std::string(row.key) + " " + std::to_string(row.local.siid) + "." +
               std::to_string(row.local.piid) + "\n";
    EXPECT_EQ(std::size(selvar_spec_map), 33U);
    EXPECT_EQ(
        all, "power 2.1\nflip 2.2\nnight_mode 2.3\nwatermark 2.9\nwdr 2.5\nfull_color 2.6\n"
             "motion_record 2.7\ntrack_switch 2.8\nlight 3.1\nsdcard_status 4.1\nsd_total 4.2\nsd_free 4.3\n"
             "sd_used 4.4\nmotion_detection_enable 5.1\nmotion_alarm_interval 5.2\nmotion_region 5.3\n"
             "detection_start 5.4\ndetection_end 5.5\nhuman_detection_enable 9.1\n"
             "report_motion_detection_switch 9.2\nloud_detection_enable 9.3\nfocus_area_name 10.1\n"
             "focus_area_region 10.2\nfocus_clockin 10.4\nfocus_area_in_time 10.6\nfocus_area_out_time 10.8\n"
             "focus_scene 10.9\nfocus_ai_light_switch 7.12\nfocus_time 10.3\nfocus_collect_time 10.12\n"
             "sound_alarm_name 11.1\nsound_alarm_type 11.2\nsound_alarm_enable 11.3\n");
}

TEST(reported_keys, that_are_not_known_have_the_pair_0_0)
{
    EXPECT_EQ(selvar_spec_find("light"), (spec_pair{ 3, 1 }));
    EXPECT_EQ(selvar_spec_find("human_in_area_state"), (spec_pair{ 0, 0 }));
    EXPECT_EQ(selvar_spec_find("ligh"), (spec_pair{ 0, 0 }));
    EXPECT_EQ(selvar_spec_find(""), (spec_pair{ 0, 0 }));
}

TEST(pulled_pairs, are_six_in_their_order)
{
    std::string all;
    for (const spec_pair &pair : sync_spec)
        all += std::to_string(pair.siid) + "." + std::to_string(pair.piid) + " ";
    EXPECT_EQ(all, "5.1 5.2 5.3 5.4 5.5 2.8 ");
}

TEST(property_table, has_39_rows_in_the_clouds_order)
{
    std::string all;
    for (const spec_property &row : spec_properties) {
        spec_pair shown = cloud(row.siid, row.piid);
        all += std::to_string(shown.siid) + "." + std::to_string(shown.piid) + " ";
    }
    EXPECT_EQ(all, "1.1 1.2 1.3 1.4 2.1 2.2 2.3 2.5 2.6 2.7 2.8 2.9 3.1 4.1 4.2 4.3 4.4 5.1 5.2 5.3 5.4 5.5 "
                   "7.1 7.2 7.3 7.12 10.1 10.2 10.3 10.4 10.6 10.8 10.9 10.10 10.11 10.12 11.1 11.2 11.3 ");
}
