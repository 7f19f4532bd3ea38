#pragma once

#include <QObject>
#include <QTimer>

namespace velmora {

struct PlatformError;
class VPNManager;

/// Takes the client's profile out of the system's configuration, and tells a person at a terminal what became
/// of it and what the client leaves to them.
class Cleanup final : public QObject
{
    Q_OBJECT

public:
    explicit Cleanup(VPNManager &vpnManager);

    void begin();

Q_SIGNALS:
    /// Comes once, from the event loop: 0 where there is no profile any more, else 1.
    void finished(int exitStatus);

private:
    void remove();
    void tunnelEnded();
    void succeed(const QString &line);
    void fail(const QString &what, const PlatformError &error);
    static void tellWhatStays();
    bool tunnelIsAlive() const;

    VPNManager &manager;
    /// Bounds the wait for the end of the tunnel, and runs for as long as that.
    QTimer patience;
};

} // namespace velmora
