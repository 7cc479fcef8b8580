// SPDX-License-Identifier: MIT
#include "ctl/preset.h"

#include "common/nearest.h"
#include "ctl/execute.h"
#include "ctl/say.h"

#include <algorithm>
#include <filesystem>

static const std::vector<std::string> presets = { "release", "dev", "asan", "tsan" };

std::string preset_of(const place &where)
{
    return std::filesystem::path(where.build).filename();
}

bool preset_is_ours(const ctl_request &request, int &status)
{
    const std::string &preset = request.options.preset;
    if (preset.empty() || preset == preset_of(request.where))
        return true;
    if (std::find(presets.begin(), presets.end(), preset) == presets.end()) {
        status = say_could_not(request, "there is no preset \"" + preset + "\"; take " + one_of(presets));
        return false;
    }
    std::vector<std::string> line = { request.where.build + "/../" + preset + "/simulator/ctl" };
    line.insert(line.end(), request.line.begin(), request.line.end());
    execute(line);
    status = say_could_not(request, "there is no build of the preset \"" + preset +
                                        "\"; ./camera run --preset " + preset + " makes it");
    return false;
}
