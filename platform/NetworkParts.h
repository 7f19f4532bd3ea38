#pragma once

#include <memory>

namespace velmora {

class HttpSession;
class VPNManager;

/// What is made of libnm and libsoup. Together they bring two dozen libraries, whose loading takes a good
/// part of a start: the client has these parts in a module, while other executables link them.
struct NetworkParts
{
    std::unique_ptr<VPNManager> (*makeVPNManager)();
    std::unique_ptr<HttpSession> (*makeHttpSession)();
};

/// The parts. Where they are a module, the first call loads it, and ends the process with status 1 when that
/// fails: the installation is broken. Each executable links exactly one definition.
const NetworkParts &networkParts();

} // namespace velmora

/// The parts themselves, under a name that a look-up in the module finds.
extern "C" const velmora::NetworkParts velmoraNetworkParts;
