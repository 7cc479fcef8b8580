// SPDX-License-Identifier: MIT
#include "ctl/options.h"

#include "common/nearest.h"

// clang-format off
static constexpr option_row rows[] = {
    { "--name",    "NAME",  "which camera; if not given, $CAMERA_NAME or \"camera\"",nullptr,               &ctl_options::name   },
    { "--json",    nullptr, "answer in JSON",                                       &ctl_options::json,    nullptr              },
    { "--help",    nullptr, "what the command does",                                &ctl_options::help,    nullptr              },
    { "--detach",  nullptr, "leave the camera running in the background",           &ctl_options::detach,  nullptr              },
    { "--state",   "DIR",   "where the camera keeps its settings",                  nullptr,               &ctl_options::state  },
    { "--fresh",   nullptr, "forget the settings first, as after a purchase",       &ctl_options::fresh,   nullptr              },
    { "--unbound", nullptr, "do not bind the camera to an account",                 &ctl_options::unbound, nullptr              },
    { "--seed",    "N",     "of the random numbers; the same one repeats them",     nullptr,               &ctl_options::seed   },
    { "--speaker", nullptr, "let this machine play the camera's prompts",           &ctl_options::speaker, nullptr              },
    { "--preset",  "P",     "build and run release (if not given), dev, asan, tsan", nullptr,              &ctl_options::preset },
    { "--within", "TIME",   "how long, as in 500ms, 5s or 2m; 10s if not given",  nullptr,               &ctl_options::within },
    { "--since",   "N",     "count from line N of the journal on, \"start\" or \"last\"", nullptr,       &ctl_options::since  },
    { "--follow",  nullptr, "go on until Ctrl-C",                                   &ctl_options::follow,  nullptr              },
    { "--target",  "armhf", "run the daemon's tests as its own processor would",    nullptr,               &ctl_options::target },
    { "--planted", nullptr, "plant faults in the daemon and see the tests catch them", &ctl_options::planted, nullptr            },
    { "--number",  nullptr, "the value is a number of 64 bits, not a text",         &ctl_options::number,  nullptr              },
};
// clang-format on

const std::vector<option_row> &options_table()
{
    static const std::vector<option_row> table(std::begin(rows), std::end(rows));
    return table;
}

static const option_row *find(const std::string &name)
{
    if (name == "-h")
        return find("--help");
    for (const option_row &row : rows) {
        if (name == row.name)
            return &row;
    }
    return nullptr;
}

static std::string unknown_option(const std::string &name)
{
    std::vector<std::string> names;
    for (const option_row &row : rows)
        names.emplace_back(row.name);
    const std::string guess = did_you_mean(name, names);
    return "there is no option \"" + name + "\"" + (guess.empty() ? "; ./camera help lists them" : guess);
}

// Takes the option at line[i], and what belongs to it.
static bool take_option(const std::vector<std::string> &line, size_t &i, ctl_options &options,
                        std::string &reason)
{
    const size_t equals = line[i].find('=');
    const std::string name = line[i].substr(0, equals);
    const option_row *row = find(name);
    if (row == nullptr) {
        reason = unknown_option(name);
        return false;
    }
    options.options.emplace_back(row->name);
    if (row->flag != nullptr) {
        options.*(row->flag) = true;
        if (equals != std::string::npos)
            reason = "the option " + name + " takes no value";
        return equals == std::string::npos;
    }
    const bool apart = equals == std::string::npos && i + 1 < line.size();
    options.*(row->text) = apart ? line[++i] : equals == std::string::npos ? "" : line[i].substr(equals + 1);
    if ((options.*(row->text)).empty())
        reason = "the option " + name + " wants a value: " + name + " " + row->argument;
    return reason.empty();
}

static bool looks_like_option(const std::string &word)
{
    return word.starts_with("--") || word == "-h";
}

bool options_parse(const std::vector<std::string> &line, ctl_options &options, std::string &reason)
{
    bool over = false;
    for (size_t i = 0; i < line.size(); i++) {
        if (!over && line[i] == "--")
            over = true;
        else if (over || !looks_like_option(line[i]))
            options.words.push_back(line[i]);
        else if (!take_option(line, i, options, reason))
            return false;
    }
    return true;
}
