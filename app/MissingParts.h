#pragma once

#include "platform/MissingPart.h"

#include <QList>
#include <QObject>
#include <QStringList>
#include <QTimer>

namespace velmora {

class SecretStore;
class VPNManager;

/// Tells the user, in the log and in the strip on the screens, which parts of the system are missing and how
/// to get them. Every control works all the same.
class MissingParts final : public QObject
{
    Q_OBJECT

public:
    MissingParts(const SecretStore &store, const VPNManager &manager);
    ~MissingParts() override;

    static QStringList lines(const QList<MissingPart> &parts);

private:
    void update();
    void tell(const QStringList &lines);

    const SecretStore &store;
    const VPNManager &manager;
    QTimer delay;
    QStringList missing;
    QStringList told;
};

} // namespace velmora
