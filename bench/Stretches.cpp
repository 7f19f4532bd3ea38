#include "bench/Stretches.h"

#include <QEvent>

#include <algorithm>
#include <chrono>
#include <semaphore>

namespace velmora::bench {

namespace {

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point began)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - began).count();
}

} // namespace

Stretches::Stretches(int &argc, char **argv) : QApplication(argc, argv), knocking(&Stretches::knock, this) {}

Stretches::~Stretches()
{
    ended = true;
    processEvents();
    knocking.join();
}

bool Stretches::notify(QObject *receiver, QEvent *event)
{
    const bool isReply = receiver == this && event->type() == QEvent::MetaCall;
    const bool isRepaint = event->type() == QEvent::UpdateRequest;
    if (depth > 0 || (!isReply && !isRepaint))
        return QApplication::notify(receiver, event);
    ++depth;
    const Clock::time_point began = Clock::now();
    const bool handled = QApplication::notify(receiver, event);
    (isReply ? replies : repaints).push_back(millisecondsSince(began));
    --depth;
    return handled;
}

void Stretches::restart()
{
    replies.clear();
    repaints.clear();
    longest = 0;
}

void Stretches::knock()
{
    while (!ended) {
        const auto heard = std::make_shared<std::binary_semaphore>(0);
        const Clock::time_point began = Clock::now();
        QMetaObject::invokeMethod(
            &door,
            [this, heard, began] {
                longest = std::max(longest, millisecondsSince(began));
                heard->release();
            },
            Qt::QueuedConnection);
        while (!ended && !heard->try_acquire_for(std::chrono::milliseconds(50))) {
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace velmora::bench
