#pragma once

#include <QApplication>

namespace velmora {

/// The application object. It adds nothing to the inherited one.
class VelmoraApp final : public QApplication
{
    Q_OBJECT

public:
    using QApplication::QApplication;
};

} // namespace velmora
