#pragma once

#include <QWidget>

namespace velmora {

/// The whole of a notice's window, with the line around it that a window without a frame needs to be told
/// from whatever lies under it.
class NoticeCard final : public QWidget
{
    Q_OBJECT

public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent *event) override;
};

} // namespace velmora
