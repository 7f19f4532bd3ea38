#include "ui/Alert.h"

#include <QMessageBox>

namespace velmora {

namespace {

/// About what fits on a screen; a service can send far more.
constexpr qsizetype alertCharacters = 2000;

} // namespace

using namespace Qt::StringLiterals;

void runAlert(QWidget *parent, const QString &informativeText)
{
    QMessageBox alert(parent);
    alert.setWindowTitle(u"Alert"_s);
    alert.setText(u"Alert"_s);
    // The service's own words come in here: they are text, never mark-up.
    alert.setTextFormat(Qt::PlainText);
    alert.setInformativeText(informativeText.left(alertCharacters));
    alert.addButton(u"OK"_s, QMessageBox::AcceptRole);
    alert.exec();
}

} // namespace velmora
