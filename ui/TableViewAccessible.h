#pragma once

namespace velmora {

class TableCellView;
class TableView;

/// Teaches Qt to show a `TableView` to assistive tools as a list of its rows on screen. Done once per
/// process.
void installTableViewAccessibility();

/// Tells assistive tools that the selected row is where the keyboard is.
void announceSelectedRow(TableView *table);

/// Tells assistive tools, which remember names, that a row view shows something else.
void announceRowText(TableCellView *view);

} // namespace velmora
