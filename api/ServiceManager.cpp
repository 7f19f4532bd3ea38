#include "api/ServiceManager.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace velmora {

namespace {

/// The longest run of combining marks that a name counts with (Stream-Safe Text Format, Unicode Standard
/// Annex #15): putting a run into order takes time by the square of its length.
constexpr int maximumMarks = 30;
/// A name is composed in pieces of this length: composing moves the rest of its text at each change.
constexpr qsizetype composedLength = 1024;

QString withoutLongRuns(const QString &name)
{
    QString cut;
    cut.reserve(name.size());
    int marks = 0;
    for (const char32_t character : name.toUcs4()) {
        marks = QChar::combiningClass(character) == 0 ? 0 : marks + 1;
        if (marks <= maximumMarks)
            cut.append(QChar::fromUcs4(character));
    }
    return cut;
}

/// A text whose bytes compare as the scalar values of the normalised name do: UTF-8 keeps their order.
QByteArray sortKeyOf(const QString &name)
{
    // No character below U+0300 is changed by composition or combines with its predecessor.
    if (std::all_of(name.begin(), name.end(), [](QChar c) { return c.unicode() < 0x300; }))
        return name.toUtf8();
    const QString cut = withoutLongRuns(name);
    QString composed;
    for (qsizetype start = 0; start < cut.size(); start += composedLength)
        composed += cut.mid(start, composedLength).normalized(QString::NormalizationForm_C);
    return composed.toUtf8();
}

} // namespace

ServiceManager &ServiceManager::shared()
{
    static ServiceManager manager;
    return manager;
}

void sortByName(QList<Service> &services)
{
    std::vector<std::pair<QByteArray, qsizetype>> order;
    order.reserve(static_cast<size_t>(services.size()));
    for (qsizetype index = 0; index < services.size(); ++index)
        order.emplace_back(sortKeyOf(services.at(index).name), index);
    std::sort(order.begin(), order.end());
    QList<Service> sorted;
    sorted.reserve(services.size());
    for (const auto &[key, index] : order)
        sorted.append(std::move(services[index]));
    services = std::move(sorted);
}

} // namespace velmora
