#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace velmora::lab {

/// The faults that are switched on at the moment. Each is a file in the folder
/// of the request that it spoils, or in "all"; its contents are its value.
class Faults
{
public:
    explicit Faults(std::filesystem::path folder);

    /// The fault's value, the empty text included, when it is on.
    [[nodiscard]] std::optional<std::string> value(const std::string &request,
                                                   const std::string &fault) const;
    [[nodiscard]] bool isOn(const std::string &request, const std::string &fault) const;

private:
    std::filesystem::path m_folder;
};

} // namespace velmora::lab
