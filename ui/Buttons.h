#pragma once

#include <QToolButton>

#include <optional>

namespace velmora {

/// A quiet button that is one icon in the palette's colours.
class IconButton : public QToolButton
{
    Q_OBJECT
    Q_PROPERTY(QString imageName READ imageName WRITE setImageNamed)
    /// An accented icon has the accent's colour, another one is quiet until the pointer is over it.
    Q_PROPERTY(bool accented MEMBER accented)

public:
    explicit IconButton(QWidget *parent = nullptr);

    QString imageName() const { return image; }
    /// Shows the icon of this name from the resources.
    void setImageNamed(const QString &name);

    /// Draws this share of a thin ring around the icon: none at 0, the whole ring at 1.
    void setProgress(qreal share);

    /// A number that the button carries for its action. A press that began with another number has no effect.
    qint64 tag() const { return number; }
    void setTag(qint64 tag);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void leaveEvent(QEvent *event) override;
    /// The vertical arrows are left to the button's parent.
    void keyPressEvent(QKeyEvent *event) override;
    void drawIcon(QPainter *painter, int size, const QColor &color) const;
    /// True where the focus came by the keyboard, so that it must be seen.
    bool showsFocus() const;

private:
    QString image;
    qint64 number = 0;
    bool accented = false;
    /// The tag at the last press since the pointer came here.
    std::optional<qint64> pressedTag;
    qreal progress = 0;
};

} // namespace velmora
