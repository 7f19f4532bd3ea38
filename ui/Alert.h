#pragma once

#include <QDialog>

namespace velmora {

/// A dialog of one heading, one text and one button, which is as large as the text needs. The text is plain
/// and whole: it breaks where it must and scrolls where it is longer than the dialog.
class MessageDialog final : public QDialog
{
    Q_OBJECT

public:
    MessageDialog(QWidget *parent, const QString &heading, const QString &text, const QString &button);
};

/// Shows the alert of the account screens over `parent` and returns when it is dismissed. The keyboard is
/// then where it was.
void runAlert(QWidget *parent, const QString &informativeText);

} // namespace velmora
