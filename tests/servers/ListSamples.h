#pragma once

#include "api/ServiceManager.h"

#include <QTest>

namespace velmora::testing {

inline Service endpoint(std::optional<qint64> id, const QString &name, std::optional<QList<double>> ping = {})
{
    return {id, name, QStringLiteral("US"), QStringLiteral("192.0.2.1"), std::move(ping)};
}

inline void storeMany(int count)
{
    ServiceManager &store = ServiceManager::shared();
    store = {};
    for (qint64 id = 1; id <= count; ++id)
        store.allService.append(endpoint(id, QStringLiteral("Place %1").arg(id)));
    store.countryService = store.allService;
}

template<class List>
void showFilled(List &list)
{
    list.resize(320, 210);
    list.show();
    QVERIFY(QTest::qWaitForWindowExposed(&list));
    list.reloadData();
}

template<class Cell, class List>
Cell *cellAt(List &list, int row)
{
    return qobject_cast<Cell *>(list.viewAtRow(row));
}

} // namespace velmora::testing
