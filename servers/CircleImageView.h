#pragma once

#include <QWidget>

namespace velmora {

/// Shows an image by name, clipped to its bounds with corners of half its height, which makes a square a
/// circle.
class CircleImageView final : public QWidget
{
    Q_OBJECT

public:
    explicit CircleImageView(QWidget *parent = nullptr);

    QString imageName() const { return name; }
    /// Shows the flag of this name; nothing when there is none.
    void setImageNamed(const QString &imageName);

    QSize sizeHint() const override { return {24, 24}; }
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void drawRect(const QRect &rect);

    QString name;
};

} // namespace velmora
