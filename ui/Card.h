#pragma once

#include <QWidget>

namespace velmora {

/// A rounded panel that sets its contents apart from the window.
class Card : public QWidget
{
    Q_OBJECT

public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent *event) override;
};

} // namespace velmora
