#pragma once

#include "ui/TableView.h"

namespace velmora {

/// The cell layout in the file of this name: makes a row view with its outlets and actions connected. Empty
/// for an unknown name.
TableView::CellLayout cellLayoutNamed(const QString &nibName);

} // namespace velmora
