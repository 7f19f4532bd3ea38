#pragma once

#include <QString>

/// What is compiled in. Each executable links exactly one definition of these functions: the client the one
/// that is generated from the CMake cache variables, a test its own.
namespace velmora::configuration {

/// Text in front of each request path, with its trailing slash.
QString apiBaseUrl();
/// Host of the service's web site.
QString webHost();
/// Reverse-domain identifier of the application.
QString applicationIdentifier();
QString version();

/// IKE parameters in the notation of NetworkManager's vpnc plugin.
QString ikeDhGroup();
QString natTraversalMode();
/// Idle seconds before dead peer detection asks the gateway, in decimal.
QString dpdIdleSeconds();

} // namespace velmora::configuration
