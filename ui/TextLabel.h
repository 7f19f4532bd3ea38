#pragma once

#include "ui/Style.h"

#include <QLabel>

namespace velmora {

/// A line or paragraph in one step of the type scale, in plain text. It follows the system's font.
class TextLabel : public QLabel
{
    Q_OBJECT
    Q_PROPERTY(velmora::Style::TextRole role READ role WRITE setRole)

public:
    explicit TextLabel(QWidget *parent = nullptr);

    Style::TextRole role() const { return textRole; }
    void setRole(Style::TextRole role);

protected:
    void paintEvent(QPaintEvent *event) override;
    bool event(QEvent *event) override;
    /// The colour of the text: the palette's, fainter where the role is quiet.
    QColor textColor() const;

private:
    void applyFont();

    Style::TextRole textRole = Style::TextRole::Body;
};

} // namespace velmora
