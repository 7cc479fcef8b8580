// SPDX-License-Identifier: MIT
#include "stage_desk.h"

#include <sys/socket.h>

#include <csignal>
#include <cstring>

static const char *const no_environment[] = { nullptr };

void stage_desk_open(stage_desk &desk)
{
    desk_page();
    ASSERT_TRUE(server_open(desk.camera.control, desk_path("control")));
    desk.camera.phase = stage_phase::running;
}

void stage_desk_close(stage_desk &desk)
{
    for (program &program : desk.camera.programs) {
        if (program.pid > 0)
            kill(program.pid, SIGKILL);
    }
    stage_stop(desk.camera);
    EXPECT_TRUE(stage_desk_until_phase(desk, stage_phase::ended));
    server_close(desk.camera.control);
    clock_driver_close(desk.camera.clock);
}

void stage_desk_add(stage_desk &desk, const char *name, const std::string &text, stage_role role)
{
    script &script = desk.scripts.emplace_back();
    script.text = text;
    script.words[0] = "/bin/sh";
    script.words[1] = "-c";
    script.words[2] = script.text.c_str();
    script.row = { .name = name,
                   .command = script.words,
                   .environment = no_environment,
                   .end_signal = strcmp(name, "daemon") == 0 ? SIGINT : SIGTERM,
                   .grace_ms = desk.grace_ms,
                   .needs_neighbours = role == stage_role::waits,
                   .serves = role == stage_role::serves };
    desk.camera.programs.push_back({ .row = &script.row });
}

bool stage_desk_until(stage_desk &desk, const std::function<bool()> &condition)
{
    return desk_wait([&] {
        stage_turn(desk.camera, -1, 0);
        return condition();
    });
}

bool stage_desk_until_phase(stage_desk &desk, stage_phase phase)
{
    return stage_desk_until(desk, [&] { return desk.camera.phase == phase; });
}

const program &stage_desk_program(stage_desk &desk, const char *name)
{
    return *stage_find_program(desk.camera, name);
}

void stage_desk_connect(stage_desk &desk, control_link &link)
{
    const size_t before = desk.camera.control.connections.size();
    ASSERT_TRUE(control_connect(link));
    ASSERT_TRUE(stage_desk_until(desk, [&] { return desk.camera.control.connections.size() > before; }));
}

void stage_desk_send(control_link &link, const std::string &line)
{
    const std::string text = line + "\n";
    ASSERT_EQ(send(link.fd, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
}

std::string stage_desk_receive(stage_desk &desk, control_link &link)
{
    json_ptr line;
    EXPECT_TRUE(stage_desk_until(desk, [&] {
        line.reset(control_receive(link, 0));
        return line != nullptr || link.fd < 0;
    })) << "no line came";
    return line == nullptr ? "" : json_text(line.get());
}

std::string stage_desk_ask(stage_desk &desk, control_link &link, const std::string &line)
{
    stage_desk_send(link, line);
    return stage_desk_receive(desk, link);
}

void stage_desk_serve(stage_desk &desk, control_link &link, const std::string &name)
{
    stage_desk_connect(desk, link);
    EXPECT_EQ(stage_desk_ask(desk, link, R"({"do":"serve","name":")" + name + "\"}"), R"({"done":{}})");
}

bool stage_desk_is_refusal(const std::string &answer, const std::string &with)
{
    return answer.starts_with(R"({"refused":")") && answer.find(with) != std::string::npos;
}
