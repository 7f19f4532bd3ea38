#pragma once

#include <QString>

/// Values that are compiled in. Each executable links one definition of these functions: the client links the
/// one that CMake generates from its cache variables, a test links its own.
namespace velmora::configuration {

/// Prefix of each request path, with a trailing slash.
QString apiBaseUrl();
/// Host of the service's web site.
QString webHost();
/// Reverse-domain identifier of the application.
QString applicationIdentifier();
QString version();

/// IKE parameters in the notation of NetworkManager's vpnc plugin.
QString ikeDhGroup();
QString natTraversalMode();
/// Idle seconds before dead peer detection sends a request to the gateway, in decimal.
QString dpdIdleSeconds();

} // namespace velmora::configuration
