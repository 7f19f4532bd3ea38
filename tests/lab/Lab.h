#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace velmora::testing {

/// The lab that this test runs in: its controls and its service. Everything waits with the event loop
/// running.
class Lab
{
public:
    struct Details
    {
        QString address;
        QString sharedSecret;
        QString password;
    };

    /// Whether this process runs in a lab at all.
    static bool isHere();

    /// Whether `labctl` did what the arguments say.
    bool ctl(const QStringList &arguments);
    /// Standard output of a command.
    QByteArray output(const QString &program, const QStringList &arguments);
    /// Asks the service for the connection details of its first endpoint, as the demo account; from then on
    /// the gateway accepts these secrets and no others of that account.
    Details askForDetails();

    QString user() const;

private:
    QJsonObject post(const QString &path, const QJsonObject &body);

    QByteArray token;
};

} // namespace velmora::testing
