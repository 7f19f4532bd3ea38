#include "ui/CurrentWindow.h"

#include "ui/Window.h"

#include <QPointer>

namespace velmora {

namespace {

QPointer<Window> &slot()
{
    static QPointer<Window> window;
    return window;
}

} // namespace

Window *currentWindow()
{
    return slot();
}

void setCurrentWindow(Window *window)
{
    slot() = window;
}

} // namespace velmora
