#include "platform/Log.h"
#include "platform/NetworkParts.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cstdlib>

#include <dlfcn.h>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

/// In the build tree it lies, seen from the program, where it is installed.
QString modulePath()
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + u"/../" VELMORA_NETWORK_MODULE ""_s);
}

/// Never unloaded: the types that libraries register with GLib stay.
const NetworkParts &load()
{
    void *const module = dlopen(QFile::encodeName(modulePath()).constData(), RTLD_NOW | RTLD_LOCAL);
    void *const parts = module != nullptr ? dlsym(module, "velmoraNetworkParts") : nullptr;
    if (parts == nullptr) {
        systemLog(u"The installation is broken: %1"_s.arg(QString::fromLocal8Bit(dlerror())));
        std::_Exit(1);
    }
    return *static_cast<const NetworkParts *>(parts);
}

} // namespace

const NetworkParts &networkParts()
{
    static const NetworkParts &parts = load();
    return parts;
}

} // namespace velmora
