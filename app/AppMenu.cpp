#include "app/AppMenu.h"

#include "platform/Configuration.h"
#include "ui/Alert.h"
#include "ui/Labels.h"

#include <QBoxLayout>
#include <QCoreApplication>
#include <QMenuBar>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

void showAbout(QWidget *window)
{
    auto *const about =
        new MessageDialog(window, u"Velmora"_s, u"Version %1"_s.arg(configuration::version()), u"Close"_s);
    about->setAttribute(Qt::WA_DeleteOnClose);
    about->setWindowTitle(u"About Velmora"_s);
    auto *const mark = new IconView(about);
    mark->setImageNamed(u"velmora"_s);
    mark->setProperty("coloured", true);
    static_cast<QBoxLayout *>(about->layout())->insertWidget(0, mark, 0, Qt::AlignLeft);
    about->open();
}

} // namespace

QMenuBar *makeAppMenu(QWidget *window, const std::function<void()> &openSettings)
{
    auto *const bar = new QMenuBar(window);
    QMenu *const menu = bar->addMenu(u"&Velmora"_s);

    QAction *const settings = menu->addAction(u"&Settings…"_s);
    settings->setMenuRole(QAction::PreferencesRole);
    settings->setShortcut(Qt::CTRL | Qt::Key_Comma);
    QObject::connect(settings, &QAction::triggered, bar, openSettings);

    QAction *const about = menu->addAction(u"&About Velmora"_s);
    about->setMenuRole(QAction::AboutRole);
    QObject::connect(about, &QAction::triggered, window, [window] { showAbout(window); });

    menu->addSeparator();
    QAction *const quit = menu->addAction(u"&Quit"_s);
    quit->setMenuRole(QAction::QuitRole);
    quit->setShortcut(Qt::CTRL | Qt::Key_Q);
    QObject::connect(quit, &QAction::triggered, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    return bar;
}

} // namespace velmora
