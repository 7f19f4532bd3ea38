#pragma once

#include "platform/desktop/DesktopAppearance.h"

#include <QProxyStyle>

namespace velmora {

/// The look of the standard controls: flat, rounded, from the palette. It draws over Fusion, which is built
/// into Qt and so costs no plugin at start.
class Style final : public QProxyStyle
{
    Q_OBJECT

public:
    /// Steps of the type scale, all relative to the system's font.
    enum class TextRole { Body, Title, Status, Quiet };
    Q_ENUM(TextRole)

    static constexpr int spaceXs = 4;
    static constexpr int spaceS = 8;
    static constexpr int spaceM = 12;
    static constexpr int spaceL = 16;
    static constexpr int spaceXl = 24;
    static constexpr int radius = 8;

    /// Gives the application this style and its palette: the desktop's with the product's accent or, where
    /// the desktop has none, the product's own. Follows the desktop's changes from then on.
    static void install();
    /// Follows what the desktop asks for. The text scale applies to the font that the application has at the
    /// first call; a palette of the desktop goes before the product's dark one.
    static void setAppearance(const Appearance &wanted);

    /// The application's font in this step of the scale.
    static QFont font(TextRole role);
    /// Draws the ring that shows where the keyboard is.
    static void drawFocusRing(QPainter *painter, const QRectF &rect, const QColor &color,
                              qreal corner = radius);
    /// Draws a rounded area with an optional outline.
    static void drawPanel(QPainter *painter, const QRectF &rect, const QColor &fill,
                          const QColor &outline = Qt::transparent, qreal corner = radius);

    Style();

    void drawPrimitive(PrimitiveElement element, const QStyleOption *option, QPainter *painter,
                       const QWidget *widget) const override;
    void drawControl(ControlElement element, const QStyleOption *option, QPainter *painter,
                     const QWidget *widget) const override;
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex *option, QPainter *painter,
                            const QWidget *widget) const override;
    QRect subControlRect(ComplexControl control, const QStyleOptionComplex *option, SubControl subControl,
                         const QWidget *widget) const override;
    QSize sizeFromContents(ContentsType type, const QStyleOption *option, const QSize &contents,
                           const QWidget *widget) const override;
    int styleHint(StyleHint hint, const QStyleOption *option, const QWidget *widget,
                  QStyleHintReturn *returnData) const override;
    QIcon standardIcon(StandardPixmap picture, const QStyleOption *option,
                       const QWidget *widget) const override;
    int pixelMetric(PixelMetric metric, const QStyleOption *option, const QWidget *widget) const override;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    static void applyPalette();
    /// Underlines the letters that Alt presses, for as long as it is held.
    void showMnemonics(QWidget *window, bool shown);

    bool showsMnemonics = false;
};

} // namespace velmora
