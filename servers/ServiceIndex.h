#pragma once

#include "api/Records.h"

#include <QHash>

namespace velmora {

/// Finds the first record of a list that has a given id, in constant time.
///
/// It is built again when the list is another one. What tells lists apart costs nothing: where the list's
/// records are, how many they are, and whether the names at its ends are the very same texts, which it holds
/// on to. Holding on to the list itself would make each latency that is written into it copy it whole. A
/// record's id is never changed in place.
class ServiceIndex
{
public:
    /// The index of the store's `allService`. One for both lists, because they look into the same records.
    static ServiceIndex &ofAllServices();

    /// The first record of `services` with this id, or without one; null when there is none. Valid as long as
    /// the list is not changed.
    const Service *first(const QList<Service> &services, std::optional<qint64> id);

private:
    bool describes(const QList<Service> &services) const;
    void build(const QList<Service> &services);
    std::optional<qsizetype> positionOf(std::optional<qint64> id) const;

    const Service *records = nullptr;
    qsizetype size = 0;
    QString firstName, lastName;
    QHash<qint64, qsizetype> positions;
    std::optional<qsizetype> withoutId;
};

} // namespace velmora
