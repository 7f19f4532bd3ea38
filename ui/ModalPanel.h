#pragma once

#include <QPointer>
#include <QWidget>

namespace velmora {

/// Covers a screen, dims it, and holds a card in front of it. While it is visible, the keyboard stays within
/// it; when it is hidden, the keyboard returns to where it was.
class ModalPanel final : public QWidget
{
    Q_OBJECT

public:
    explicit ModalPanel(QWidget *parent = nullptr);

    void setVisible(bool visible) override;

Q_SIGNALS:
    void escapePressed();

protected:
    void paintEvent(QPaintEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    bool focusNextPrevChild(bool next) override;

private:
    /// Brings back a focus that a shortcut of the covered screen took away.
    void keepFocus(const QWidget *now);

    QPointer<QWidget> previousFocus;
    bool open = false;
};

} // namespace velmora
