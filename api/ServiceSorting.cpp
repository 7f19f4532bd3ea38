#include "api/ServiceSorting.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

namespace {

/// The names as texts whose bytes compare as the normalised names' scalar values do: UTF-8 keeps their order.
/// All in one piece of memory: a sort goes to and fro between them.
class SortKeys
{
public:
    explicit SortKeys(const QList<Service> &services)
    {
        ends.reserve(static_cast<size_t>(services.size()));
        for (const Service &service : services) {
            append(service.name);
            ends.push_back(bytes.size());
        }
    }

    std::string_view at(size_t index) const
    {
        const size_t begin = index == 0 ? 0 : ends[index - 1];
        return std::string_view(bytes).substr(begin, ends[index] - begin);
    }

private:
    void append(const QString &name)
    {
        // No character below U+0300 is changed by composition or combines with its predecessor.
        const bool composed =
            std::all_of(name.begin(), name.end(), [](QChar c) { return c.unicode() < 0x300; });
        const QByteArray key = (composed ? name : name.normalized(QString::NormalizationForm_C)).toUtf8();
        bytes.append(key.constData(), static_cast<size_t>(key.size()));
    }

    std::string bytes;
    std::vector<size_t> ends;
};

struct Keyed
{
    std::string_view key;
    qsizetype index;
};

} // namespace

void sortByName(QList<Service> &services)
{
    const SortKeys keys(services);
    std::vector<Keyed> order;
    order.reserve(static_cast<size_t>(services.size()));
    for (qsizetype index = 0; index < services.size(); ++index)
        order.push_back({keys.at(static_cast<size_t>(index)), index});
    std::stable_sort(order.begin(), order.end(),
                     [](const Keyed &left, const Keyed &right) { return left.key < right.key; });
    QList<Service> sorted;
    sorted.reserve(services.size());
    for (const Keyed &entry : order)
        sorted.append(std::move(services[entry.index]));
    services = std::move(sorted);
}

} // namespace velmora
