#include "platform/SystemNetworkProfile.h"
#include "platform/Configuration.h"
#include "platform/SystemNetworkLibrary.h"
#include "platform/SystemNetworkSecretAgent.h"
#include "tests/support/FakeSecretStore.h"
#include "tests/support/OutputCapture.h"

#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;
using Scope = SystemNetworkProfile::Scope;

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

GObjectPtr<NMConnection> written(const SystemNetworkProfile &profile, Scope scope = Scope::Private)
{
    return refObject(profile.toConnection(scope)->get());
}

/// What the daemon keeps: the settings after they went over the bus and were completed by its rules.
GObjectPtr<NMConnection> overTheBus(NMConnection *connection)
{
    const GVariantPtr settings(
        g_variant_ref_sink(nm_connection_to_dbus(connection, NM_CONNECTION_SERIALIZE_ALL)));
    GError *error = nullptr;
    GObjectPtr<NMConnection> kept(nm_simple_connection_new_from_dbus(settings.get(), &error));
    if (error != nullptr)
        qWarning("the daemon would refuse the profile: %s", error->message);
    return kept;
}

} // namespace

class SystemNetworkProfileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsBackWhatWasWritten_data()
    {
        QTest::addColumn<SystemNetworkProfile>("profile");
        QTest::newRow("everything") << fullProfile();
        SystemNetworkProfile disabled = fullProfile();
        disabled.enabled = false;
        QTest::newRow("not enabled") << disabled;
        SystemNetworkProfile sleepy = fullProfile();
        sleepy.protocol.disconnectOnSleep = true;
        QTest::newRow("ends on sleep") << sleepy;
        SystemNetworkProfile bare = fullProfile();
        bare.protocol.username.reset();
        bare.protocol.passwordReference.reset();
        bare.protocol.sharedSecretReference.reset();
        QTest::newRow("no user name, no references") << bare;
        SystemNetworkProfile opaque = fullProfile();
        opaque.protocol.passwordReference = QByteArray("\0\xff=\n", 4);
        opaque.protocol.sharedSecretReference = QByteArray("");
        QTest::newRow("references of any bytes") << opaque;
    }
    void readsBackWhatWasWritten()
    {
        QFETCH(const SystemNetworkProfile, profile);
        const GObjectPtr<NMConnection> kept = overTheBus(written(profile).get());
        QVERIFY(kept);
        QVERIFY(SystemNetworkProfile::fromConnection(kept.get()) == profile);
    }

    void refusesWhatThePluginCannotSay_data()
    {
        QTest::addColumn<SystemNetworkProfile>("profile");
        SystemNetworkProfile profile = fullProfile();
        profile.protocol.authenticationMethod = VPNIKEAuthenticationMethod::Certificate;
        QTest::newRow("certificate") << profile;
        profile = fullProfile();
        profile.protocol.useExtendedAuthentication = false;
        QTest::newRow("shared secret alone") << profile;
        profile = fullProfile();
        profile.protocol.serverAddress = u"gate.example\0.evil"_s;
        QTest::newRow("null character") << profile;
    }
    void refusesWhatThePluginCannotSay()
    {
        QFETCH(const SystemNetworkProfile, profile);
        QVERIFY(!profile.toConnection(Scope::Private));
    }

    void tunnelTakesTheTrafficAndStartsOnlyOnRequest()
    {
        const GObjectPtr<NMConnection> kept = overTheBus(written(fullProfile()).get());
        NMSettingIPConfig *addresses = nm_connection_get_setting_ip4_config(kept.get());
        QVERIFY(!nm_setting_ip_config_get_never_default(addresses));
        QVERIFY(nm_setting_ip_config_get_dns_priority(addresses) < 0);
        addresses = nm_connection_get_setting_ip6_config(kept.get());
        QCOMPARE(nm_setting_ip_config_get_num_routes(addresses), 2U);
        QVERIFY(!nm_setting_connection_get_autoconnect(nm_connection_get_setting_connection(kept.get())));
        QVERIFY(nm_setting_vpn_get_persistent(nm_connection_get_setting_vpn(kept.get())));
    }

    void isPrivateWhereAsked()
    {
        const GObjectPtr<NMConnection> own = written(fullProfile(), Scope::Private);
        NMSettingConnection *setting = nm_connection_get_setting_connection(own.get());
        QVERIFY(nm_setting_connection_permissions_user_allowed(setting, g_get_user_name()));
        QVERIFY(!nm_setting_connection_permissions_user_allowed(setting, "another"));
        QCOMPARE(SystemNetworkProfile::scopeOf(own.get()), Scope::Private);
        const GObjectPtr<NMConnection> common = written(fullProfile(), Scope::SystemWide);
        QCOMPARE(SystemNetworkProfile::scopeOf(common.get()), Scope::SystemWide);
    }

    void agentAnswersWithTheSecretsReferredTo()
    {
        FakeSecretStore &store = FakeSecretStore::install();
        store.items = {{u"password"_s, u"pä ss"_s}, {u"sharedSecret"_s, u"s3cret"_s}};
        const Result<GVariantPtr> answer =
            SystemNetworkSecretAgent::secretsFor(written(fullProfile()).get(), "vpn");
        QVERIFY(answer);
        const GVariantPtr vpn(g_variant_lookup_value(answer->get(), "vpn", G_VARIANT_TYPE("a{sv}")));
        const GVariantPtr secrets(g_variant_lookup_value(vpn.get(), "secrets", G_VARIANT_TYPE("a{ss}")));
        const char *value = nullptr;
        QVERIFY(g_variant_lookup(secrets.get(), "Xauth password", "&s", &value));
        QCOMPARE(QString::fromUtf8(value), u"pä ss"_s);
        QVERIFY(g_variant_lookup(secrets.get(), "IPSec secret", "&s", &value));
        QCOMPARE(QString::fromUtf8(value), u"s3cret"_s);
        QCOMPARE(g_variant_n_children(secrets.get()), gsize(2));
    }

    void agentRefuses_data()
    {
        QTest::addColumn<QByteArray>("uuid");
        QTest::addColumn<QByteArray>("setting");
        QTest::addColumn<QString>("missingItem");
        QTest::addColumn<QByteArray>("reference");
        QTest::addColumn<bool>("failing");
        QTest::addColumn<bool>("asksTheStore");
        const QByteArray own = SystemNetworkProfile::uuid().toUtf8();
        const QByteArray good = "ref:password";
        QTest::newRow("profile of another program")
            << QByteArray("7f1c2c33-5b5f-4d7e-9f5e-94cbd4c2c001") << QByteArray("vpn") << QString() << good
            << false << false;
        QTest::newRow("setting without secrets of ours")
            << own << QByteArray("proxy") << QString() << good << false << false;
        QTest::newRow("item gone") << own << QByteArray("vpn") << u"sharedSecret"_s << good << false << true;
        QTest::newRow("reference to another item")
            << own << QByteArray("vpn") << QString() << QByteArray("ref:token") << false << true;
        QTest::newRow("store fails") << own << QByteArray("vpn") << QString() << good << true << true;
    }
    void agentRefuses()
    {
        QFETCH(const QByteArray, uuid);
        QFETCH(const QByteArray, setting);
        QFETCH(const QString, missingItem);
        QFETCH(const QByteArray, reference);
        QFETCH(const bool, failing);
        QFETCH(const bool, asksTheStore);
        FakeSecretStore &store = FakeSecretStore::install();
        store.items = {{u"password"_s, u"p"_s}, {u"sharedSecret"_s, u"s"_s}, {u"token"_s, u"t"_s}};
        store.items.remove(missingItem);
        store.failing = failing;
        SystemNetworkProfile profile = fullProfile();
        profile.protocol.passwordReference = reference;
        const GObjectPtr<NMConnection> connection = written(profile);
        g_object_set(nm_connection_get_setting_connection(connection.get()), NM_SETTING_CONNECTION_UUID,
                     uuid.constData(), nullptr);
        OutputCapture asked;
        QVERIFY(!SystemNetworkSecretAgent::secretsFor(connection.get(), setting.constData()));
        QCOMPARE(!asked.lines().isEmpty(), asksTheStore);
    }
};

QTEST_GUILESS_MAIN(SystemNetworkProfileTest)
#include "SystemNetworkProfileTest.moc"
