#pragma once

#include "ui/TextLabel.h"

namespace velmora {

/// One line that is elided in the middle where it is too long; its tooltip then has it whole. A text of any
/// length costs no more than what of it can be seen.
class ElidedLabel final : public TextLabel
{
    Q_OBJECT

public:
    using TextLabel::TextLabel;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    QString shownText() const;
};

} // namespace velmora
