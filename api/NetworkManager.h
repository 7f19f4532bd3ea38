#pragma once

#include "account/Keychain.h"
#include "api/Records.h"

#include <QMap>

#include <functional>

namespace velmora {

/// The paths of the requests, behind the API's base URL.
enum class APIEndPoints { token, reset, service, favorite };

/// Client of the service's HTTP API: one for each request, with a handle on the credential store of its own;
/// gone when the request is sent.
///
/// Each operation sends exactly one request. Its completion runs from the event loop, with the decoded record
/// or, after one diagnostic line on standard output, with nothing when the reply cannot be decoded; HTTP
/// status codes do not matter. When the request fails before any byte of a reply the completion is dropped
/// without a call.
class NetworkManager
{
public:
    template<class Record>
    using Completion = std::function<void(const std::optional<Record> &)>;

    static NetworkManager forOneRequest() { return {}; }

    void login(const QString &username, const QString &password, Completion<Token> completion) const;
    void resetPassword(const QString &username, Completion<Response> completion) const;
    void getServices(Completion<ServiceResponse> completion) const;
    void getFavorites(Completion<FavServiceResponse> completion) const;
    void addFavorite(qint64 endpointId, Completion<Response> completion) const;
    void removeFavorite(qint64 endpointId, Completion<Response> completion) const;
    void connectEndpoint(qint64 endpointId, Completion<EndpointConnectResponse> completion) const;

private:
    NetworkManager() = default;

    using Headers = QMap<QByteArray, QByteArray>;

    /// The stored headers and the session token, empty where none can be read.
    Headers authorised() const;

    Keychain keychain = Keychain::forApplication();
    Headers headers{{"Content-Type", "application/json"}};
};

} // namespace velmora
