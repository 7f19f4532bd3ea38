#pragma once

#include <QObject>
#include <QTimer>

namespace velmora {

class LateHttpSession;
class LateVPNManager;

/// Has the network parts loaded as soon as the first window has been painted, so that they do not hold it up.
/// Sets what stands in for them until then; lives as long as that is set.
class LateNetwork final : public QObject
{
    Q_OBJECT

public:
    LateNetwork();
    ~LateNetwork() override;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void load();

    LateVPNManager *vpnManager;
    LateHttpSession *httpSession;
    /// For a start whose window nobody sees.
    QTimer patience;
    bool isLoaded = false;
};

} // namespace velmora
