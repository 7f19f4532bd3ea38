#include "api/ServiceManager.h"

namespace velmora {

ServiceManager &ServiceManager::shared()
{
    static ServiceManager manager;
    return manager;
}

} // namespace velmora
