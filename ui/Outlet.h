#pragma once

#include "platform/Log.h"

#include <QPointer>

namespace velmora {

/// A weak reference to a control that a layout owns. Its use while empty is a fatal error: the layout and the
/// code do not belong together.
template<class T>
class Outlet
{
public:
    Outlet() = default;

    void connect(T *control) { pointer = control; }

    T *operator->() const { return get(); }
    T &operator*() const { return *get(); }
    T *get() const
    {
        if (pointer.isNull())
            fatalError(QStringLiteral("A control is missing in the layout"));
        return pointer.data();
    }

private:
    QPointer<T> pointer;
};

} // namespace velmora
