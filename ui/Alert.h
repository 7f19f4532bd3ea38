#pragma once

#include <QString>

class QWidget;

namespace velmora {

/// Shows the alert of the account screens over `parent` and returns when it is dismissed.
void runAlert(QWidget *parent, const QString &informativeText);

} // namespace velmora
