#pragma once

#include "platform/MissingPart.h"

#include <QList>
#include <QObject>
#include <QStringList>
#include <QTimer>

namespace velmora {

class SecretStore;
class VPNManager;

/// Tells in the log and in the strip on the screens which parts of the system are missing, and what to do
/// about it. Nothing else follows from it: every control works as ever.
class MissingParts final : public QObject
{
    Q_OBJECT

public:
    MissingParts(const SecretStore &store, const VPNManager &manager);
    ~MissingParts() override;

    /// The strip's lines for these parts.
    static QStringList lines(QList<MissingPart> parts);

private:
    QList<MissingPart> missing() const;
    void update();
    void tell(const QList<MissingPart> &parts);

    const SecretStore &store;
    const VPNManager &manager;
    QTimer delay;
    QList<MissingPart> told;
};

} // namespace velmora
