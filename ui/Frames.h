#pragma once

#include "ui/Labels.h"

namespace velmora {

/// The frame of the screens that are a form: one column, which stands in the middle of a wide window.
class FormPage final : public QWidget
{
    Q_OBJECT

public:
    using QWidget::QWidget;

    QSize minimumSizeHint() const override;

protected:
    bool event(QEvent *event) override;
};

/// A title with a sentence under it and, where it has a name, an icon beside it.
class Heading final : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QString imageName READ imageName WRITE setImageName)
    Q_PROPERTY(QString title READ title WRITE setTitle)
    Q_PROPERTY(QString text READ text WRITE setText)

public:
    explicit Heading(QWidget *parent = nullptr);

    QString imageName() const { return icon->property("imageName").toString(); }
    void setImageName(const QString &name);
    QString title() const { return titleLabel->text(); }
    void setTitle(const QString &title) { titleLabel->setText(title); }
    QString text() const { return textLabel->text(); }
    void setText(const QString &text) { textLabel->setText(text); }

private:
    IconView *icon;
    TextLabel *titleLabel;
    TextLabel *textLabel;
};

/// The control within `part` that Tab reaches from `from`, or Shift+Tab where it does not go forwards; `from`
/// itself where there is no other.
QWidget *nextControl(const QWidget *part, QWidget *from, bool forwards);

/// Gives the focus to the default button of `part` or, where it has none, to the first control in the tab
/// order.
void focusFirstControl(QWidget *part);

} // namespace velmora
