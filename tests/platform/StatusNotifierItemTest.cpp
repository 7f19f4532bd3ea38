#include "platform/StatusNotifierItem.h"
#include "resources/Pictures.h"
#include "tests/support/FakeStatusHost.h"

#include <QDBusArgument>
#include <QDBusInterface>
#include <QDBusPendingCall>
#include <QDBusPendingReply>
#include <QSignalSpy>
#include <QTest>

using namespace velmora;
using namespace velmora::testing;
using namespace Qt::StringLiterals;

class StatusNotifierItemTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void registersWheneverThereIsAWatcher()
    {
        FakeStatusHost panel;
        StatusNotifierItem item(u"Velmora"_s);
        const QSignalSpy changes(&item, &StatusNotifierItem::hostChanged);
        QTRY_COMPARE(changes.size(), 1);
        QVERIFY(!item.hasHost());
        const QStringList once{QDBusConnection::sessionBus().baseService()};
        for (const char *const occasion : {"late", "again after a restart"}) {
            panel.start();
            QTRY_VERIFY2(item.hasHost(), occasion);
            QTRY_COMPARE(panel.items, once);
            panel.stop();
            QTRY_VERIFY2(!item.hasHost(), occasion);
        }
    }

    void aWatcherWithoutAPanelIsNoHost()
    {
        FakeStatusHost panel;
        panel.setHost(false);
        panel.start();
        StatusNotifierItem item(u"Velmora"_s);
        const QSignalSpy changes(&item, &StatusNotifierItem::hostChanged);
        QTRY_COMPARE(changes.size(), 1);
        QVERIFY(!item.hasHost());
        panel.setHost(true);
        QTRY_VERIFY(item.hasHost());
        panel.setHost(false);
        QTRY_VERIFY(!item.hasHost());
    }

    void onlyTheMainButtonClicks()
    {
        FakeStatusHost panel;
        StatusNotifierItem item(u"Velmora"_s);
        QSignalSpy clicks(&item, &StatusNotifierItem::clicked);
        for (const auto &method : {u"SecondaryActivate"_s, u"ContextMenu"_s, u"Activate"_s})
            tell(panel, method, {1, 2});
        QTRY_COMPARE(clicks.size(), 1);
        QCOMPARE(clicks.takeFirst().at(0).toString(), QString());
        tell(panel, u"ProvideXdgActivationToken"_s, {u"pass"_s});
        tell(panel, u"Activate"_s, {1, 2});
        tell(panel, u"Activate"_s, {1, 2});
        QTRY_COMPARE(clicks.size(), 2);
        QCOMPARE(clicks.at(0).at(0).toString(), u"pass"_s);
        // A permission is good for one time.
        QCOMPARE(clicks.at(1).at(0).toString(), QString());
    }

    void thePanelGetsAPictureAndNoMenu()
    {
        FakeStatusHost panel;
        StatusNotifierItem item(u"Velmora"_s);
        item.setIcon(pictures::colouredIcon(u"icon"_s));
        QDBusMessage call = QDBusMessage::createMethodCall(QDBusConnection::sessionBus().baseService(),
                                                           u"/StatusNotifierItem"_s,
                                                           u"org.freedesktop.DBus.Properties"_s, u"GetAll"_s);
        call << u"org.kde.StatusNotifierItem"_s;
        QDBusPendingReply<QVariantMap> reply = panel.bus.asyncCall(call);
        QTRY_VERIFY(reply.isFinished());
        const QVariantMap properties = reply.value();
        QCOMPARE(properties.value(u"Title"_s).toString(), u"Velmora"_s);
        QCOMPARE(properties.value(u"ItemIsMenu"_s), QVariant(false));
        QVERIFY(!properties.contains(u"Menu"_s));

        const auto images = properties.value(u"IconPixmap"_s).value<QDBusArgument>();
        QCOMPARE(images.currentSignature(), u"a(iiay)"_s);
        QList<int> sizes;
        int width = 0;
        int height = 0;
        QByteArray pixels;
        for (images.beginArray(); !images.atEnd(); images.endStructure()) {
            images.beginStructure();
            images >> width >> height >> pixels;
            if (sizes.isEmpty()) {
                // Alpha comes first: the corner is clear, the middle of the left edge is not.
                QCOMPARE(pixels.at(0), '\0');
                QVERIFY(pixels.at(4 * (width * height / 2 + 2)) != '\0');
            }
            QCOMPARE(pixels.size(), 4 * width * height);
            sizes.append(width);
        }
        images.endArray();
        QVERIFY(sizes.contains(16));
        QVERIFY(sizes.contains(22));
    }

private:
    static void tell(FakeStatusHost &panel, const QString &method, const QVariantList &arguments)
    {
        QDBusMessage call =
            QDBusMessage::createMethodCall(QDBusConnection::sessionBus().baseService(),
                                           u"/StatusNotifierItem"_s, u"org.kde.StatusNotifierItem"_s, method);
        call.setArguments(arguments);
        panel.bus.asyncCall(call);
    }
};

QTEST_MAIN(StatusNotifierItemTest)
#include "StatusNotifierItemTest.moc"
