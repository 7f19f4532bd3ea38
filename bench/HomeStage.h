#pragma once

#include "api/Records.h"
#include "connection/HomeVC.h"

#include <memory>

namespace velmora {
class Window;
}

namespace velmora::bench {

/// A home screen in its window, without a service behind it: its lists are what is put into the store.
class HomeStage
{
public:
    HomeStage();
    ~HomeStage();
    HomeStage(const HomeStage &) = delete;
    HomeStage &operator=(const HomeStage &) = delete;

    /// So many endpoints at one address, named and numbered in order; the first five are favourites.
    static void fillStore(qsizetype count, const QString &address);
    static void fillStore(QList<Service> services);
    /// Gives the endpoints in both lists' first rows another latency.
    static void changeLatencies(double milliseconds);
    /// Reloads what the refresh timer's tick reloads.
    void reloadLists() const;
    void selectFavorite(int row) const;
    HomeVC &home() const { return *screen; }

private:
    std::shared_ptr<HomeVC> screen;
    Window *window;
};

} // namespace velmora::bench
