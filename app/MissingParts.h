#pragma once

#include "platform/desktop/SystemReadiness.h"

#include <QObject>
#include <QStringList>

namespace velmora {

/// Says what the client does not find on the system, in the log and in the strip on the screens, and what to
/// do about it. Nothing else follows from it: every control works as ever.
class MissingParts final : public QObject
{
    Q_OBJECT

public:
    explicit MissingParts(const SystemReadiness &readiness);
    ~MissingParts() override;

    /// What the strip says when these are missing.
    static QStringList lines(const QList<SystemReadiness::Missing> &missing);

private:
    static QString sentence(SystemReadiness::Missing part);
    void say(const QList<SystemReadiness::Missing> &missing);

    QList<SystemReadiness::Missing> said;
};

} // namespace velmora
