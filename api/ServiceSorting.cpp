#include "api/ServiceSorting.h"

#include <algorithm>
#include <vector>

namespace velmora {

namespace {

/// Text whose bytes compare as the normalised name's scalar values do: UTF-8 keeps their order.
QByteArray sortKey(const QString &name)
{
    // No character below U+0300 is changed by composition or combines with its predecessor.
    const bool composed = std::all_of(name.begin(), name.end(), [](QChar c) { return c.unicode() < 0x300; });
    return (composed ? name : name.normalized(QString::NormalizationForm_C)).toUtf8();
}

struct Keyed
{
    QByteArray key;
    qsizetype index;
};

} // namespace

void sortByName(QList<Service> &services)
{
    std::vector<Keyed> order;
    order.reserve(static_cast<size_t>(services.size()));
    for (qsizetype index = 0; index < services.size(); ++index)
        order.push_back({sortKey(services.at(index).name), index});
    std::stable_sort(order.begin(), order.end(),
                     [](const Keyed &left, const Keyed &right) { return left.key < right.key; });
    QList<Service> sorted;
    sorted.reserve(services.size());
    for (const Keyed &entry : order)
        sorted.append(std::move(services[entry.index]));
    services = std::move(sorted);
}

} // namespace velmora
