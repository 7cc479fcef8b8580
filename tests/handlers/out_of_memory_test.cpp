// SPDX-License-Identifier: MIT
// Memory that runs out fails the one request, with a log line, and nothing else.
#include "handlers/properties.h"

#include "fakes/daemon_desk.h"
#include "fakes/memory.h"

#include <algorithm>

struct request_row {
    const char *name;
    int (*run)(char *reply, int size);
};

static const request_row requests[] = {
    { "get_prop",
      [](char *reply, int size) { return otd_send_props(R"({"params":["power","wdr"]})", 7, reply, size); } },
    { "set_motion_record",
      [](char *reply, int size) {
          return otd_set_props(R"({"params":["on"]})", 7, reply, size, "motion_record");
      } },
    { "setAlarmConfig",
      [](char *reply, int size) {
          return otd_set_props(R"({"params":[1]})", 7, reply, size, "motion_alarm");
      } },
    { "getAlarmConfig",
      [](char *reply, int size) {
          return otd_set_props(R"({"params":[]})", 7, reply, size, "motion_alarm_get");
      } },
    { "set_motion_region",
      [](char *reply, int size) {
          return otd_set_props(R"({"params":[1]})", 7, reply, size, "motion_region");
      } },
    { "get_motion_region",
      [](char *reply, int size) {
          return otd_set_props(R"({"params":[]})", 7, reply, size, "get_motion_region");
      } },
};

struct out_of_memory : daemon_desk, testing::WithParamInterface<request_row> {};

static bool complained()
{
    const texts lines = log_lines();
    return std::any_of(lines.begin(), lines.end(),
                       [](const std::string &line) { return line.starts_with("err: "); });
}

TEST_P(out_of_memory, fails_the_request_wherever_it_happens)
{
    strcpy(motion_alarm_cfg, "[1]");
    strcpy(motion_region_cfg, "[3]");
    int refusals = 0;
    for (int nth = 1; nth < 100; nth++) {
        char reply[1024] = "";
        record_clear();
        allocation_fails(nth);
        int result = GetParam().run(reply, sizeof(reply));
        if (!allocation_failed())
            break;
        refusals++;
        EXPECT_EQ(result, -1) << nth;
        EXPECT_STREQ(reply, "") << nth;
        EXPECT_TRUE(complained()) << nth;
    }
    EXPECT_GT(refusals, 1);
}

TEST_P(out_of_memory, does_not_outlast_the_request)
{
    char reply[1024] = "";
    allocation_fails(1);
    EXPECT_EQ(GetParam().run(reply, sizeof(reply)), -1);
    EXPECT_TRUE(allocation_failed());
    EXPECT_EQ(GetParam().run(reply, sizeof(reply)), 0);
}

INSTANTIATE_TEST_SUITE_P(requests, out_of_memory, testing::ValuesIn(requests),
                         [](const auto &row) { return row.param.name; });
