// SPDX-License-Identifier: MIT
#include "common/run_folder.h"

#include <cerrno>
#include <cstdlib>

std::string run_folder_path(const char *file)
{
    const char *folder = getenv("CAMERA_RUN");
    if (folder == nullptr || folder[0] == '\0')
        folder = "/run/camera";
    return std::string(folder) + "/" + file;
}

const char *run_folder_who(void)
{
    const char *who = getenv("CAMERA_WHO");
    return who != nullptr && who[0] != '\0' ? who : program_invocation_short_name;
}
