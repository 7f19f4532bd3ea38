#pragma once

#include "api/RecordType.h"

namespace velmora {

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

    bool operator==(const EndpointConnectResponse &) const = default;
};

template<>
inline constexpr auto recordFields<EndpointConnectResponse> = std::array{
    field<&EndpointConnectResponse::success>("success"),
    field<&EndpointConnectResponse::address>("address"),
    field<&EndpointConnectResponse::configuration>("configuration"),
    field<&EndpointConnectResponse::configurationType>("configurationType"),
    field<&EndpointConnectResponse::password>("password"),
};

} // namespace velmora
