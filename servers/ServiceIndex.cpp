#include "servers/ServiceIndex.h"

namespace velmora {

ServiceIndex &ServiceIndex::ofAllServices()
{
    static ServiceIndex index;
    return index;
}

const Service *ServiceIndex::first(const QList<Service> &services, std::optional<qint64> id)
{
    if (!describes(services))
        build(services);
    std::optional<qsizetype> position = positionOf(id);
    // Lists that differ may look alike from outside; a record that is not the wanted one tells.
    if (position && services[*position].id != id) {
        build(services);
        position = positionOf(id);
    }
    return position ? &services[*position] : nullptr;
}

std::optional<qsizetype> ServiceIndex::positionOf(std::optional<qint64> id) const
{
    if (!id)
        return withoutId;
    const auto found = positions.constFind(*id);
    return found != positions.constEnd() ? std::optional(*found) : std::nullopt;
}

bool ServiceIndex::describes(const QList<Service> &services) const
{
    if (services.constData() != records || services.size() != size)
        return false;
    return services.isEmpty() || (services.constFirst().name.constData() == firstName.constData() &&
                                  services.constLast().name.constData() == lastName.constData());
}

void ServiceIndex::build(const QList<Service> &services)
{
    records = services.constData();
    size = services.size();
    firstName = services.isEmpty() ? QString() : services.constFirst().name;
    lastName = services.isEmpty() ? QString() : services.constLast().name;
    positions.clear();
    positions.reserve(size);
    withoutId.reset();
    // From the end, so that of several records with one id the first stays.
    for (qsizetype position = size - 1; position >= 0; --position) {
        const std::optional<qint64> id = services[position].id;
        if (id)
            positions.insert(*id, position);
        else
            withoutId = position;
    }
}

} // namespace velmora
