#pragma once

#include <QApplication>
#include <QElapsedTimer>

#include <atomic>
#include <thread>
#include <vector>

namespace velmora::bench {

/// An application that notes how long it handles what arrives: replies, which are handed over as calls to the
/// application object, and repaints. A second thread knocks every millisecond; how long it waits to be heard
/// tells how long the window is held by whatever it is.
class Stretches : public QApplication
{
    Q_OBJECT

public:
    Stretches(int &argc, char **argv);
    ~Stretches() override;
    Stretches(const Stretches &) = delete;
    Stretches &operator=(const Stretches &) = delete;

    bool notify(QObject *receiver, QEvent *event) override;
    /// Forgets what has been noted.
    void restart();
    double longestWait() const { return longest; }

    /// Milliseconds, in order.
    std::vector<double> replies;
    std::vector<double> repaints;

private:
    void knock();

    int depth = 0;
    double longest = 0;
    std::atomic<bool> ended = false;
    QObject door;
    std::thread knocking;
};

} // namespace velmora::bench
