// Draws the screens with sample data into pictures, to be looked at; with --show IDENTIFIER shows one in a
// window.
#include "app/MainStoryboard.h"
#include "tests/support/Scenes.h"
#include "ui/Screen.h"
#include "ui/Style.h"
#include "ui/Window.h"

#include <QApplication>
#include <QWidget>

using namespace velmora;
using namespace Qt::StringLiterals;

namespace {

void takeShots(const QString &suffix)
{
    const QString folder = qApp->arguments().value(1, u"."_s);
    scenes::showAll([&](QWidget &shown, const QString &name) {
        shown.grab().save(folder + u'/' + name + suffix + u".png"_s);
    });
}

int showScreen(const QString &identifier)
{
    QApplication::setApplicationName(u"velmora"_s);
    Window::windowWithContentViewController(makeMainStoryboard()->instantiateNamed(identifier))
        ->makeKeyAndOrderFront();
    return QApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    Style::install();
    if (application.arguments().value(1) == u"--show"_s)
        return showScreen(application.arguments().value(2));
    if (qEnvironmentVariableIsSet("QT_SCALE_FACTOR")) {
        takeShots(u"-200-percent"_s);
        return 0;
    }
    takeShots(u"-light"_s);
    Style::setAppearance({.isDark = true});
    takeShots(u"-dark"_s);
    Style::setAppearance({.isDark = false});
    QApplication::setLayoutDirection(Qt::RightToLeft);
    takeShots(u"-right-to-left"_s);
    QApplication::setLayoutDirection(Qt::LeftToRight);
    Style::setAppearance({.textScale = 1.75});
    takeShots(u"-large-font"_s);
    return 0;
}
