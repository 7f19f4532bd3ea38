#include "ui/PushButton.h"

#include <QKeyEvent>

namespace velmora {

void PushButton::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        click();
    else
        QPushButton::keyPressEvent(event);
}

} // namespace velmora
