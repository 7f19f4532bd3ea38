#pragma once

#include <QAbstractScrollArea>
#include <QElapsedTimer>
#include <QMap>

#include <functional>

namespace velmora {

class TableView;

/// The view of one row of a `TableView`. The table makes few of them and shows one row after another in each.
class TableCellView : public QWidget
{
    Q_OBJECT

public:
    /// The parent is the viewport of the table.
    explicit TableCellView(QWidget *parent);

    /// The row that this view shows on screen; -1 while it is not there.
    int row() const { return shownRow; }
    TableView *table() const;

    /// The text of the row for assistive tools.
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

    void setSelected(bool isSelected);
    /// Gives the parts of a selected row the colours of its fill.
    void applyColors();

    int shownRow = -1;
    bool selected = false;
    /// The text that assistive tools were given last.
    QString toldText;
};

/// A list of rows of one height, of which at most one is selected. The derived class is its data source and
/// its delegate: it counts the rows and gives the view of each.
///
/// Only rows on screen have a view; a view that scrolls out is taken for the next row that scrolls in, so
/// that cost follows the rows on screen and not the length of the list. That is also why this is no
/// `QTableView`: row views are real widgets, with buttons that the keyboard and assistive tools reach, and
/// there is no model to keep.
class TableView : public QAbstractScrollArea
{
    Q_OBJECT
    /// The line that is shown while there are no rows.
    Q_PROPERTY(QString emptyText MEMBER emptyLine READ emptyText)
    /// How many rows the list asks to be high for; it scrolls for more.
    Q_PROPERTY(int maximumRows MEMBER maximumRows)

public:
    /// Makes one row view as a child of the given widget.
    using CellLayout = std::function<TableCellView *(QWidget *parent)>;

    explicit TableView(QWidget *parent = nullptr);

    /// Counts the rows again and fills the row views on screen again. Keeps the scroll position, the focus
    /// and the index of the selected row; a selected row that no longer exists is no longer selected, which
    /// is not reported.
    virtual void reloadData();
    int rowCount() const { return rows; }
    /// The selected row; -1 when there is none.
    int selectedRow() const { return selection; }
    /// Selects the row if the list allows it, and reports that. Nothing happens when it is selected already.
    void selectRow(int row);
    /// Clears the selection and reports that. Nothing happens when nothing is selected.
    void deselectAll();
    void scrollRowToVisible(int row);
    /// The view of the row, made if necessary; null for a row that does not exist. A view that is not on
    /// screen shows the row until the next one is asked for.
    TableCellView *viewAtRow(int row);
    /// The views of the rows on screen, by row.
    const QMap<int, TableCellView *> &visibleViews() const { return shown; }

    void registerLayout(const CellLayout &layout, const QString &identifier);
    void setRowHeight(int logicalPixels);
    void setBackgroundColor(const QColor &color);
    QString emptyText() const { return emptyLine; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    virtual int numberOfRowsInTableView() const = 0;
    virtual TableCellView *tableViewViewForTableColumnRow(int row) = 0;
    virtual bool tableViewShouldSelectRow(int) const { return true; }
    virtual void tableViewSelectionDidChange() {}
    /// The text that typing in the list searches.
    virtual QString searchTextOfRow(int) const { return {}; }

protected:
    virtual void drawRect(const QRect &rect);
    /// A view of the layout registered under `identifier`: one that is not used any more, or a new one. Null
    /// when none is registered.
    TableCellView *makeViewWithIdentifier(const QString &identifier);
    /// Moves the selection without reporting it; -1 clears it. Returns whether it was another one.
    bool setSelectedRowSilently(int row);

    void showEvent(QShowEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;
    void mousePressEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    bool focusNextPrevChild(bool next) override;

private:
    int offset() const;
    QRect rectOfRow(int row) const;
    /// Brings the scroll bar and the size hint up to date.
    void updateExtent();
    /// Gives each row on screen its view; with `refill` those that have one are filled again.
    void layoutRows(bool refill);
    TableCellView *fillRow(int row);
    void markSelectedView();
    void moveSelection(int row);
    void search(const QString &typed);

    /// Teaches Qt to show a table to assistive tools as a list of its rows.
    static void installAccessibility();
    /// Says that the keyboard is in the selected row.
    void announceSelectedRow() const;
    /// Says that a row view shows another text, for assistive tools remember names.
    static void announceText(TableCellView *view);

    int rows = 0;
    int selection = -1;
    int rowHeight = 35;
    int maximumRows = 4;
    bool loaded = false;
    QColor background = Qt::transparent;
    QString emptyLine;
    CellLayout cellLayout;
    QString cellIdentifier;
    QMap<int, TableCellView *> shown;
    QList<TableCellView *> spare;
    QString typedText;
    QElapsedTimer sinceTyped;
};

} // namespace velmora
