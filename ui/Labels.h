#pragma once

#include "ui/Style.h"

#include <QLabel>

namespace velmora {

/// A line or paragraph in one step of the type scale, in plain text. It follows the system's font.
class TextLabel : public QLabel
{
    Q_OBJECT
    Q_PROPERTY(velmora::Style::TextRole role MEMBER textRole WRITE setRole)

public:
    explicit TextLabel(QWidget *parent = nullptr);

    void setRole(Style::TextRole role);

protected:
    void paintEvent(QPaintEvent *event) override;
    bool event(QEvent *event) override;
    /// The colour of the text: the palette's, fainter where the role is quiet.
    QColor textColor() const;

private:
    Style::TextRole textRole = Style::TextRole::Body;
};

/// One line that is elided in the middle where it is too long; its tooltip then has it whole. Measuring and
/// drawing cost no more than what fits on a screen, however long the text is.
class ElidedLabel final : public TextLabel
{
    Q_OBJECT

public:
    using TextLabel::TextLabel;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return {0, fontMetrics().height()}; }

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    QString shownText() const;
};

/// A picture from the resources: an icon in the colour of the text around it, as high as a line of the status
/// text, or the large mark of the product in its own colours.
class IconView final : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QString imageName MEMBER name WRITE setImageNamed)
    Q_PROPERTY(bool coloured MEMBER coloured)

public:
    using QWidget::QWidget;

    void setImageNamed(const QString &imageName);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString name;
    bool coloured = false;
};

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
