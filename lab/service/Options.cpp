#include "Options.h"

#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace velmora::lab {

namespace {

constexpr std::array optionNames{
    std::pair<std::string_view, std::string Options::*>{"--seed", &Options::seed},
    std::pair<std::string_view, std::string Options::*>{"--database", &Options::database},
    std::pair<std::string_view, std::string Options::*>{"--http-log", &Options::httpLog},
    std::pair<std::string_view, std::string Options::*>{"--faults", &Options::faults},
    std::pair<std::string_view, std::string Options::*>{"--address", &Options::address},
    std::pair<std::string_view, std::string Options::*>{"--port", &Options::port},
    std::pair<std::string_view, std::string Options::*>{"--endpoints", &Options::endpoints},
    std::pair<std::string_view, std::string Options::*>{"--gateway", &Options::gateway},
    std::pair<std::string_view, std::string Options::*>{"--sink", &Options::sink},
    std::pair<std::string_view, std::string Options::*>{"--secrets", &Options::secrets},
    std::pair<std::string_view, std::string Options::*>{"--swanctl", &Options::swanctl},
    std::pair<std::string_view, std::string Options::*>{"--vici", &Options::vici},
    std::pair<std::string_view, std::string Options::*>{"--ready", &Options::ready},
};

} // namespace

Options parseOptions(int argc, char **argv)
{
    Options options;
    for (int i = 1; i < argc; i += 2) {
        const std::string_view name = argv[i];
        bool known = false;
        for (const auto &[optionName, member] : optionNames) {
            if (name != optionName)
                continue;
            if (i + 1 >= argc)
                throw std::runtime_error(std::string(name) + " needs a value");
            options.*member = argv[i + 1];
            known = true;
        }
        if (!known)
            throw std::runtime_error("unknown option " + std::string(name));
    }
    for (const auto &[optionName, member] : optionNames) {
        if ((options.*member).empty())
            throw std::runtime_error(std::string(optionName) + " is missing");
    }
    return options;
}

} // namespace velmora::lab
