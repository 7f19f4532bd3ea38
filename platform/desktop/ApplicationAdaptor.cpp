#include "platform/desktop/ApplicationAdaptor.h"

#include "platform/desktop/ApplicationInstance.h"

namespace velmora {

using namespace Qt::StringLiterals;

ApplicationAdaptor::ApplicationAdaptor(ApplicationInstance *instance)
    : QDBusAbstractAdaptor(instance), owner(instance)
{
}

void ApplicationAdaptor::Activate(const QVariantMap &platformData)
{
    const QVariant token = platformData.value(u"activation-token"_s);
    Q_EMIT owner->activationRequested(token.toString());
}

void ApplicationAdaptor::Open(const QStringList &, const QVariantMap &platformData)
{
    Activate(platformData);
}

void ApplicationAdaptor::ActivateAction(const QString &, const QVariantList &,
                                        const QVariantMap &platformData)
{
    Activate(platformData);
}

} // namespace velmora
