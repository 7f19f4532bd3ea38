#include "resources/Pictures.h"

#include <QFile>
#include <QIconEngine>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>

#include <algorithm>
#include <utility>

namespace velmora::pictures {

using namespace Qt::StringLiterals;

namespace {

/// Null where the resource does not exist.
QPixmap drawn(const QString &path, int size, qreal devicePixelRatio)
{
    if (!QFile::exists(path))
        return {};
    QSvgRenderer renderer(path);
    QPixmap picture(QSize(size, size) * devicePixelRatio);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    renderer.render(&painter);
    painter.end();
    picture.setDevicePixelRatio(devicePixelRatio);
    return picture;
}

/// The picture that `make` draws, kept for the next time under `key`. Null pictures are not kept.
template<class Make>
QPixmap cached(const QString &key, Make make)
{
    QPixmap picture;
    if (QPixmapCache::find(key, &picture))
        return picture;
    picture = make();
    if (!picture.isNull())
        QPixmapCache::insert(key, picture);
    return picture;
}

bool isPlainCode(const QString &name)
{
    return !name.isEmpty() && std::all_of(name.begin(), name.end(), [](QChar character) {
        return (character >= u'a' && character <= u'z') || character == u'-';
    });
}

} // namespace

QPixmap icon(const QString &name, int size, qreal devicePixelRatio, const QColor &colour)
{
    const QString key =
        u"icon/%1/%2/%3/%4"_s.arg(name).arg(size).arg(devicePixelRatio).arg(colour.name(QColor::HexArgb));
    return cached(key, [&] {
        QPixmap picture = drawn(u":/icons/%1.svg"_s.arg(name), size, devicePixelRatio);
        if (!picture.isNull() && colour.isValid()) {
            QPainter painter(&picture);
            painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
            painter.fillRect(QRect(0, 0, size, size), colour);
        }
        return picture;
    });
}

QPixmap flag(const QString &name, int size, qreal devicePixelRatio)
{
    if (!isPlainCode(name))
        return {};
    const QString key = u"flag/%1/%2/%3"_s.arg(name).arg(size).arg(devicePixelRatio);
    return cached(key, [&] { return drawn(u":/flags/%1.svg"_s.arg(name), size, devicePixelRatio); });
}

namespace {

/// Draws a picture when it is asked for: a window takes every size, a status icon that nothing shows takes
/// none.
class PictureEngine final : public QIconEngine
{
public:
    explicit PictureEngine(QString pictureName) : name(std::move(pictureName)) {}

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override
    {
        painter->drawPixmap(rect, pixmap(rect.size(), mode, state));
    }
    QPixmap pixmap(const QSize &size, QIcon::Mode, QIcon::State) override
    {
        return icon(name, std::min(size.width(), size.height()), 1, {});
    }
    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override
    {
        QList<QSize> sizes;
        for (const int size : {16, 22, 24, 32, 48, 64, 128})
            sizes.append({size, size});
        return sizes;
    }
    QIconEngine *clone() const override { return new PictureEngine(name); }

private:
    const QString name;
};

} // namespace

QIcon colouredIcon(const QString &name)
{
    return QFile::exists(u":/icons/%1.svg"_s.arg(name)) ? QIcon(new PictureEngine(name)) : QIcon();
}

} // namespace velmora::pictures
