#pragma once

#include "ui/Screen.h"

namespace velmora {

/// What the notices share: a window without title at the top right of the main screen, and a way to close it.
class NoticeScreen : public Screen
{
    Q_OBJECT

public:
    void viewDidAppear() override;
    QSize preferredContentSize() override;

    void closeButtonClicked();

protected:
    /// Lets Escape close the notice.
    void closeOnEscape(QWidget *card);
};

} // namespace velmora
