#pragma once

#include "platform/Result.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

/// The service's records. Each names its keys once, in `visitFields()`, in the order in which they are
/// encoded: a `std::optional` is an optional field, any other a required one.
namespace velmora {

/// One VPN endpoint.
struct Service
{
    std::optional<qint64> id;
    QString name;
    /// Upper-case country code.
    QString country;
    /// Host name or address.
    std::optional<QString> address;
    /// Latency in milliseconds: minimum, maximum, average.
    std::optional<QList<double>> ping;

    static void visitFields(auto &record, auto &&visit)
    {
        visit("id", record.id);
        visit("name", record.name);
        visit("country", record.country);
        visit("address", record.address);
        visit("ping", record.ping);
    }
};

/// The endpoint list. The field and its key differ in name.
struct ServiceResponse
{
    std::optional<QList<Service>> services;

    static void visitFields(auto &record, auto &&visit) { visit("endpoints", record.services); }
};

/// The ids of the account's favourite endpoints.
struct FavServiceResponse
{
    std::optional<QList<qint64>> favorites;

    static void visitFields(auto &record, auto &&visit) { visit("favorites", record.favorites); }
};

/// The connection details of one endpoint.
struct EndpointConnectResponse
{
    bool success = false;
    /// Host name or address of the VPN server.
    QString address;
    /// The IPSec pre-shared secret.
    QString configuration;
    QString configurationType;
    /// The VPN password of this connection.
    QString password;

    static void visitFields(auto &record, auto &&visit)
    {
        visit("success", record.success);
        visit("address", record.address);
        visit("configuration", record.configuration);
        visit("configurationType", record.configurationType);
        visit("password", record.password);
    }
};

/// The service's sentence in place of a token.
struct Error
{
    std::optional<QString> message;

    static void visitFields(auto &record, auto &&visit) { visit("message", record.message); }
};

/// The reply to a sign-in; a present token is a success.
struct Token
{
    std::optional<QString> token;
    std::optional<Error> error;

    static void visitFields(auto &record, auto &&visit)
    {
        visit("token", record.token);
        visit("error", record.error);
    }
};

/// A plain success answer.
struct Response
{
    std::optional<bool> success;

    static void visitFields(auto &record, auto &&visit) { visit("success", record.success); }
};

/// Decodes the one JSON object that is `json`; for each of the records above. The error's message names the
/// path of the first wrong value and what was expected there.
///
/// The last of two equal keys counts, unknown keys are ignored. An integer counts by the exact value of its
/// digits, however it is written (3.0, 1e2). Nothing depends on the locale.
template<class Record>
Result<Record> decode(const QByteArray &json);

/// Compact JSON: each present field under its key.
template<class Record>
QByteArray encode(const Record &record);

} // namespace velmora

// A list of them grows without touching each.
Q_DECLARE_TYPEINFO(velmora::Service, Q_RELOCATABLE_TYPE);
