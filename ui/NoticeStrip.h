#pragma once

#include "ui/Labels.h"

#include <QStringList>

class QVBoxLayout;

namespace velmora {

/// A quiet strip that says what concerns the whole application, a line for each matter. It is part of a
/// screen's layout and not to be seen while there is nothing to say.
class NoticeStrip final : public Card
{
    Q_OBJECT

public:
    /// Sets the lines of all strips of the process, also of those that are made later.
    static void setLines(const QStringList &lines);

    explicit NoticeStrip(QWidget *parent = nullptr);
    ~NoticeStrip() override;

protected:
    void resizeEvent(QResizeEvent *event) override;
    bool event(QEvent *event) override;

private:
    void showLines();
    /// Claims the height that the lines need in the present width; a layout alone would let it be pressed
    /// together where the window is low.
    void claimHeight();

    QVBoxLayout *column;
};

} // namespace velmora
