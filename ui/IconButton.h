#pragma once

#include <QToolButton>

namespace velmora {

/// A quiet button that is one icon in the palette's colours.
class IconButton : public QToolButton
{
    Q_OBJECT
    Q_PROPERTY(QString imageName READ imageName WRITE setImageNamed)
    Q_PROPERTY(bool accented READ isAccented WRITE setAccented)

public:
    explicit IconButton(QWidget *parent = nullptr);

    QString imageName() const { return image; }
    /// Shows the icon of this name from the resources.
    void setImageNamed(const QString &name);

    /// An accented icon has the accent's colour, another one is quiet until the pointer is over it.
    bool isAccented() const { return accent; }
    void setAccented(bool accented);

    /// A number that the button carries for its action.
    qint64 tag() const { return number; }
    void setTag(qint64 tag) { number = tag; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *event) override;
    /// Return presses the button as Space does; the vertical arrows are left to what the button stands in.
    void keyPressEvent(QKeyEvent *event) override;
    void drawIcon(QPainter *painter, int size, const QColor &color) const;
    /// Whether the keyboard is here, so that the focus must be seen.
    bool showsFocus() const;

private:
    QString image;
    qint64 number = 0;
    bool accent = false;
};

} // namespace velmora
