#include "ui/Colors.h"

#include <QStyle>
#include <QStyleFactory>

#include <algorithm>
#include <cmath>
#include <memory>

namespace velmora::colors {

namespace {

bool wantsHighContrast = false;

double linear(double channel)
{
    return channel <= 0.03928 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

double luminance(const QColor &color)
{
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

bool isDark(const QPalette &palette)
{
    return luminance(palette.color(QPalette::Window)) < luminance(palette.color(QPalette::WindowText));
}

/// `share` of `over`, the rest `under`.
QColor mix(const QColor &under, const QColor &over, double share)
{
    const auto channel = [share](float low, float high) {
        return static_cast<float>(low + (high - low) * share);
    };
    return QColor::fromRgbF(channel(under.redF(), over.redF()), channel(under.greenF(), over.greenF()),
                            channel(under.blueF(), over.blueF()));
}

/// The faintest text tone, from `share` upwards, that still has the wanted contrast with the ground.
QColor faintest(const QPalette &palette, double share, double wanted)
{
    const QColor ground = palette.color(QPalette::Window);
    const QColor text = palette.color(QPalette::WindowText);
    for (; share < 1; share += 0.05) {
        const QColor tone = mix(ground, text, share);
        if (contrast(tone, ground) >= wanted)
            return tone;
    }
    return text;
}

QColor veil(const QPalette &palette, float share)
{
    QColor tone = palette.color(QPalette::WindowText);
    tone.setAlphaF(share);
    return tone;
}

QPalette paletteOf(QRgb window, QRgb base, QRgb text, QRgb button, QRgb tip)
{
    QPalette palette;
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::Button, button);
    palette.setColor(QPalette::ToolTipBase, tip);
    palette.setColor(QPalette::ToolTipText, 0xf4f4f7);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(role, text);
        palette.setColor(QPalette::Disabled, role, mix(window, text, 0.45));
    }
    palette.setColor(QPalette::PlaceholderText, quietText(palette));
    palette.setColor(QPalette::Light, mix(window, Qt::white, 0.4));
    palette.setColor(QPalette::Midlight, mix(window, Qt::white, 0.2));
    palette.setColor(QPalette::Mid, outline(palette));
    palette.setColor(QPalette::Dark, mix(window, Qt::black, 0.35));
    palette.setColor(QPalette::Shadow, mix(window, Qt::black, 0.7));
    return withAccent(palette);
}

} // namespace

void setHighContrast(bool wanted)
{
    wantsHighContrast = wanted;
}

double contrast(const QColor &one, const QColor &other)
{
    const auto [low, high] = std::minmax({luminance(one), luminance(other)});
    return (high + 0.05) / (low + 0.05);
}

QColor quietText(const QPalette &palette)
{
    return faintest(palette, 0.6, (wantsHighContrast ? highContrast : readable) + 0.3);
}

QColor outline(const QPalette &palette)
{
    if (wantsHighContrast)
        return controlOutline(palette);
    return mix(palette.color(QPalette::Window), palette.color(QPalette::WindowText),
               isDark(palette) ? 0.17 : 0.13);
}

QColor controlOutline(const QPalette &palette)
{
    return faintest(palette, 0.3, wantsHighContrast ? highContrast : 3);
}

QColor hover(const QPalette &palette)
{
    return veil(palette, 0.08F);
}

QColor pressed(const QPalette &palette)
{
    return veil(palette, 0.16F);
}

QColor protectedFill(const QPalette &palette)
{
    const QColor fill = isDark(palette) ? QColor(0x1a, 0x75, 0x49) : QColor(0x17, 0x7d, 0x4b);
    return wantsHighContrast ? fill.darker(140) : fill;
}

QColor onProtected()
{
    return Qt::white;
}

QPalette onFill(const QColor &fill, const QColor &text)
{
    QPalette palette;
    for (const auto role : {QPalette::Window, QPalette::Base, QPalette::Button, QPalette::HighlightedText})
        palette.setColor(role, fill);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::Highlight})
        palette.setColor(role, text);
    return palette;
}

QPalette lightPalette()
{
    return paletteOf(0xf6f6f9, 0xffffff, 0x1a1c23, 0xffffff, 0x2a2c34);
}

QPalette darkPalette()
{
    return paletteOf(0x1b1c21, 0x25272d, 0xecedf1, 0x2e3037, 0x3a3c45);
}

bool isFallback(const QPalette &desktop)
{
    const std::unique_ptr<QStyle> fusion(QStyleFactory::create(QStringLiteral("Fusion")));
    const QPalette fallback = fusion->standardPalette();
    return desktop.color(QPalette::Window) == fallback.color(QPalette::Window) &&
           desktop.color(QPalette::Highlight) == fallback.color(QPalette::Highlight);
}

QPalette withAccent(QPalette palette)
{
    const bool dark = isDark(palette);
    const QColor accent = wantsHighContrast ? (dark ? QColor(0xa6, 0xb0, 0xff) : QColor(0x30, 0x3e, 0xa8))
                                            : (dark ? QColor(0x50, 0x64, 0xee) : QColor(0x45, 0x57, 0xdd));
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText,
                     wantsHighContrast && dark ? QColor(0x10, 0x11, 0x18) : Qt::white);
    return palette;
}

} // namespace velmora::colors
