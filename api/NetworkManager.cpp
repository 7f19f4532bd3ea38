#include "api/NetworkManager.h"

#include "platform/Configuration.h"
#include "platform/Log.h"
#include "platform/network/HttpSession.h"

#include <QHash>

#include <nlohmann/json.hpp>

#include <algorithm>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

using Json = nlohmann::ordered_json;

QByteArray encodeParameters(const Json &parameters)
{
    return QByteArray::fromStdString(parameters.dump());
}

QString urlOf(APIEndPoints endPoint, const QString &rest = {})
{
    static const QHash<APIEndPoints, QString> paths{{APIEndPoints::token, u"token"_s},
                                                    {APIEndPoints::reset, u"account/reset"_s},
                                                    {APIEndPoints::service, u"endpoint"_s},
                                                    {APIEndPoints::favorite, u"favorite"_s}};
    return configuration::apiBaseUrl() + paths.value(endPoint) + rest;
}

/// Sends one request; `inspect`, where it is given, sees the body of the reply before it is decoded.
template<class Record>
void send(const HttpRequest &request, NetworkManager::Completion<Record> completion,
          void (*inspect)(const QByteArray &) = nullptr)
{
    HttpSession::send(request, [completion = std::move(completion), inspect](const QByteArray &body) {
        if (inspect != nullptr)
            inspect(body);
        const Result<Record> record = decode<Record>(body);
        if (!record)
            printLine(record.error().description());
        completion(record ? std::optional(*record) : std::nullopt);
    });
}

void dumpResponse(const QByteArray &body)
{
    printLine(u"response.data: "_s + QString::fromUtf8(body));
}

} // namespace

NetworkManager::Headers NetworkManager::authorised() const
{
    QByteArray token = keychain.text(u"token"_s).value_or(QString()).toUtf8();
    // A header cannot carry control characters: such a token counts as unreadable.
    if (std::any_of(token.begin(), token.end(),
                    [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }))
        token.clear();
    Headers all = headers;
    all.insert("X-Auth-Token", token);
    return all;
}

void NetworkManager::login(const QString &username, const QString &password,
                           Completion<Token> completion) const
{
    const Json parameters = {{"username", username.toStdString()}, {"password", password.toStdString()}};
    send<Token>({"POST", urlOf(APIEndPoints::token), headers, encodeParameters(parameters)},
                std::move(completion));
}

void NetworkManager::resetPassword(const QString &username, Completion<Response> completion) const
{
    const Json parameters = {{"username", username.toStdString()}};
    send<Response>({"POST", urlOf(APIEndPoints::reset), headers, encodeParameters(parameters)},
                   std::move(completion));
}

void NetworkManager::getServices(Completion<ServiceResponse> completion) const
{
    send<ServiceResponse>({"GET", urlOf(APIEndPoints::service), authorised(), std::nullopt},
                          std::move(completion));
}

void NetworkManager::getFavorites(Completion<FavServiceResponse> completion) const
{
    send<FavServiceResponse>({"GET", urlOf(APIEndPoints::favorite), authorised(), std::nullopt},
                             std::move(completion));
}

void NetworkManager::addFavorite(qint64 endpointId, Completion<Response> completion) const
{
    const Json parameters = {{"endpoint", endpointId}};
    send<Response>({"POST", urlOf(APIEndPoints::favorite), authorised(), encodeParameters(parameters)},
                   std::move(completion));
}

void NetworkManager::removeFavorite(qint64 endpointId, Completion<Response> completion) const
{
    const Json parameters = {{"endpoint", endpointId}};
    const QString rest = u'/' + QString::number(endpointId);
    send<Response>(
        {"DELETE", urlOf(APIEndPoints::favorite, rest), authorised(), encodeParameters(parameters)},
        std::move(completion));
}

void NetworkManager::connectEndpoint(qint64 endpointId, Completion<EndpointConnectResponse> completion) const
{
    const Json parameters = {{"endpoint", endpointId}, {"configurationType", "ipsec"}};
    send<EndpointConnectResponse>(
        {"POST", urlOf(APIEndPoints::service), authorised(), encodeParameters(parameters)},
        std::move(completion), dumpResponse);
}

} // namespace velmora
