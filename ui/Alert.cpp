#include "ui/Alert.h"

#include <QMessageBox>

namespace velmora {

namespace {

using namespace Qt::StringLiterals;

/// About what fits on a screen; a service can send far more.
constexpr qsizetype beginningCharacters = 1500;
constexpr qsizetype endCharacters = 500;

/// The text as it stands, or, where it is too long to be shown, its beginning and its end.
QString shown(const QString &text)
{
    if (text.size() <= beginningCharacters + endCharacters)
        return text;
    return text.left(beginningCharacters) + u" … "_s + text.right(endCharacters);
}

} // namespace

void runAlert(QWidget *parent, const QString &informativeText)
{
    QMessageBox alert(parent);
    alert.setWindowTitle(u"Alert"_s);
    alert.setText(u"Alert"_s);
    // The service's own words come in here: they are text, never mark-up.
    alert.setTextFormat(Qt::PlainText);
    alert.setInformativeText(shown(informativeText));
    alert.addButton(u"OK"_s, QMessageBox::AcceptRole);
    alert.exec();
}

} // namespace velmora
