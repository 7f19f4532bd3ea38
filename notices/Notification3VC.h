#pragma once

#include "notices/NoticeScreen.h"
#include "ui/Outlet.h"

namespace velmora {

class RecentTV;

/// The third notice: recent places, and the two ways on from there.
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

} // namespace velmora
