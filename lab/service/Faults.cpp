#include "Faults.h"

#include <fstream>
#include <iterator>
#include <utility>

namespace velmora::lab {

Faults::Faults(std::filesystem::path folder) : m_folder(std::move(folder)) {}

std::optional<std::string> Faults::value(const std::string &request, const std::string &fault) const
{
    for (const std::string &scope : {request, std::string("all")}) {
        std::ifstream file(m_folder / scope / fault);
        if (file)
            return std::string(std::istreambuf_iterator<char>(file), {});
    }
    return std::nullopt;
}

bool Faults::isOn(const std::string &request, const std::string &fault) const
{
    return value(request, fault).has_value();
}

} // namespace velmora::lab
