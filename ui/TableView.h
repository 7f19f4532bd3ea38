#pragma once

#include <QAbstractScrollArea>
#include <QElapsedTimer>
#include <QHash>
#include <QMap>

#include <functional>

namespace velmora {

class TableCellView;

/// A list of rows of one height, of which at most one is selected. The derived class is its data source and
/// its delegate: it counts the rows and gives the view of each.
///
/// Only rows on screen have a view; a view that scrolls out is taken for the next row that scrolls in, so
/// that cost follows what is seen and not the length of the list. That is also why this is no `QTableView`:
/// row views are real widgets, with buttons that the keyboard and assistive tools reach, and there is no
/// model to keep.
class TableView : public QAbstractScrollArea
{
    Q_OBJECT
    Q_PROPERTY(QString emptyText READ emptyText WRITE setEmptyText)
    /// How many rows the list asks to be high for; it scrolls for more.
    Q_PROPERTY(int maximumRows MEMBER wantedRows)

public:
    /// Makes one row view as a child of the given widget.
    using CellLayout = std::function<TableCellView *(QWidget *parent)>;

    explicit TableView(QWidget *parent = nullptr);
    ~TableView() override;

    /// Counts the rows again and fills the row views on screen again. Keeps the scroll position, the focus
    /// and the index of the selected row; a selected row that no longer exists is no longer selected, which
    /// is not reported.
    void reloadData();
    int rowCount() const { return rows; }
    /// The selected row; -1 when there is none.
    int selectedRow() const { return selection; }
    /// Selects the row if the list allows it, and reports that. Nothing happens when it is selected already.
    void selectRow(int row);
    /// Clears the selection and reports that. Nothing happens when nothing is selected.
    void deselectAll();
    void scrollRowToVisible(int row);
    /// The view of the row, made if necessary; null for a row that does not exist.
    TableCellView *viewAtRow(int row);
    /// The views of the rows on screen, from top to bottom.
    QList<TableCellView *> visibleViews() const { return shown.values(); }
    /// How many row views exist, on screen and in reserve.
    qsizetype viewCount() const { return shown.size() + spare.size(); }

    void registerLayout(const CellLayout &layout, const QString &identifier);
    void setRowHeight(int logicalPixels);
    void setBackgroundColor(const QColor &color);

    /// The line that is shown while there are no rows.
    QString emptyText() const { return emptyLine; }
    void setEmptyText(const QString &text);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    virtual int numberOfRowsInTableView() const = 0;
    virtual TableCellView *tableViewViewForTableColumnRow(int row) = 0;
    virtual bool tableViewShouldSelectRow(int row) const;
    virtual void tableViewSelectionDidChange();
    /// What typing in the list searches.
    virtual QString searchTextOfRow(int row) const;

protected:
    virtual void drawRect(const QRect &rect);
    /// A view of the layout registered under `identifier`: one that is not used any more, or a new one. Null
    /// when none is registered.
    TableCellView *makeViewWithIdentifier(const QString &identifier);
    /// Moves the selection without reporting it; -1 clears it.
    void setSelectedRowSilently(int row);

    void showEvent(QShowEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;
    void mousePressEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    bool focusNextPrevChild(bool next) override;

private:
    int offset() const;
    int rowAt(int y) const;
    QRect rectOfRow(int row) const;
    void updateScrollRange();
    /// Gives each row on screen its view; with `refill` those that have one are filled again.
    void layoutRows(bool refill);
    TableCellView *fillRow(int row);
    void retire(TableCellView *view);
    void markSelectedView();
    void updateFocusMark();
    void moveSelection(int row);
    void search(const QString &typed);

    int rows = 0;
    int selection = -1;
    int rowHeight = 35;
    int wantedRows = 4;
    QColor background;
    QString emptyLine;
    QHash<QString, CellLayout> layouts;
    QMap<int, TableCellView *> shown;
    QList<TableCellView *> spare;
    TableCellView *preferred = nullptr;
    QString typedText;
    QElapsedTimer sinceTyped;
    bool loaded = false;
};

} // namespace velmora
