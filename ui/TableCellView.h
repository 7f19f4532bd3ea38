#pragma once

#include <QWidget>

namespace velmora {

/// The view of one row of a `TableView`. The table makes few of them and shows one row after another in each.
class TableCellView : public QWidget
{
    Q_OBJECT

public:
    explicit TableCellView(QWidget *parent = nullptr);

    /// The name under which the layout of this view is registered with its table.
    QString identifier() const { return layoutIdentifier; }
    void setIdentifier(const QString &identifier) { layoutIdentifier = identifier; }

    int row() const { return shownRow; }
    bool isSelected() const { return selected; }

    /// What the row reads as, for assistive tools.
    virtual QString spokenText() const = 0;
    /// The one control of the row that the keyboard reaches; null when there is none.
    virtual QWidget *keyControl() const { return nullptr; }

    /// Called before each drawing of the row. Brings its layout up to date.
    virtual void viewWillDraw();

protected:
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    friend class TableView;

    void setRow(int row);
    void setSelected(bool selected);
    /// Gives the parts of a selected row the colours of its fill.
    void applyColors();

    QString layoutIdentifier;
    int shownRow = -1;
    bool selected = false;
};

} // namespace velmora
