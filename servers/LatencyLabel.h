#pragma once

#include "ui/Labels.h"

namespace velmora {

/// A number with its unit, flush with the trailing edge. Every digit takes the same width, so that the digits
/// of a column stand under each other and nothing moves when a value changes.
class LatencyLabel final : public TextLabel
{
    Q_OBJECT

public:
    using TextLabel::TextLabel;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    int digitWidth() const;
    int widthOf(QChar character) const;
};

} // namespace velmora
