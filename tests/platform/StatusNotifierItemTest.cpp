#include "platform/desktop/StatusNotifierItem.h"
#include "resources/Pictures.h"
#include "tests/support/FakeStatusHost.h"

#include <QDBusArgument>
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
    void registersWheneverThereIsAWatcherWithAPanel()
    {
        FakeStatusHost panel;
        const StatusNotifierItem item(u"Velmora"_s);
        // Also told when there is none: then the icon goes into the other tray.
        QVERIFY(QSignalSpy(&item, &StatusNotifierItem::hostChanged).wait());
        QVERIFY(!item.hasHost());
        for (const char *const occasion : {"late", "again after a restart"}) {
            panel.start();
            QTRY_VERIFY2(item.hasHost(), occasion);
            QTRY_COMPARE(panel.items, QStringList{QDBusConnection::sessionBus().baseService()});
            panel.setHost(false);
            QTRY_VERIFY2(!item.hasHost(), occasion);
            panel.setHost(true);
            QTRY_VERIFY2(item.hasHost(), occasion);
            panel.stop();
            QTRY_VERIFY2(!item.hasHost(), occasion);
        }
    }

    void onlyTheMainButtonClicks()
    {
        FakeStatusHost panel;
        StatusNotifierItem item(u"Velmora"_s);
        QStringList tokens;
        connect(&item, &StatusNotifierItem::clicked, this, [&](const QString &token) { tokens << token; });
        for (const auto &method : {u"SecondaryActivate"_s, u"ContextMenu"_s})
            tell(panel, u"org.kde.StatusNotifierItem"_s, method, {1, 2});
        tell(panel, u"org.kde.StatusNotifierItem"_s, u"ProvideXdgActivationToken"_s, {u"pass"_s});
        // A permission is good for one time.
        for (int click = 0; click < 2; ++click)
            tell(panel, u"org.kde.StatusNotifierItem"_s, u"Activate"_s, {1, 2});
        QTRY_COMPARE(tokens, (QStringList{u"pass"_s, QString()}));
    }

    void thePanelGetsAPicture()
    {
        FakeStatusHost panel;
        StatusNotifierItem item(u"Velmora"_s);
        item.setIcon(pictures::colouredIcon(u"icon"_s));
        QDBusPendingReply<QVariant> reply = tell(panel, u"org.freedesktop.DBus.Properties"_s, u"Get"_s,
                                                 {u"org.kde.StatusNotifierItem"_s, u"IconPixmap"_s});
        QTRY_VERIFY(reply.isFinished());
        const auto images = reply.value().value<QDBusArgument>();
        QCOMPARE(images.currentSignature(), u"a(iiay)"_s);
        QList<int> sizes;
        for (images.beginArray(); !images.atEnd(); images.endStructure()) {
            int width = 0;
            int height = 0;
            QByteArray pixels;
            images.beginStructure();
            images >> width >> height >> pixels;
            QCOMPARE(pixels.size(), 4 * width * height);
            // Alpha, red, green and blue of the middle, which is blue.
            const QByteArray middle = pixels.mid(4 * (height / 2 * width + width / 2), 4);
            QCOMPARE(middle.at(0), '\xff');
            QVERIFY(uchar(middle.at(1)) < uchar(middle.at(3)));
            sizes.append(width);
        }
        images.endArray();
        QVERIFY(sizes.contains(22));
    }

private:
    static QDBusPendingCall tell(const FakeStatusHost &panel, const QString &interface, const QString &method,
                                 const QVariantList &arguments)
    {
        QDBusMessage call = QDBusMessage::createMethodCall(QDBusConnection::sessionBus().baseService(),
                                                           u"/StatusNotifierItem"_s, interface, method);
        call.setArguments(arguments);
        return panel.bus.asyncCall(call);
    }
};

QTEST_MAIN(StatusNotifierItemTest)
#include "StatusNotifierItemTest.moc"
