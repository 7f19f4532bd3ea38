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

struct Tones
{
    QColor window, base, alternate, text, button, faint, outline, tip, tipText, link;
};

QPalette paletteOf(const Tones &tones)
{
    QPalette palette;
    palette.setColor(QPalette::Window, tones.window);
    palette.setColor(QPalette::WindowText, tones.text);
    palette.setColor(QPalette::Base, tones.base);
    palette.setColor(QPalette::AlternateBase, tones.alternate);
    palette.setColor(QPalette::Text, tones.text);
    palette.setColor(QPalette::BrightText, tones.text);
    palette.setColor(QPalette::Button, tones.button);
    palette.setColor(QPalette::ButtonText, tones.text);
    palette.setColor(QPalette::PlaceholderText, tones.faint);
    palette.setColor(QPalette::ToolTipBase, tones.tip);
    palette.setColor(QPalette::ToolTipText, tones.tipText);
    palette.setColor(QPalette::Link, tones.link);
    palette.setColor(QPalette::Light, mix(tones.window, Qt::white, 0.4));
    palette.setColor(QPalette::Midlight, mix(tones.window, Qt::white, 0.2));
    palette.setColor(QPalette::Mid, tones.outline);
    palette.setColor(QPalette::Dark, mix(tones.window, Qt::black, 0.35));
    palette.setColor(QPalette::Shadow, mix(tones.window, Qt::black, 0.7));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, mix(tones.window, tones.text, 0.45));
    if (wantsHighContrast)
        palette.setColor(QPalette::PlaceholderText, quietText(palette));
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

bool isDark(const QPalette &palette)
{
    return luminance(palette.color(QPalette::Window)) < luminance(palette.color(QPalette::WindowText));
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
    QColor tone = palette.color(QPalette::WindowText);
    tone.setAlphaF(0.08F);
    return tone;
}

QColor pressed(const QPalette &palette)
{
    QColor tone = palette.color(QPalette::WindowText);
    tone.setAlphaF(0.16F);
    return tone;
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
    return paletteOf({.window = QColor(0xf6, 0xf6, 0xf9),
                      .base = Qt::white,
                      .alternate = QColor(0xf0, 0xf0, 0xf4),
                      .text = QColor(0x1a, 0x1c, 0x23),
                      .button = Qt::white,
                      .faint = QColor(0x6a, 0x6e, 0x7a),
                      .outline = QColor(0xd9, 0xda, 0xe0),
                      .tip = QColor(0x2a, 0x2c, 0x34),
                      .tipText = QColor(0xf4, 0xf4, 0xf7),
                      .link = QColor(0x3f, 0x51, 0xd6)});
}

QPalette darkPalette()
{
    return paletteOf({.window = QColor(0x1b, 0x1c, 0x21),
                      .base = QColor(0x25, 0x27, 0x2d),
                      .alternate = QColor(0x20, 0x22, 0x27),
                      .text = QColor(0xec, 0xed, 0xf1),
                      .button = QColor(0x2e, 0x30, 0x37),
                      .faint = QColor(0x9a, 0x9e, 0xaa),
                      .outline = QColor(0x3c, 0x3e, 0x47),
                      .tip = QColor(0x3a, 0x3c, 0x45),
                      .tipText = QColor(0xf4, 0xf4, 0xf7),
                      .link = QColor(0x9a, 0xa6, 0xff)});
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
