#include "platform/vpn/SystemNetworkProfile.h"
#include "platform/vpn/SystemNetworkLibrary.h"
#include "platform/vpn/SystemNetworkSecretAgent.h"
#include "tests/support/FakeSecretStore.h"

#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

namespace {

SystemNetworkProfile fullProfile()
{
    SystemNetworkProfile profile;
    profile.enabled = true;
    profile.protocol.serverAddress = u"gate.example"_s;
    profile.protocol.localIdentifier = u"client"_s;
    profile.protocol.authenticationMethod = VPNIKEAuthenticationMethod::SharedSecret;
    profile.protocol.username = u"jörg@example"_s;
    profile.protocol.passwordReference = "ref:password";
    profile.protocol.sharedSecretReference = "ref:sharedSecret";
    profile.protocol.useExtendedAuthentication = true;
    return profile;
}

GObjectPtr<NMConnection> written(const SystemNetworkProfile &profile)
{
    return refObject(profile.toConnection(SystemNetworkProfile::Scope::Private)->get());
}

/// What the daemon gives back: the settings went over the bus and were completed by its rules.
SystemNetworkProfile readBack(const SystemNetworkProfile &profile)
{
    const GVariantPtr settings(
        g_variant_ref_sink(nm_connection_to_dbus(written(profile).get(), NM_CONNECTION_SERIALIZE_ALL)));
    const GObjectPtr<NMConnection> kept(nm_simple_connection_new_from_dbus(settings.get(), nullptr));
    return kept ? SystemNetworkProfile::fromConnection(kept.get()) : SystemNetworkProfile();
}

} // namespace

class SystemNetworkProfileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsBackWhatWasWritten()
    {
        SystemNetworkProfile profile = fullProfile();
        QVERIFY(readBack(profile) == profile);
        profile.enabled = false;
        profile.protocol.disconnectOnSleep = true;
        profile.protocol.passwordReference = QByteArray("\0\xff=\n", 4);
        profile.protocol.sharedSecretReference = QByteArray("");
        QVERIFY(readBack(profile) == profile);
        profile.protocol.username.reset();
        profile.protocol.passwordReference.reset();
        profile.protocol.sharedSecretReference.reset();
        QVERIFY(readBack(profile) == profile);
    }

    void refusesWhatThePluginCannotSay()
    {
        SystemNetworkProfile certificate = fullProfile();
        certificate.protocol.authenticationMethod = VPNIKEAuthenticationMethod::Certificate;
        SystemNetworkProfile secretAlone = fullProfile();
        secretAlone.protocol.useExtendedAuthentication = false;
        SystemNetworkProfile cut = fullProfile();
        cut.protocol.serverAddress = u"gate.example\0.evil"_s;
        for (const SystemNetworkProfile &profile : {certificate, secretAlone, cut})
            QVERIFY(!profile.toConnection(SystemNetworkProfile::Scope::Private));
    }

    void agentAnswersForItsProfileWithTheItemsReferredToAlone()
    {
        FakeSecretStore &store = FakeSecretStore::install();
        store.items = {{u"password"_s, u"pä ss"_s}, {u"sharedSecret"_s, u"s3cret"_s}, {u"token"_s, u"t"_s}};
        SystemNetworkProfile profile = fullProfile();
        const GObjectPtr<NMConnection> own = written(profile);
        const Result<GVariantPtr> answer = SystemNetworkSecretAgent::secretsFor(own.get(), "vpn");
        QVERIFY(answer);
        const GCharPtr text(g_variant_print(answer->get(), FALSE));
        QCOMPARE(QString::fromUtf8(text.get()),
                 u"{'vpn': {'secrets': <{'IPSec secret': 's3cret', 'Xauth password': 'pä ss'}>}}"_s);

        QVERIFY(!SystemNetworkSecretAgent::secretsFor(own.get(), "proxy"));
        profile.protocol.passwordReference = "ref:token";
        QVERIFY(!SystemNetworkSecretAgent::secretsFor(written(profile).get(), "vpn"));
        store.failing = true;
        QVERIFY(!SystemNetworkSecretAgent::secretsFor(own.get(), "vpn"));
        store.failing = false;
        g_object_set(nm_connection_get_setting_connection(own.get()), NM_SETTING_CONNECTION_UUID,
                     "7f1c2c33-5b5f-4d7e-9f5e-94cbd4c2c001", nullptr);
        QVERIFY(!SystemNetworkSecretAgent::secretsFor(own.get(), "vpn"));
    }
};

QTEST_GUILESS_MAIN(SystemNetworkProfileTest)
#include "SystemNetworkProfileTest.moc"
