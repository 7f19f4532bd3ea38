#pragma once

#include "ui/TableView.h"

namespace velmora {

/// What the three server lists share: rows of one registered layout, set up again at every draw.
class ServerTV : public TableView
{
    Q_OBJECT

public:
    const QString cellNibName;
    const QString cellIdentifierName;

protected:
    ServerTV(const QString &nibName, const QString &identifierName, int rowLogicalPixels, QWidget *parent);

    void drawRect(const QRect &rect) override;

private:
    /// Repeating it changes nothing, so drawing does not lead to another draw.
    void setUp();

    int rowHeight;
};

} // namespace velmora
