#pragma once

#include "ui/Outlet.h"
#include "ui/Screen.h"

#include <QRect>

namespace velmora {

class RecentTV;

/// The position of a notice's window, in Qt's coordinates, on a screen of which panels leave `visible` free.
///
/// The window is flush with the top edge of the visible area. Its x, counted from the screen's left edge, is
/// the visible area's width less the window's. That leaves out where the visible area begins, deliberately:
/// with a panel at the left edge, the notice stands that far left of the right edge.
QPoint noticePosition(const QRect &screen, const QRect &visible, const QSize &window);

/// The whole of a notice's window. A window without a frame needs the line around it to stand out on any
/// background.
class NoticeCard final : public QWidget
{
    Q_OBJECT

public:
    explicit NoticeCard(QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;
};

/// The base of the notices: a window without title at the top right of the main screen, and a way to close
/// it.
class NoticeScreen : public Screen
{
    Q_OBJECT

public:
    void viewDidAppear() override;
    QSize preferredContentSize() override;

    void closeButtonClicked();

protected:
    /// A card with this layout, whose close button and Escape close the notice.
    template<class Layout>
    std::unique_ptr<QWidget> makeCard(Layout &layout)
    {
        auto card = std::make_unique<NoticeCard>();
        layout.setupUi(card.get());
        connectClosing(card.get(), layout.closeButton);
        return card;
    }

private:
    void connectClosing(QWidget *card, QAbstractButton *closeButton);
};

/// The first notice says that updates come with the system.
class Notification1VC final : public NoticeScreen
{
    Q_OBJECT

public:
    void updateButtonClicked();

protected:
    std::unique_ptr<QWidget> makeView() override;
};

/// The second notice offers the panel of the home screen that says how an update is installed.
class Notification2VC final : public NoticeScreen
{
    Q_OBJECT

public:
    void updateButtonClicked();

protected:
    std::unique_ptr<QWidget> makeView() override;
};

/// The third notice shows a few places, and the two ways on from there.
class Notification3VC final : public NoticeScreen
{
    Q_OBJECT

public:
    void viewDidLoad() override;

    /// Ends the process where it stands: no destructor runs, and the tunnel and its profile stay as they are.
    [[noreturn]] void exitButtonClicked();
    void openButtonClicked();

protected:
    std::unique_ptr<QWidget> makeView() override;

private:
    Outlet<RecentTV> recentTableView;
};

/// An empty screen that keeps the place of one to come.
class FutureVC final : public Screen
{
    Q_OBJECT

protected:
    std::unique_ptr<QWidget> makeView() override;
};

} // namespace velmora
