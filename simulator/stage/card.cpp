// SPDX-License-Identifier: MIT
#include "stage/card.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>

bool card_is_in(const card &card)
{
    struct stat about = {};
    return lstat(card.place.c_str(), &about) == 0;
}

bool card_put_in(const card &card)
{
    return card_is_in(card) || symlink(card.medium.c_str(), card.place.c_str()) == 0;
}

bool card_take_out(const card &card)
{
    return unlink(card.place.c_str()) == 0 || errno == ENOENT;
}

card_figures card_look(const card &card)
{
    struct statvfs about = {};
    if (statvfs(card.place.c_str(), &about) != 0)
        return {};
    const auto kib = [&about](fsblkcnt_t blocks) {
        return static_cast<int64_t>(blocks * about.f_frsize / 1024);
    };
    return { .total_kib = kib(about.f_blocks),
             .free_kib = kib(about.f_bavail),
             .used_kib = kib(about.f_blocks - about.f_bavail) };
}
