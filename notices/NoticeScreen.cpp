#include "notices/NoticeScreen.h"

#include "notices/NoticePlacement.h"
#include "platform/Log.h"
#include "ui/Window.h"

#include <QGuiApplication>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>

#include <algorithm>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

constexpr int noticeWidth = 360;

} // namespace

void NoticeScreen::viewDidAppear()
{
    Screen::viewDidAppear();
    Window *const shownIn = window();
    if (const QScreen *const main = QGuiApplication::primaryScreen()) {
        if (shownIn == nullptr)
            fatalError(u"A notice has appeared without a window"_s);
        shownIn->move(noticePosition(main->geometry(), main->availableGeometry(), shownIn->size()));
    }
    if (shownIn != nullptr)
        shownIn->setStyleMask(shownIn->styleMask() & ~(WindowStyleMaskTitled | WindowStyleMaskResizable));
    // Return runs the main action.
    const QList<QPushButton *> buttons = loadedView()->findChildren<QPushButton *>();
    for (QPushButton *const button : buttons) {
        if (button->isDefault())
            button->setFocus(Qt::OtherFocusReason);
    }
}

QSize NoticeScreen::preferredContentSize()
{
    QWidget *const card = loadedView();
    const int width = std::max(noticeWidth, card->minimumSizeHint().width());
    return {width, std::max(card->heightForWidth(width), card->minimumSizeHint().height())};
}

void NoticeScreen::closeButtonClicked()
{
    if (Window *const shownIn = window())
        shownIn->close();
}

void NoticeScreen::closeOnEscape(QWidget *card)
{
    auto *const escape = new QShortcut(QKeySequence::Cancel, card);
    connectAction(escape, &QShortcut::activated, &NoticeScreen::closeButtonClicked);
}

} // namespace velmora
