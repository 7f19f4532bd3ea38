#include "platform/NetworkParts.h"
#include "platform/SoupHttpSession.h"
#include "platform/SystemNetworkVPNManager.h"

namespace velmora {

namespace {

template<class Part, class Made>
std::unique_ptr<Part> make()
{
    return std::make_unique<Made>();
}

} // namespace

// What links these parts needs no module.
const NetworkParts &networkParts()
{
    return velmoraNetworkParts;
}

} // namespace velmora

using namespace velmora;

extern "C" const NetworkParts velmoraNetworkParts{make<VPNManager, SystemNetworkVPNManager>,
                                                  make<HttpSession, SoupHttpSession>};
