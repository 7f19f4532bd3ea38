#pragma once

#include <QWidget>

namespace velmora {

/// A picture from the resources: an icon in the colour of the text around it, or the product's mark in its
/// own.
class IconView final : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QString imageName READ imageName WRITE setImageNamed)
    Q_PROPERTY(bool coloured READ isColoured WRITE setColoured)

public:
    using QWidget::QWidget;

    QString imageName() const { return name; }
    void setImageNamed(const QString &imageName);
    bool isColoured() const { return ownColours; }
    void setColoured(bool coloured);

    /// As high as a line of the status text.
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString name;
    bool ownColours = false;
};

} // namespace velmora
