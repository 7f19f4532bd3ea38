#pragma once

#include <QDesktopServices>
#include <QList>
#include <QObject>
#include <QUrl>

namespace velmora::testing {

/// Stands in for the browser and keeps what it was asked to open.
class BrowserSpy : public QObject
{
    Q_OBJECT

public:
    BrowserSpy() { QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "open"); }
    ~BrowserSpy() override { QDesktopServices::unsetUrlHandler(QStringLiteral("https")); }

    QList<QUrl> opened;

public Q_SLOTS:
    void open(const QUrl &url) { opened.append(url); }
};

} // namespace velmora::testing
